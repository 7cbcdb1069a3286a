#include <ferrow/panels/N2KMonDlg_c.h>

#include "core/DisplayAllPgn.h"
#include "panels/DisplayPeriods.h"
#include "panels/WxPgnList.h"
#include "peripherals/Peripheral.h"
#include "platform/ProcessClock.h"
#include "panels/model/BrovikPgn.h"

#include <ferrow/Ferrow_N2K_Mon_c.h>
#include <ferrow/Ferrow_c.h>

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

long N2KMonDlg_c::TemplateStyle() const { return FloatingDlg_c::TemplateStyle() | wxMINIMIZE_BOX; }

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
    Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { ClearSide(rx_); }, kClearRxId);
    Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { ClearSide(tx_); }, kClearTxId);
    Bind(wxEVT_BUTTON, &N2KMonDlg_c::OnPause, this, kPauseId);
    Bind(wxEVT_BUTTON, &N2KMonDlg_c::OnConnect, this, kConnectId);
    Bind(wxEVT_BUTTON, &N2KMonDlg_c::OnDisconnect, this, kDisconnectId);
    Bind(wxEVT_CHECKBOX, &N2KMonDlg_c::OnDisplayAll, this, kDisplayAllId);
    timer_.Start(DisplayPeriods::TimerMs(displayPeriod_));
}

void N2KMonDlg_c::CreateControls() {
    SetTemplateSize(417, 156);
    CreateSide(rx_, 10, "RX PGN :", kRxCountId, kClearRxId, kRxListId);
    CreateSide(tx_, 215, "TX PGN :", kTxCountId, kClearTxId, kTxListId);
    displayAllBox_ = new wxCheckBox(this, kDisplayAllId, "Monitor All PGN");
    PlaceCtrl(displayAllBox_, 176, 2, 66, 10);
    auto* time = new wxStaticText(this, kTimeId, "Time", wxDefaultPosition, wxDefaultSize,
                                  wxALIGN_RIGHT | wxST_NO_AUTORESIZE);
    PlaceCtrl(time, 330, 0, 80, 10);
    pauseButton_ = new wxButton(this, kPauseId, "Pause");
    PlaceCtrl(pauseButton_, 10, 125, 120, 25);
    disconnectButton_ = new wxButton(this, kDisconnectId, "Disconnect");
    PlaceCtrl(disconnectButton_, 140, 125, 70, 25);
    connectButton_ = new wxButton(this, kConnectId, "Connect");
    PlaceCtrl(connectButton_, 210, 125, 70, 25);
    auto* close = new wxButton(this, wxID_OK, "Close");
    PlaceCtrl(close, 355, 125, 55, 25);
    close->SetDefault();
    auto* cancel = new wxButton(this, wxID_CANCEL, "Cancel");
    PlaceCtrl(cancel, 295, 130, 50, 14);
    cancel->Hide();
    cancel->Disable();
}

// Each half lays out the same from its left edge `x`.
void N2KMonDlg_c::CreateSide(Side& side, int x, const char* label, int countId, int clearId,
                             int listId) {
    PlaceCtrl(new wxStaticText(this, wxID_ANY, label), x, 15, 32, 8);
    side.count = new wxTextCtrl(this, countId, wxString(), wxDefaultPosition, wxDefaultSize,
                                wxTE_READONLY | wxTE_RIGHT);
    PlaceCtrl(side.count, x + 35, 12, 50, 12);
    PlaceCtrl(new wxButton(this, clearId, "Clear"), x + 85, 13, 45, 10);
    side.list = new WxPgnList(this, listId);
    PlaceCtrl(side.list, x, 25, 195, 95);
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
    const double seconds = static_cast<double>(ferrow::platform::ProcessClock::Ms64()) / 1000.0;
    UpdateItemText(kTimeId, wxString::Format("%0.1f", seconds).wc_str());
    if (ListStore(rx_)) ListStore(tx_);
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
    bool gateway = false;
    bool connected = false;
    WithPeripheral([&] {
        Ferrow_c* emulator = Peripheral::EmulatorOf(monitor_);
        gateway = emulator != nullptr && emulator->useGateway == 1;
        connected = gateway && emulator->IsConnected() != 0;
    });
    connectButton_->Enable(gateway && !connected);
    disconnectButton_->Enable(gateway && connected);
}

void N2KMonDlg_c::OnTimer(wxTimerEvent&) { RefreshLists(); }

void N2KMonDlg_c::OnPause(wxCommandEvent&) {
    paused_ = !paused_;
    pauseButton_->SetLabel(paused_ ? "Continue" : "Pause");
}

void N2KMonDlg_c::OnConnect(wxCommandEvent&) {
    WithPeripheral([this] {
        monitor_->ClearRxMsg();
        monitor_->ClearTxMsg();
        if (Ferrow_c* emulator = Peripheral::EmulatorOf(monitor_)) emulator->Connect();
    });
    UpdateButtons();
}

void N2KMonDlg_c::OnDisconnect(wxCommandEvent&) {
    WithPeripheral([this] {
        if (Ferrow_c* emulator = Peripheral::EmulatorOf(monitor_)) emulator->DisConnect();
    });
    UpdateButtons();
}

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
