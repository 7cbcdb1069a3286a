// The toolkit can start only once in a process, so the test main starts it
// for every test and shuts it down after the last.
#include "GuiTest.h"

#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/init.h>

#include <thread>

namespace ferrow::panels::test {
namespace {

std::string g_guiMissing;

bool StartToolkit(int& argc, char** argv) {
    wxApp::SetInstance(new wxApp());
    if (wxEntryStart(argc, argv)) return true;
    g_guiMissing = "wxWidgets cannot start: no display? (run under xvfb-run)";
    return false;
}

}  // namespace

const std::string& GuiMissing() { return g_guiMissing; }

bool PumpUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    wxGUIEventLoop loop;
    wxEventLoopActivator active(&loop);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        while (loop.Pending()) loop.Dispatch();
        wxTheApp->ProcessPendingEvents();
        loop.ProcessIdle();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace ferrow::panels::test

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const bool started = ferrow::panels::test::StartToolkit(argc, argv);
    const int result = RUN_ALL_TESTS();
    if (started) wxEntryCleanup();
    return result;
}
