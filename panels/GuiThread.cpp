#include "panels/GuiThread.h"

#include <wx/app.h>
#include <wx/thread.h>

namespace ferrow::panels {

bool GuiThread::IsCurrent() { return wxThread::IsMain(); }

bool GuiThread::Post(std::function<void()> work) {
    wxAppConsole* app = wxAppConsole::GetInstance();
    if (app == nullptr) return false;
    app->CallAfter(std::move(work));
    return true;
}

void GuiThread::RunOrPost(std::function<void()> work) {
    if (IsCurrent()) {
        work();
    } else {
        Post(std::move(work));
    }
}

}  // namespace ferrow::panels
