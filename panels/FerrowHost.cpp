#include <ferrow/panels/FerrowHost.h>

#include <ferrow/panels/FerrowPanels.h>

#include "panels/GuiThread.h"
#include "panels/HostFrame.h"
#include "panels/StopSignal.h"
#include "panels/WindowHandle.h"
#include "panels/WxPanelProvider.h"

#include <wx/app.h>
#include <wx/init.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>

using ferrow::panels::GuiThread;
using ferrow::panels::HostFrame;
using ferrow::panels::StopSignal;
using ferrow::panels::WindowHandle;
using ferrow::panels::WxPanelProvider;

namespace {

std::atomic<bool> g_hostExists{false};

class HostApp : public wxApp {
public:
    bool OnInit() override { return true; }
};

bool HasDisplay() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') return true;
    }
    return false;
}

// Starts the toolkit; false when it cannot run here.
bool StartToolkit(int& argc, char** argv) {
    if (!HasDisplay()) return false;
    wxApp::SetInstance(new HostApp());
    if (!wxEntryStart(argc, argv)) return false;
    if (!wxTheApp->CallOnInit()) {
        wxEntryCleanup();
        return false;
    }
    return true;
}

}  // namespace

class FerrowHost::Impl {
public:
    Impl(int& argc, char** argv, const char* title) {
        if (wxTheApp == nullptr) ownsToolkit_ = StartToolkit(argc, argv);
        // A console application of the toolkit has no windows to give.
        if (dynamic_cast<wxApp*>(wxAppConsole::GetInstance()) == nullptr ||
            !GuiThread::IsCurrent()) {
            return;
        }
        auto* frame = new HostFrame(wxString::FromUTF8(title != nullptr ? title : ""));
        if (!FerrowPanels_Install(frame)) {
            delete frame;
            throw std::logic_error("FerrowHost: panels are installed already");
        }
        frame_ = frame;
        WxPanelProvider::Instance().SetObserver([frame = frame_] {
            // After the change: a departing panel is still a child now.
            GuiThread::Post([frame] { frame->RefreshList(); });
        });
    }

    ~Impl() { Close(); }

    HWND Window() const { return WindowHandle::FromWindow(frame_); }

    int Run() {
        if (frame_ == nullptr) {
            stop_.Wait();
            return 0;
        }
        frame_->Show();
        frame_->RefreshList();
        std::atomic<bool> loopEnded{false};
        std::thread watcher([this, &loopEnded] {
            stop_.Wait();
            if (!loopEnded) GuiThread::Post([] { wxTheApp->ExitMainLoop(); });
        });
        const int result = wxTheApp->OnRun();
        loopEnded = true;
        stop_.Raise();
        watcher.join();
        stop_.Clear();
        return result;
    }

    void Quit() { stop_.Raise(); }

private:
    void Close() {
        if (frame_ != nullptr) {
            WxPanelProvider::Instance().SetObserver(nullptr);
            FerrowPanels_Uninstall();
            // Panel work queued by other threads, such as the deletion of
            // panels whose peripherals they destroyed, runs before the window
            // that parents those panels goes.
            wxTheApp->ProcessPendingEvents();
            delete frame_;
            frame_ = nullptr;
        }
        if (ownsToolkit_) {
            wxTheApp->OnExit();
            wxEntryCleanup();
            ownsToolkit_ = false;
        }
    }

    bool ownsToolkit_ = false;
    HostFrame* frame_ = nullptr;
    StopSignal stop_;
};

FerrowHost::FerrowHost(int& argc, char** argv, const char* title) {
    if (g_hostExists.exchange(true)) {
        throw std::logic_error("FerrowHost: a host exists already; one per process");
    }
    try {
        impl_ = std::make_unique<Impl>(argc, argv, title);
    } catch (...) {
        g_hostExists = false;
        throw;
    }
}

FerrowHost::~FerrowHost() {
    impl_.reset();
    g_hostExists = false;
}

HWND FerrowHost::Window() const { return impl_->Window(); }

int FerrowHost::Run() { return impl_->Run(); }

void FerrowHost::Quit() { impl_->Quit(); }
