#include <ferrow/panels/FerrowPanels.h>

#include "panels/GuiThread.h"
#include "panels/GuiTimerService.h"
#include "panels/PanelPlaces.h"
#include "panels/WindowHandle.h"
#include "panels/WxMessageSink.h"
#include "panels/WxPanelProvider.h"
#include "platform/MessageReport.h"

#include <wx/app.h>
#include <wx/window.h>

using ferrow::panels::GuiThread;
using ferrow::panels::GuiTimerService;
using ferrow::panels::PanelPlaces;
using ferrow::panels::WindowHandle;
using ferrow::panels::WxMessageSink;
using ferrow::panels::WxPanelProvider;
using ferrow::platform::MessageReport;
using ferrow::platform::TimerService;

namespace {

// GUI thread only.
wxWindow* g_host = nullptr;
PanelProvider* g_previousProvider = nullptr;
MessageReport::Sink* g_previousSink = nullptr;

void OnHostDestroyed(wxWindowDestroyEvent& event) {
    event.Skip();
    if (event.GetEventObject() == g_host) FerrowPanels_Uninstall();
}

}  // namespace

bool FerrowPanels_Install(wxWindow* host) {
    if (host == nullptr || wxTheApp == nullptr || !GuiThread::IsCurrent() || g_host != nullptr) {
        return false;
    }
    g_host = host;
    host->Bind(wxEVT_DESTROY, &OnHostDestroyed);
    GuiTimerService::Instance().Open();
    TimerService::InstallHostService(&GuiTimerService::Instance());
    g_previousProvider = PanelProvider::Install(&WxPanelProvider::Instance());
    g_previousSink = MessageReport::SetSink(&WxMessageSink::Instance());
    return true;
}

void FerrowPanels_Uninstall() {
    if (g_host == nullptr || !GuiThread::IsCurrent()) return;
    MessageReport::SetSink(g_previousSink);
    PanelProvider::Install(g_previousProvider);
    TimerService::InstallHostService(nullptr);
    GuiTimerService::Instance().Close();
    g_host->Unbind(wxEVT_DESTROY, &OnHostDestroyed);
    g_host = nullptr;
    PanelPlaces::Forget();
}

HWND FerrowPanels_Handle(wxWindow* window) { return WindowHandle::FromWindow(window); }
