#include <ferrow/panels/N2KMonDlg_c.h>

#include "core/DisplayAllPgn.h"
#include "panels/DisplayPeriods.h"
#include "panels/WxPgnList.h"
#include "peripherals/Peripheral.h"
#include "platform/ProcessClock.h"
#include "panels/model/BrovikPgn.h"
#include "panels/model/GatewayStatusLine.h"

#include <ferrow/Ferrow_N2K_Mon_c.h>
#include <ferrow/FerrowGatewayStats.h>
#include <ferrow/Ferrow_c.h>
#include <ferrow/panels/CtrlAnchor.h>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <algorithm>

using ferrow::core::DisplayAllPgn;
using ferrow::panels::DisplayPeriods;
using ferrow::panels::WxPgnList;
using ferrow::peripherals::Peripheral;

namespace {

constexpr std::size_t kBatchMessages = 64;

// The gateway measures bus load over a second; counts read more often would
// only flicker.
constexpr uint64_t kStatusPeriodMs = 1000;

// The template, in dialog units: each list wide enough for a row's key, its
// eight data bytes and its rate; the status line as wide as both.
constexpr int kWidth = 490;
constexpr int kHeight = 205;
constexpr int kListWidth = 230;
constexpr int kListHeight = 130;
constexpr int kStatusTop = 160;
constexpr int kButtonTop = 174;
constexpr int kRxLeft = 10;
constexpr int kTxLeft = kRxLeft + kListWidth + 10;

int Take(Ferrow_N2K_Mon_c& monitor, bool receive, N2KMsg* msg) {
    return receive ? monitor.GetRxMsg(msg) : monitor.GetTxMsg(msg);
}

}  // namespace

N2KMonDlg_c::N2KMonDlg_c(CWnd* parentWnd, Ferrow_N2K_Mon_c* monitor)
    : FloatingDlg_c(kTemplateId, parentWnd),
      monitor_(monitor),
      pgn_(std::make_unique<BrovikPgn>()),
      rx_{true},
      tx_{false},
      batch_(kBatchMessages),
      timer_(this, kTimerId) {}

N2KMonDlg_c::~N2KMonDlg_c() { timer_.Stop(); }

long N2KMonDlg_c::TemplateStyle() const {
    return FloatingDlg_c::TemplateStyle() | wxRESIZE_BORDER | wxMINIMIZE_BOX;
}

int N2KMonDlg_c::TimerInterval() const { return timer_.IsRunning() ? timer_.GetInterval() : 0; }

void N2KMonDlg_c::OnInitDialog() {
    FloatingDlg_c::OnInitDialog();
    SetTitle("N2K Monitor");
    CreateControls();
    pgn_->PGNList_OnInitDialog(rx_.list);
    pgn_->PGNList_OnInitDialog(tx_.list);
    paused_ = false;
    UpdateButtons();
    LoadDisplayPeriod();

    Bind(wxEVT_TIMER, &N2KMonDlg_c::OnTimer, this, kTimerId);
    Bind(wxEVT_SHOW, &N2KMonDlg_c::OnShown, this);
    Bind(wxEVT_SIZE, &N2KMonDlg_c::OnSize, this);
    Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { ClearSide(rx_); }, kClearRxId);
    Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { ClearSide(tx_); }, kClearTxId);
    Bind(wxEVT_BUTTON, &N2KMonDlg_c::OnPause, this, kPauseId);
    Bind(wxEVT_BUTTON, &N2KMonDlg_c::OnConnect, this, kConnectId);
    Bind(wxEVT_BUTTON, &N2KMonDlg_c::OnDisconnect, this, kDisconnectId);
    Bind(wxEVT_CHECKBOX, &N2KMonDlg_c::OnDisplayAll, this, kDisplayAllId);
    timer_.Start(DisplayPeriods::TimerMs(displayPeriod_));
}

void N2KMonDlg_c::CreateControls() {
    SetTemplateSize(kWidth, kHeight);
    CreateSide(rx_, kRxLeft, "RX PGN :", kRxCountId, kClearRxId, kRxListId);
    CreateSide(tx_, kTxLeft, "TX PGN :", kTxCountId, kClearTxId, kTxListId);
    displayAllBox_ = new wxCheckBox(this, kDisplayAllId, "Monitor All PGN");
    PlaceCtrl(displayAllBox_, 150, 1, 80, 11);
    auto* time = new wxStaticText(this, kTimeId, "Time", wxDefaultPosition, wxDefaultSize,
                                  wxALIGN_RIGHT | wxST_NO_AUTORESIZE);
    PlaceCtrl(time, kWidth - 90, 0, 80, 10);
    Anchor(time, Area::Whole, ANCHOR_PIN_TOP);
    auto* status = new wxStaticText(this, kStatusId, wxString(), wxDefaultPosition, wxDefaultSize,
                                    wxST_NO_AUTORESIZE | wxST_ELLIPSIZE_END);
    PlaceCtrl(status, kRxLeft, kStatusTop, kWidth - 2 * kRxLeft, 10);
    Anchor(status, Area::Whole, ANCHOR_STRETCH_X);
    pauseButton_ = new wxButton(this, kPauseId, "Pause");
    PlaceCtrl(pauseButton_, 10, kButtonTop, 120, 25);
    disconnectButton_ = new wxButton(this, kDisconnectId, "Disconnect");
    PlaceCtrl(disconnectButton_, 140, kButtonTop, 70, 25);
    connectButton_ = new wxButton(this, kConnectId, "Connect");
    PlaceCtrl(connectButton_, 210, kButtonTop, 70, 25);
    for (wxWindow* button : {pauseButton_, disconnectButton_, connectButton_}) {
        Anchor(button, Area::Whole, ANCHOR_PIN_LEFT);
    }
    auto* close = new wxButton(this, wxID_OK, "Close");
    PlaceCtrl(close, kWidth - 65, kButtonTop, 55, 25);
    Anchor(close, Area::Whole, 0);
    close->SetDefault();
    auto* cancel = new wxButton(this, wxID_CANCEL, "Cancel");
    PlaceCtrl(cancel, kWidth - 125, kButtonTop + 5, 50, 14);
    cancel->Hide();
    cancel->Disable();
}

// Each half lays out the same from its left edge `x` and keeps to its half
// of the width when the panel is resized.
void N2KMonDlg_c::CreateSide(Side& side, int x, const char* label, int countId, int clearId,
                             int listId) {
    const Area area = side.receive ? Area::Left : Area::Right;
    const unsigned topLeft = ANCHOR_PIN_LEFT | ANCHOR_PIN_TOP;
    auto* heading = new wxStaticText(this, wxID_ANY, label);
    PlaceCtrl(heading, x, 15, 32, 8);
    Anchor(heading, area, topLeft);
    side.count = new wxTextCtrl(this, countId, wxString(), wxDefaultPosition, wxDefaultSize,
                                wxTE_READONLY | wxTE_RIGHT);
    PlaceCtrl(side.count, x + 35, 12, 50, 12);
    Anchor(side.count, area, topLeft);
    auto* clear = new wxButton(this, clearId, "Clear");
    PlaceCtrl(clear, x + 85, 13, 45, 10);
    Anchor(clear, area, topLeft);
    side.list = new WxPgnList(this, listId);
    PlaceCtrl(side.list, x, 25, kListWidth, kListHeight);
    Anchor(side.list, area, ANCHOR_STRETCH_X | ANCHOR_STRETCH_Y);
}

wxRect N2KMonDlg_c::AreaRect(Area area) const {
    const wxSize client = GetClientSize();
    const int half = client.x / 2;
    switch (area) {
        case Area::Left:
            return {0, 0, half, client.y};
        case Area::Right:
            return {half, 0, client.x - half, client.y};
        case Area::Whole:
            break;
    }
    return {wxPoint(), client};
}

// The margins a control keeps on resizing, as CtrlAnchor's, but taken from
// its area rather than the whole client area.
void N2KMonDlg_c::Anchor(wxWindow* control, Area area, unsigned flags) {
    const wxRect within = AreaRect(area);
    const wxRect rect = control->GetRect();
    anchored_.push_back({control, area, flags,
                         {rect.x - within.x, rect.y - within.y, within.GetRight() - rect.GetRight(),
                          within.GetBottom() - rect.GetBottom()}});
}

void N2KMonDlg_c::OnSize(wxSizeEvent& event) {
    event.Skip();
    for (const Anchored& a : anchored_) {
        const wxRect within = AreaRect(a.area);
        wxRect placed = AnchorRect(within.GetSize(), a.control->GetSize(), a.margins, a.flags, nullptr);
        placed.Offset(within.GetPosition());
        a.control->SetSize(placed);
    }
}

void N2KMonDlg_c::LoadDisplayPeriod() {
    displayPeriod_ = kDefaultPeriodMs;
    WithPeripheral([this] {
        Ferrow_c* emulator = Peripheral::EmulatorOf(monitor_);
        if (emulator == nullptr || emulator->config == nullptr) return;
        displayPeriod_ = DisplayPeriods::Load(emulator->config, emulator->ownConfig == 0,
                                              L"N2KMON", kDefaultPeriodMs);
    });
}

void N2KMonDlg_c::RefreshLists() {
    if (paused_) return;
    const uint64_t ms = ferrow::platform::ProcessClock::Ms64();
    UpdateItemText(kTimeId, wxString::Format("%0.1f", static_cast<double>(ms) / 1000.0).wc_str());
    if (!ListStore(rx_) || !ListStore(tx_)) return;
    // In the 10 ms ticks of the message time stamps.
    const auto ticks = static_cast<uint32_t>(ms / 10);
    pgn_->Age(rx_.list, ticks);
    pgn_->Age(tx_.list, ticks);
    RefreshStatus(ms);
}

// Due once a second, at once after Connect and Disconnect, and when the
// clock went back (a simulation bound to it).
void N2KMonDlg_c::RefreshStatus(uint64_t ms) {
    if (!statusDue_ && ms >= statusMs_ && ms - statusMs_ < kStatusPeriodMs) return;
    Ferrow_c* emulator = nullptr;
    WithPeripheral([&] { emulator = Peripheral::EmulatorOf(monitor_); });
    FerrowGatewayStats stats{};
    if (emulator == nullptr || emulator->GetGatewayStats(&stats) != 0) return;
    statusMs_ = ms;
    statusDue_ = false;
    UpdateItemText(kStatusId, wxString(ferrow::panels::StatusLine(stats)).wc_str());
}

// A batch at a time, so that neither the buffer nor the time the link holds
// the monitor grows with the store. The lists are filled outside the link,
// which never waits for a widget.
bool N2KMonDlg_c::ListStore(Side& side) {
    unsigned long offered = 0;
    std::size_t taken = 0;
    do {
        taken = 0;
        const bool read = WithPeripheral([&] {
            while (taken < batch_.size() && Take(*monitor_, side.receive, &batch_[taken]) == 1) {
                ++taken;
            }
            offered = side.receive ? monitor_->GetRxOffered() : monitor_->GetTxOffered();
        });
        if (!read) return false;
        for (std::size_t i = 0; i < taken; ++i) pgn_->add_pgn_list(side.list, &batch_[i]);
    } while (taken == batch_.size());
    side.count->ChangeValue(wxString::Format("%lu ", offered));
    return true;
}

void N2KMonDlg_c::ClearSide(Side& side) {
    side.count->ChangeValue("0 ");
    pgn_->Clear(side.list);
    WithPeripheral([&] { side.receive ? monitor_->ClearRxMsg() : monitor_->ClearTxMsg(); });
}

void N2KMonDlg_c::UpdateButtons() {
    Ferrow_c* emulator = nullptr;
    WithPeripheral([&] { emulator = Peripheral::EmulatorOf(monitor_); });
    const bool gateway = emulator != nullptr && emulator->useGateway == 1;
    const bool connected = gateway && emulator->IsConnected() != 0;
    connectButton_->Enable(gateway && !connected);
    disconnectButton_->Enable(gateway && connected);
}

void N2KMonDlg_c::Connection(bool connect) {
    Ferrow_c* emulator = nullptr;
    WithPeripheral([&] {
        if (connect) {
            monitor_->ClearRxMsg();
            monitor_->ClearTxMsg();
        }
        emulator = Peripheral::EmulatorOf(monitor_);
    });
    if (emulator != nullptr && connect) {
        emulator->Connect();
    } else if (emulator != nullptr) {
        emulator->DisConnect();
    }
    statusDue_ = true;
    UpdateButtons();
}

void N2KMonDlg_c::OnTimer(wxTimerEvent&) { RefreshLists(); }

void N2KMonDlg_c::OnPause(wxCommandEvent&) {
    paused_ = !paused_;
    pauseButton_->SetLabel(paused_ ? "Continue" : "Pause");
}

void N2KMonDlg_c::OnConnect(wxCommandEvent&) { Connection(true); }

void N2KMonDlg_c::OnDisconnect(wxCommandEvent&) { Connection(false); }

void N2KMonDlg_c::OnDisplayAll(wxCommandEvent&) {
    const int on = displayAllBox_->GetValue() ? 1 : 0;
    WithPeripheral([&] {
        Ferrow_c* emulator = Peripheral::EmulatorOf(monitor_);
        if (emulator != nullptr) DisplayAllPgn::Set(*emulator, on);
    });
}

void N2KMonDlg_c::OnShown(wxShowEvent& event) {
    event.Skip();
    if (event.IsShown()) UpdateButtons();
}
