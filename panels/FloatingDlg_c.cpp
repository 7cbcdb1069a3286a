#include <ferrow/panels/FloatingDlg_c.h>

#include "panels/PeripheralLink.h"
#include "panels/WindowHandle.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/display.h>
#include <wx/textentry.h>

#include <chrono>
#include <system_error>

using ferrow::panels::PeripheralLink;
using ferrow::panels::WindowHandle;

namespace {

// A host may supply panel icons through a wxArtProvider under these ids.
wxIcon IconForTemplate(unsigned int templateId) {
    return wxArtProvider::GetIcon(wxString::Format("ferrow-panel-%u", templateId),
                                  wxART_FRAME_ICON);
}

}  // namespace

FloatingDlg_c::FloatingDlg_c(unsigned int templateId, CWnd* parentWnd)
    : parentWnd_(parentWnd),
      templateId_(templateId),
      icon_(IconForTemplate(templateId)),
      link_(std::make_shared<PeripheralLink>()) {}

FloatingDlg_c::~FloatingDlg_c() { StopRefresh(std::nullopt); }

wxWindow* FloatingDlg_c::ParentWindow() const { return WindowHandle::ToWindow(parentWnd_); }

long FloatingDlg_c::TemplateStyle() const { return wxDEFAULT_DIALOG_STYLE; }

void FloatingDlg_c::OnInitDialog() {}

int FloatingDlg_c::Create(RefreshFn refreshFn, unsigned long periodMs) {
    if (GetHandle() != nullptr) return -1;
    refreshFn_ = refreshFn;
    periodMs_ = periodMs;
    if (!wxDialog::Create(ParentWindow(), wxID_ANY, wxEmptyString, wxDefaultPosition,
                          wxDefaultSize, TemplateStyle())) {
        return -1;
    }
    wxFont font = GetFont();
    font.SetPointSize(8);
    SetFont(font);
    if (icon_.IsOk()) SetIcon(icon_);
    Bind(wxEVT_CLOSE_WINDOW, &FloatingDlg_c::OnClose, this);
    Bind(wxEVT_BUTTON, &FloatingDlg_c::OnButton, this, wxID_OK);
    Bind(wxEVT_BUTTON, &FloatingDlg_c::OnButton, this, wxID_CANCEL);
    // A panel whose Cancel button is disabled would let Escape pass; Escape
    // hides every panel alike. A panel's own key handling, bound later, runs
    // first and passes Escape on.
    Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) {
        if (event.GetKeyCode() == WXK_ESCAPE) {
            Close();
        } else {
            event.Skip();
        }
    });
    OnInitDialog();
    return 0;
}

int FloatingDlg_c::Create(CWnd* parentWnd, unsigned int templateId, RefreshFn refreshFn,
                          unsigned long periodMs) {
    parentWnd_ = parentWnd;
    templateId_ = templateId;
    icon_ = IconForTemplate(templateId);
    return Create(refreshFn, periodMs);
}

int FloatingDlg_c::Show(int) {
    if (firstShow_) {
        firstShow_ = false;
        const wxWindow* parent = ParentWindow();
        const wxPoint corner = parent != nullptr ? parent->GetScreenPosition() : wxPoint(0, 0);
        Move(corner.x, corner.y + 40);
    }
    wxDialog::Show(true);
    Raise();
    // Threads here have no priority to give, so `priority` has no effect.
    return StartRefresh() ? 0 : -1;
}

int FloatingDlg_c::Hide(unsigned long timeoutMs) {
    StopRefresh(timeoutMs);
    wxDialog::Show(false);
    return 0;
}

int FloatingDlg_c::Center(int flags) {
    const wxWindow* parent = ParentWindow();
    const wxRect reference = parent != nullptr ? parent->GetScreenRect()
                                               : wxDisplay(static_cast<unsigned>(0)).GetGeometry();
    const wxSize size = GetSize();
    int x = reference.x + reference.width / 2 - size.x / 2;
    int y = reference.y + reference.height / 2 - size.y / 2;
    if (flags & 1) x = 0;
    if (flags & 2) x = reference.width - size.x;
    if (flags & 4) y = 0;
    if (flags & 8) y = reference.height - size.y;
    return Move(x, y);
}

int FloatingDlg_c::Move(int x, int y) {
    wxDialog::Move(x, y);
    Refresh();
    return 0;
}

void FloatingDlg_c::UpdateItemText(int itemId, const wchar_t* text) {
    wxWindow* item = FindWindow(itemId);
    if (item == nullptr || text == nullptr) return;
    const wxString wanted(text);
    if (auto* entry = dynamic_cast<wxTextEntry*>(item)) {
        if (entry->GetValue() != wanted) entry->ChangeValue(wanted);
    } else if (auto* control = dynamic_cast<wxControl*>(item)) {
        if (control->GetLabelText() != wanted) control->SetLabelText(wanted);
    } else if (item->GetLabel() != wanted) {
        item->SetLabel(wanted);
    }
}

bool FloatingDlg_c::WithPeripheral(const std::function<void()>& use) { return link_->Use(use); }

void FloatingDlg_c::PlaceCtrl(wxWindow* control, int x, int y, int width, int height) {
    control->SetSize(wxRect(ConvertDialogToPixels(wxPoint(x, y)),
                            ConvertDialogToPixels(wxSize(width, height))));
}

void FloatingDlg_c::SetTemplateSize(int width, int height) {
    SetClientSize(ConvertDialogToPixels(wxSize(width, height)));
}

void FloatingDlg_c::OnClose(wxCloseEvent& event) {
    if (event.CanVeto()) event.Veto();
    Dismiss(wxID_CANCEL);
}

void FloatingDlg_c::OnButton(wxCommandEvent& event) { Dismiss(event.GetId()); }

void FloatingDlg_c::Dismiss(int returnCode) {
    if (IsModal()) {
        EndModal(returnCode);
    } else {
        Hide(100);
    }
}

bool FloatingDlg_c::StartRefresh() {
    if (refreshFn_ == nullptr) return true;
    std::lock_guard<std::mutex> guard(refreshMutex_);
    stopRefresh_ = false;
    if (refreshRunning_) return true;
    if (refreshThread_.joinable()) refreshThread_.join();
    try {
        refreshThread_ = std::thread([this] { RefreshLoop(); });
    } catch (const std::system_error&) {
        return false;
    }
    refreshRunning_ = true;
    return true;
}

void FloatingDlg_c::StopRefresh(std::optional<unsigned long> timeoutMs) {
    std::unique_lock<std::mutex> lock(refreshMutex_);
    if (!refreshThread_.joinable()) return;
    stopRefresh_ = true;
    refreshChanged_.notify_all();
    const auto ended = [this] { return !refreshRunning_; };
    if (!timeoutMs) {
        refreshChanged_.wait(lock, ended);
    } else if (!refreshChanged_.wait_for(lock, std::chrono::milliseconds(*timeoutMs), ended)) {
        return;
    }
    std::thread finished = std::move(refreshThread_);
    lock.unlock();
    finished.join();
}

void FloatingDlg_c::RefreshLoop() {
    std::unique_lock<std::mutex> lock(refreshMutex_);
    while (!stopRefresh_) {
        lock.unlock();
        refreshFn_(this);
        lock.lock();
        refreshChanged_.wait_for(lock, std::chrono::milliseconds(periodMs_.load()),
                                 [this] { return stopRefresh_; });
    }
    refreshRunning_ = false;
    refreshChanged_.notify_all();
}
