#include <ferrow/panels/FloatingDlg_c.h>

#include "panels/PanelPlaces.h"
#include "panels/PeripheralLink.h"
#include "panels/WindowHandle.h"
#include "panels/model/PanelPlacement.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/display.h>
#include <wx/textentry.h>

#include <chrono>
#include <system_error>
#include <vector>

using ferrow::panels::PanelPlacement;
using ferrow::panels::PanelPlaces;
using ferrow::panels::PanelRect;
using ferrow::panels::PeripheralLink;
using ferrow::panels::WindowHandle;

namespace {

// A host may supply panel icons through a wxArtProvider under these ids.
wxIcon IconForTemplate(unsigned int templateId) {
    return wxArtProvider::GetIcon(wxString::Format("ferrow-panel-%u", templateId),
                                  wxART_FRAME_ICON);
}

PanelRect ToPanelRect(const wxRect& rect) {
    return {rect.x, rect.y, rect.width, rect.height};
}

wxRect ToWxRect(const PanelRect& rect) { return {rect.x, rect.y, rect.width, rect.height}; }

// The work area of display `index`, or of the first display for none.
PanelRect WorkArea(int index) {
    return ToPanelRect(wxDisplay(static_cast<unsigned>(index != wxNOT_FOUND ? index : 0))
                           .GetClientArea());
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
    if (GetWindowStyle() & wxRESIZE_BORDER) {
        SetMinClientSize(templateClient_ != wxSize() ? templateClient_ : GetClientSize());
    }
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
        PlaceFirstTime();
    }
    wxDialog::Show(true);
    Raise();
    // Threads here have no priority to give, so `priority` has no effect.
    return StartRefresh() ? 0 : -1;
}

void FloatingDlg_c::PlaceFirstTime() {
    const bool resizable = (GetWindowStyle() & wxRESIZE_BORDER) != 0;
    if (const std::optional<wxRect> known = PanelPlaces::Recall(templateId_, GetTitle())) {
        wxRect last = *known;
        if (!resizable) last.SetSize(GetSize());
        const wxRect kept = ToWxRect(PanelPlacement::KeepInside(
            ToPanelRect(last), WorkArea(wxDisplay::GetFromPoint(last.GetPosition()))));
        if (resizable) {
            SetSize(kept);
        } else {
            Move(kept.x, kept.y);
        }
        return;
    }

    const wxWindow* parent = ParentWindow();
    const wxWindow* host = parent != nullptr ? wxGetTopLevelParent(const_cast<wxWindow*>(parent))
                                             : nullptr;
    std::vector<PanelRect> taken;
    for (const wxWindow* window : wxTopLevelWindows) {
        if (window != this && window != host && window->IsShown() && !window->IsBeingDeleted()) {
            taken.push_back(ToPanelRect(window->GetScreenRect()));
        }
    }
    const PanelRect hostRect = host != nullptr ? ToPanelRect(host->GetScreenRect()) : PanelRect{};
    const PanelRect area = WorkArea(host != nullptr ? wxDisplay::GetFromWindow(host) : 0);
    const wxSize size = GetSize();
    const PanelRect placed = PanelPlacement::Place(hostRect, area, taken, size.x, size.y);
    Move(placed.x, placed.y);
}

void FloatingDlg_c::RememberPlace() {
    if (firstShow_ || GetHandle() == nullptr) return;
    PanelPlaces::Remember(templateId_, GetTitle(), GetScreenRect());
}

int FloatingDlg_c::Hide(unsigned long timeoutMs) {
    StopRefresh(timeoutMs);
    if (IsShown()) RememberPlace();
    wxDialog::Show(false);
    return 0;
}

bool FloatingDlg_c::Destroy() {
    RememberPlace();
    return wxDialog::Destroy();
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
    templateClient_ = ConvertDialogToPixels(wxSize(width, height));
    SetClientSize(templateClient_);
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
