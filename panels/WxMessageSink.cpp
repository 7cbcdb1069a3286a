#include "panels/WxMessageSink.h"

#include "panels/GuiThread.h"

#include <wx/msgdlg.h>
#include <wx/utils.h>

namespace ferrow::panels {

WxMessageSink& WxMessageSink::Instance() {
    static WxMessageSink* instance = new WxMessageSink();
    return *instance;
}

void WxMessageSink::Show(const std::wstring& title, const std::wstring& text) {
    GuiThread::RunOrPost([title, text] {
        wxMessageBox(wxString(text), wxString(title), wxOK | wxICON_EXCLAMATION);
    });
}

void WxMessageSink::Beep() {
    GuiThread::RunOrPost([] { wxBell(); });
}

}  // namespace ferrow::panels
