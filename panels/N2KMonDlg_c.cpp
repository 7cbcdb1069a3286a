#include <ferrow/panels/N2KMonDlg_c.h>

#include "core/DisplayAllPgn.h"
#include "panels/DisplayPeriods.h"
#include "panels/WxPgnList.h"
#include "peripherals/Peripheral.h"
#include "platform/ProcessClock.h"
#include "panels/model/BrovikPgn.h"
#include "panels/model/GatewayStatusLine.h"
#include "panels/model/LatestMessages.h"
#include "panels/model/PgnFieldPane.h"

#include <ferrow/Ferrow_N2K_Mon_c.h>
#include <ferrow/FerrowGatewayStats.h>
#include <ferrow/N2KDecode.h>
#include <ferrow/Ferrow_c.h>
#include <ferrow/panels/CtrlAnchor.h>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>

using ferrow::core::DisplayAllPgn;
using ferrow::panels::DisplayPeriods;
using ferrow::panels::LatestMessages;
using ferrow::panels::PgnFieldPane;
using ferrow::panels::WxPgnList;
using ferrow::peripherals::Peripheral;

namespace {

constexpr std::size_t kBatchMessages = 64;

// The gateway measures bus load over a second; counts read more often would
// only flicker.
constexpr uint64_t kStatusPeriodMs = 1000;

// The template, in dialog units: each list wide enough for a row's key, its
// eight data bytes and its rate; the fields of the selected row, the status
// line and the buttons below both lists, as wide as both.
constexpr int kWidth = 490;
constexpr int kHeight = 302;
constexpr int kListWidth = 230;
constexpr int kListHeight = 130;
constexpr int kFieldsTitleTop = 160;
constexpr int kFieldsTop = 172;
constexpr int kFieldsHeight = 80;
constexpr int kStatusTop = 257;
constexpr int kButtonTop = 271;
constexpr int kRxLeft = 10;
constexpr int kTxLeft = kRxLeft + kListWidth + 10;

constexpr const char* kNoSelection = "Select a row to see its fields";

// The process shares one PGN database; a monitor that finds none loaded
// loads the default one, once, so that a firmware need not.
void LoadPgnDatabaseOnce() {
    static std::once_flag once;
    std::call_once(once, [] {
        char probe[16 * 1024];
        if (FerrowDescribePgn(59392, probe, sizeof probe) < 0) FerrowLoadPgnDatabase(nullptr);
    });
}

int Take(Ferrow_N2K_Mon_c& monitor, bool receive, N2KMsg* msg) {
    return receive ? monitor.GetRxMsg(msg) : monitor.GetTxMsg(msg);
}

}  // namespace

struct N2KMonDlg_c::Fields {
    // By Side::receive.
    std::array<LatestMessages, 2> latest;
    // Each list's selected row when last looked at, so the list whose
    // selection changed last is the one shown.
    std::array<std::optional<LatestMessages::Key>, 2> selected;
    const Side* shown = nullptr;
    PgnFieldPane pane{FerrowDecodeN2K, FerrowDescribePgn};
    N2KMsg msg{};
};

N2KMonDlg_c::N2KMonDlg_c(CWnd* parentWnd, Ferrow_N2K_Mon_c* monitor)
    : FloatingDlg_c(kTemplateId, parentWnd),
      monitor_(monitor),
      pgn_(std::make_unique<BrovikPgn>()),
      rx_{true},
      tx_{false},
      batch_(kBatchMessages),
      fields_(std::make_unique<Fields>()),
      timer_(this, kTimerId) {}

N2KMonDlg_c::~N2KMonDlg_c() { timer_.Stop(); }

long N2KMonDlg_c::TemplateStyle() const {
    return FloatingDlg_c::TemplateStyle() | wxRESIZE_BORDER | wxMINIMIZE_BOX;
}

int N2KMonDlg_c::TimerInterval() const { return timer_.IsRunning() ? timer_.GetInterval() : 0; }

void N2KMonDlg_c::OnInitDialog() {
    FloatingDlg_c::OnInitDialog();
    LoadPgnDatabaseOnce();
    SetTitle("N2K Monitor");
    CreateControls();
    pgn_->PGNList_OnInitDialog(rx_.list);
    pgn_->PGNList_OnInitDialog(tx_.list);
    fields_->pane.Init(*fieldsList_);
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
    // A list moves its selection with its rows while the helper fills it, when
    // the rows behind it are not yet all in place: read it once they are.
    for (const int list : {kRxListId, kTxListId}) {
        for (const auto type : {wxEVT_LIST_ITEM_SELECTED, wxEVT_LIST_ITEM_DESELECTED}) {
            Bind(type, [this](wxListEvent&) { CallAfter(&N2KMonDlg_c::RefreshFields); }, list);
        }
    }
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
    fieldsTitle_ = new wxStaticText(this, kFieldsTitleId, kNoSelection, wxDefaultPosition, wxDefaultSize,
                                    wxST_NO_AUTORESIZE | wxST_ELLIPSIZE_END);
    PlaceCtrl(fieldsTitle_, kRxLeft, kFieldsTitleTop, kWidth - 2 * kRxLeft, 10);
    Anchor(fieldsTitle_, Area::Whole, ANCHOR_STRETCH_X);
    fieldsList_ = new WxPgnList(this, kFieldsListId);
    PlaceCtrl(fieldsList_, kRxLeft, kFieldsTop, kWidth - 2 * kRxLeft, kFieldsHeight);
    Anchor(fieldsList_, Area::Whole, ANCHOR_STRETCH_X);
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
    RefreshFields();
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
        LatestMessages& latest = fields_->latest[side.receive];
        for (std::size_t i = 0; i < taken; ++i) {
            pgn_->add_pgn_list(side.list, &batch_[i]);
            latest.Note(batch_[i]);
        }
    } while (taken == batch_.size());
    side.count->ChangeValue(wxString::Format("%lu ", offered));
    return true;
}

void N2KMonDlg_c::RefreshFields() {
    Fields& fields = *fields_;
    const auto selectedKey = [&](const Side& side) -> std::optional<LatestMessages::Key> {
        const long row = side.list->GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED);
        const ferrow::panels::PgnRowTable* table = pgn_->TableOf(side.list);
        if (row < 0 || table == nullptr) return std::nullopt;
        return LatestMessages::KeyOfRow(*table, static_cast<std::size_t>(row));
    };
    for (const Side* side : {&rx_, &tx_}) {
        const auto key = selectedKey(*side);
        if (key == fields.selected[side->receive]) continue;
        fields.selected[side->receive] = key;
        if (key) fields.shown = side;
    }
    uint64_t serial = 0;
    if (fields.shown != nullptr && fields.selected[fields.shown->receive]) {
        serial = fields.latest[fields.shown->receive].Latest(*fields.selected[fields.shown->receive], &fields.msg);
    }
    if (!fields.pane.Show(serial != 0 ? &fields.msg : nullptr, serial, *fieldsList_)) return;
    const std::string& title = fields.pane.Title();
    fieldsTitle_->SetLabel(title.empty() ? wxString(kNoSelection) : wxString::FromUTF8(title));
}

void N2KMonDlg_c::ClearSide(Side& side) {
    side.count->ChangeValue("0 ");
    pgn_->Clear(side.list);
    fields_->latest[side.receive].Clear();
    RefreshFields();
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
