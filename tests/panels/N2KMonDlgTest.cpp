// The NMEA 2000 monitor panel as an operator meets it: a
// firmware from the factory on a virtual bus, sending, and a second device on
// the same bus sending to it, while the panel is driven through its controls.
#include "PanelsHost.h"
#include "PgnListRows.h"

#include "panels/model/GatewayStatusLine.h"
#include "panels/model/PgnRowTable.h"
#include "platform/ProcessClock.h"
#include "tests/support/TempDir.h"

#include <ferrow/ferrow.h>
#include <ferrow/panels/N2KMonDlg_c.h>

#include <wx/listctrl.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/uiaction.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ferrow::panels::test {
namespace {

using ferrow::panels::PgnRowTable;
using ferrow::test::TempDir;

constexpr uint8_t kFirmwareAddress = 0x23;
constexpr uint8_t kPeerAddress = 0x42;
constexpr uint32_t kHeading = 127250;
constexpr uint32_t kPositionRapid = 129025;
constexpr uint32_t kWind = 130306;
constexpr uint32_t kTemperature = 130316;

N2KMsg Message(uint32_t pgn, uint8_t source, std::vector<uint8_t> bytes = {0, 1, 2, 3, 4, 5, 6, 7}) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = 2;
    msg.addressA = source;
    msg.addressB = 255;
    msg.transport = 1;
    msg.length = static_cast<uint16_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), msg.data);
    return msg;
}

// What the firmware's loop sends: queued messages once, and with `flood`
// set one more message every call. It takes whatever it receives.
struct Firmware {
    std::mutex mutex;  // protects: outbox
    std::deque<N2KMsg> outbox;
    std::atomic<bool> flood{false};
    std::atomic<long> sent{0};
};

Firmware* g_firmware = nullptr;

void NoMain(void*) {}

void FirmwareLoop(void* obj) {
    auto* emu = static_cast<Ferrow_c*>(obj);
    N2KMsg msg{};
    while (emu->GetMsg(&msg) == N2K_OK) {
    }
    for (;;) {
        {
            std::lock_guard<std::mutex> guard(g_firmware->mutex);
            if (g_firmware->outbox.empty()) break;
            msg = g_firmware->outbox.front();
            g_firmware->outbox.pop_front();
        }
        emu->PutMsg(&msg);
        ++g_firmware->sent;
    }
    if (g_firmware->flood) {
        msg = Message(kPositionRapid, kFirmwareAddress);
        emu->PutMsg(&msg);
    }
}

wxButton* ButtonOf(wxWindow* panel, int id) { return ControlOf<wxButton>(panel, id); }
wxString Count(wxWindow* panel, int id) { return ControlOf<wxTextCtrl>(panel, id)->GetValue(); }

wxString CountCell(wxListCtrl* list, uint32_t pgn, uint8_t source) {
    const int row = RowOf(list, pgn, source);
    return row < 0 ? wxString("no row") : list->GetItemText(row, PgnRowTable::kCount);
}

// Shows a panel through its peripheral, lets `hide` act and waits until the
// panel is hidden.
template <class Peripheral>
void ExpectHiddenBy(Peripheral* peripheral, const std::function<void()>& hide) {
    peripheral->Show();
    ASSERT_TRUE(PumpUntil([&] { return peripheral->IsVisible() == 1; }));
    hide();
    EXPECT_TRUE(PumpUntil([&] { return peripheral->IsVisible() == 0; }));
}

class N2KMonPanel : public PanelsHostTest {
protected:
    void SetUp() override {
        PanelsHostTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        static int buses = 0;
        const std::string portLine =
            "GW_PORT_NAME=\"vbus:n2kmon-" + std::to_string(++buses) + "\"\n";
        configText_ = portLine + config_;
        TempDir::Write(dir_.File("Ferrow.cfg"), configText_);
        TempDir::Write(dir_.File("peer.cfg"), portLine);
        g_firmware = &firmware_;
        const unsigned long mask =
            storeSize_ == 0 ? FERROW_N2K_MON | FERROW_N2K_GEN : FERROW_N2K_GEN;
        emu_.reset(create_Ferrow_pObj(Handle(), gatewayArg_, dir_.File("image.hex").c_str(),
                                      dir_.File("Ferrow.cfg").c_str(), 0, mask, NoMain,
                                      FirmwareLoop, 5, nullptr, 0));
        ASSERT_NE(emu_, nullptr);
        if (storeSize_ != 0) new Ferrow_N2K_Mon_c(emu_.get(), 0, storeSize_, 0);
        emu_->SetAutoConnect(0);
        ASSERT_EQ(emu_->Start(), 0);
        peer_ = std::make_unique<Ferrow_c>(nullptr, nullptr, dir_.File("peer.hex").c_str(),
                                           dir_.File("peer.cfg").c_str(), 0);
        ASSERT_EQ(peer_->Connect(), 0);
        panel_ = dynamic_cast<N2KMonDlg_c*>(PanelOf(host_, N2KMonDlg_c::kTemplateId));
        ASSERT_NE(panel_, nullptr);
    }

    void TearDown() override {
        if (emu_) {
            emu_->Stop();
            delete emu_->n2kMon;
            delete emu_->n2kGen;
            emu_.reset();
        }
        peer_.reset();
        g_firmware = nullptr;
        PanelsHostTest::TearDown();
    }

    void FirmwareSends(uint32_t pgn, int times, std::vector<uint8_t> bytes = {0, 1, 2, 3, 4, 5, 6, 7}) {
        std::lock_guard<std::mutex> guard(firmware_.mutex);
        for (int i = 0; i < times; ++i) firmware_.outbox.push_back(Message(pgn, kFirmwareAddress, bytes));
    }

    void PeerSends(uint32_t pgn, int times, std::vector<uint8_t> bytes = {0, 1, 2, 3, 4, 5, 6, 7}) {
        N2KMsg msg = Message(pgn, kPeerAddress, std::move(bytes));
        for (int i = 0; i < times; ++i) ASSERT_EQ(peer_->PutMsg(&msg), N2K_OK);
    }

    void ConnectThroughPanel() {
        Press(panel_, N2KMonDlg_c::kConnectId);
        ASSERT_NE(emu_->IsConnected(), 0);
    }

    // Whether Connect and Disconnect are enabled.
    std::pair<bool, bool> ConnectButtons() {
        return {ButtonOf(panel_, N2KMonDlg_c::kConnectId)->IsEnabled(),
                ButtonOf(panel_, N2KMonDlg_c::kDisconnectId)->IsEnabled()};
    }

    void DisplayAll(bool on) { Tick(panel_, N2KMonDlg_c::kDisplayAllId, on); }

    wxListCtrl* RxList() { return ControlOf<wxListCtrl>(panel_, N2KMonDlg_c::kRxListId); }
    wxListCtrl* TxList() { return ControlOf<wxListCtrl>(panel_, N2KMonDlg_c::kTxListId); }
    wxString RxCount() { return Count(panel_, N2KMonDlg_c::kRxCountId); }
    wxString TxCount() { return Count(panel_, N2KMonDlg_c::kTxCountId); }
    wxStaticText* Status() { return ControlOf<wxStaticText>(panel_, N2KMonDlg_c::kStatusId); }
    wxListCtrl* FieldsList() { return ControlOf<wxListCtrl>(panel_, N2KMonDlg_c::kFieldsListId); }
    wxString FieldsTitle() { return ControlOf<wxStaticText>(panel_, N2KMonDlg_c::kFieldsTitleId)->GetLabel(); }

    // The value and unit of the field list's row `name`, "no field" without one.
    wxString Field(const wxString& name) {
        wxListCtrl* fields = FieldsList();
        for (int row = 0; row < fields->GetItemCount(); ++row) {
            if (fields->GetItemText(row, 0) == name) {
                return fields->GetItemText(row, 1) + "|" + fields->GetItemText(row, 2);
            }
        }
        return "no field";
    }

    // The operator clicks the row with the real mouse.
    void ClickRow(wxListCtrl* list, int row) {
        wxRect cell;
        ASSERT_TRUE(list->GetSubItemRect(row, 0, cell));
        wxUIActionSimulator mouse;
        mouse.MouseMove(list->ClientToScreen(cell.GetPosition() + cell.GetSize() / 2));
        mouse.MouseClick();
        ASSERT_TRUE(PumpUntil([&] { return list->GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED) == row; }));
    }

    // Set before SetUp: lines of the configuration file after the port, the
    // gateway argument, and a store size for a monitor of the test's own.
    std::string config_;
    void* gatewayArg_ = nullptr;
    unsigned long storeSize_ = 0;

    TempDir dir_;
    std::string configText_;
    Firmware firmware_;
    std::unique_ptr<Ferrow_c> emu_;
    std::unique_ptr<Ferrow_c> peer_;
    N2KMonDlg_c* panel_ = nullptr;
};

TEST_F(N2KMonPanel, IsLaidOutAtItsDialogUnitsAndEachListTakesHalfOfAResize) {
    EXPECT_EQ(panel_->GetTitle(), "N2K Monitor");
    const wxSize client = panel_->ConvertDialogToPixels(wxSize(490, 302));
    EXPECT_EQ(panel_->GetClientSize(), client);
    EXPECT_NE(panel_->GetWindowStyle() & wxRESIZE_BORDER, 0);
    const struct {
        int id;
        wxRect units;
        // How far it moves and grows when the panel grows by 2 x 1.
        wxPoint moves;
        wxSize grows;
    } placed[] = {
        {N2KMonDlg_c::kRxCountId, {45, 12, 50, 12}, {0, 0}, {0, 0}},
        {N2KMonDlg_c::kClearRxId, {95, 13, 45, 10}, {0, 0}, {0, 0}},
        {N2KMonDlg_c::kRxListId, {10, 25, 230, 130}, {0, 0}, {1, 1}},
        {N2KMonDlg_c::kDisplayAllId, {150, 1, 80, 11}, {0, 0}, {0, 0}},
        {N2KMonDlg_c::kTxCountId, {285, 12, 50, 12}, {1, 0}, {0, 0}},
        {N2KMonDlg_c::kClearTxId, {335, 13, 45, 10}, {1, 0}, {0, 0}},
        {N2KMonDlg_c::kTxListId, {250, 25, 230, 130}, {1, 0}, {1, 1}},
        {N2KMonDlg_c::kTimeId, {400, 0, 80, 10}, {2, 0}, {0, 0}},
        {N2KMonDlg_c::kPauseId, {10, 271, 120, 25}, {0, 1}, {0, 0}},
        {N2KMonDlg_c::kDisconnectId, {140, 271, 70, 25}, {0, 1}, {0, 0}},
        {N2KMonDlg_c::kConnectId, {210, 271, 70, 25}, {0, 1}, {0, 0}},
        {wxID_OK, {425, 271, 55, 25}, {2, 1}, {0, 0}},
        {N2KMonDlg_c::kStatusId, {10, 257, 470, 10}, {0, 1}, {2, 0}},
        {N2KMonDlg_c::kFieldsTitleId, {10, 160, 470, 10}, {0, 1}, {2, 0}},
        {N2KMonDlg_c::kFieldsListId, {10, 172, 470, 80}, {0, 1}, {2, 0}},
    };
    for (const auto& control : placed) {
        wxWindow* window = panel_->FindWindow(control.id);
        ASSERT_NE(window, nullptr) << control.id;
        EXPECT_EQ(window->GetRect(),
                  wxRect(panel_->ConvertDialogToPixels(control.units.GetPosition()),
                         panel_->ConvertDialogToPixels(control.units.GetSize())))
            << control.id;
    }
    EXPECT_EQ(ButtonOf(panel_, wxID_OK)->GetLabel(), "Close");
    EXPECT_EQ(panel_->GetDefaultItem(), ButtonOf(panel_, wxID_OK));
    EXPECT_FALSE(ButtonOf(panel_, wxID_CANCEL)->IsShown());
    EXPECT_FALSE(ButtonOf(panel_, wxID_CANCEL)->IsEnabled());
    EXPECT_FALSE(ControlOf<wxCheckBox>(panel_, N2KMonDlg_c::kDisplayAllId)->GetValue());
    EXPECT_EQ(RxList()->GetColumnCount(), PgnRowTable::kColumns);
    EXPECT_EQ(TxList()->GetColumnCount(), PgnRowTable::kColumns);
    EXPECT_EQ(FieldsList()->GetColumnCount(), 3);
    EXPECT_EQ(FieldsTitle(), "Select a row to see its fields");
    EXPECT_EQ(panel_->TimerInterval(), 100) << "without a configured period";
    EXPECT_TRUE(PumpUntil([&] {
        return Status()->GetLabel() == "Gateway not connected: frames in 0  out 0  dropped 0  errors 0";
    })) << Status()->GetLabel();
    // Two months of a full bus still fit the line.
    FerrowGatewayStats busy{};
    busy.framesIn = busy.framesOut = busy.dropped = busy.badInput = 9999999999;
    busy.busLoad = 100.0;
    busy.connected = 1;
    EXPECT_LE(Status()->GetTextExtent(ferrow::panels::StatusLine(busy)).x, Status()->GetClientSize().x);

    // Grown by 200 x 100, each half takes 100 of the width.
    std::vector<wxRect> before;
    for (const auto& control : placed) before.push_back(panel_->FindWindow(control.id)->GetRect());
    panel_->SetClientSize(client + wxSize(200, 100));
    ASSERT_TRUE(PumpUntil([&] { return TxList()->GetSize() == before[6].GetSize() + wxSize(100, 100); }));
    for (std::size_t i = 0; i < before.size(); ++i) {
        const auto& control = placed[i];
        const wxRect expected(before[i].GetPosition() + wxPoint(100 * control.moves.x, 100 * control.moves.y),
                              before[i].GetSize() + wxSize(100 * control.grows.x, 100 * control.grows.y));
        EXPECT_EQ(panel_->FindWindow(control.id)->GetRect(), expected) << control.id;
    }
    // It shrinks no smaller than its template.
    panel_->SetClientSize(wxSize(100, 50));
    ASSERT_TRUE(PumpUntil([&] { return panel_->GetClientSize() == client; }))
        << panel_->GetClientSize().x << "x" << panel_->GetClientSize().y;
    EXPECT_EQ(RxList()->GetRect(), before[2]);
}

// The text of a cell fits its column, and the column lies within what the
// list shows without scrolling.
void ExpectShownWhole(wxListCtrl* list, int row, int column) {
    const wxString text = list->GetItemText(row, column);
    EXPECT_LT(list->GetTextExtent(text).x, list->GetColumnWidth(column)) << "'" << text << "'";
    int right = 0;
    for (int c = 0; c <= column; ++c) right += list->GetColumnWidth(c);
    EXPECT_LE(right, list->GetClientSize().x) << "column " << column;
}

TEST_F(N2KMonPanel, EachSideListsItsTrafficOneRowPerSenderAndGroupAndClearsAlone) {
    ConnectThroughPanel();
    FirmwareSends(kHeading, 3);
    FirmwareSends(kPositionRapid, 1);
    PeerSends(kWind, 2);
    ASSERT_TRUE(PumpUntil([&] { return TxCount() == "4 " && RxCount() == "2 "; }))
        << TxCount() << "|" << RxCount();
    EXPECT_TRUE(PumpUntil([&] {
        return Status()->GetLabel().StartsWith(
            "Gateway: frames in 2  out 4  dropped 0  errors 0  bus load ");
    })) << Status()->GetLabel();
    EXPECT_EQ(TxList()->GetItemCount(), 2);
    EXPECT_EQ(CountCell(TxList(), kHeading, kFirmwareAddress), "3");
    EXPECT_EQ(CountCell(TxList(), kPositionRapid, kFirmwareAddress), "1");
    EXPECT_EQ(RxList()->GetItemCount(), 1);
    EXPECT_EQ(CountCell(RxList(), kWind, kPeerAddress), "2");
    EXPECT_EQ(RxList()->GetItemText(0, PgnRowTable::kData), "00 01 02 03 04 05 06 07");
    for (int column = 0; column <= PgnRowTable::kRate; ++column) {
        SCOPED_TRACE(column);
        ExpectShownWhole(RxList(), 0, column);
    }

    FirmwareSends(kHeading, 1);
    ASSERT_TRUE(PumpUntil([&] { return TxCount() == "5 "; }));
    EXPECT_EQ(TxList()->GetItemCount(), 2) << "a repeat updates its row";
    EXPECT_EQ(CountCell(TxList(), kHeading, kFirmwareAddress), "4");
    EXPECT_EQ(RxCount(), "2 ");

    Press(panel_, N2KMonDlg_c::kClearRxId);
    EXPECT_EQ(RxCount(), "0 ");
    EXPECT_EQ(RxList()->GetItemCount(), 0);
    EXPECT_EQ(emu_->n2kMon->GetRxOffered(), 0u);
    EXPECT_EQ(TxCount(), "5 ") << "the other side stays";
    EXPECT_EQ(TxList()->GetItemCount(), 2);

    PeerSends(kWind, 1);
    ASSERT_TRUE(PumpUntil([&] { return RxCount() == "1 "; }));
    EXPECT_EQ(CountCell(RxList(), kWind, kPeerAddress), "1") << "it counts afresh";

    Press(panel_, N2KMonDlg_c::kClearTxId);
    EXPECT_EQ(TxCount(), "0 ");
    EXPECT_EQ(TxList()->GetItemCount(), 0);
    EXPECT_EQ(RxCount(), "1 ");
}

TEST_F(N2KMonPanel, ASelectedRowStaysWithItsSenderAsRowsComeAboveAndGoesOnClear) {
    ConnectThroughPanel();
    PeerSends(kWind, 1);
    ASSERT_TRUE(PumpUntil([&] { return RxList()->GetItemCount() == 1; }));
    const long selected = wxLIST_STATE_SELECTED;
    RxList()->SetItemState(0, selected, selected);
    const auto selectedRow = [&] { return RxList()->GetNextItem(-1, wxLIST_NEXT_ALL, selected); };

    PeerSends(kHeading, 1);
    ASSERT_TRUE(PumpUntil([&] { return RxList()->GetItemCount() == 2; }));
    EXPECT_EQ(RowOf(RxList(), kHeading, kPeerAddress), 0) << "a lower PGN sorts above";
    EXPECT_EQ(selectedRow(), RowOf(RxList(), kWind, kPeerAddress));

    Press(panel_, N2KMonDlg_c::kClearRxId);
    PeerSends(kWind, 1);
    ASSERT_TRUE(PumpUntil([&] { return RxList()->GetItemCount() == 1; }));
    EXPECT_EQ(selectedRow(), -1) << "the selection went with its row";
}

// The panel's clock is the process clock, here a simulated one that the
// test moves: the rate falls to 0.0 within the rate window once the group
// stops, and the gateway's figures are read once a second.
TEST_F(N2KMonPanel, ARateFallsToZeroWhenItsGroupStopsAndTheStatusLineWaitsASecond) {
    const auto clock = std::make_shared<ferrow::platform::VirtualClock>();
    clock->Set(1000000);
    const ferrow::platform::ProcessClock::Binding simulated(clock);
    ConnectThroughPanel();
    ASSERT_TRUE(PumpUntil([&] { return Status()->GetLabel().StartsWith("Gateway: frames in 0 "); }));
    N2KMsg msg = Message(kWind, kPeerAddress);
    for (uint32_t tick = 0; tick < 300; tick += 10) {
        msg.timeStamp = 5000 + tick;
        ASSERT_EQ(emu_->n2kGen->PutMsg(&msg, 0), 1);
    }
    ASSERT_TRUE(PumpUntil([&] { return RxCount() == "30 "; }));
    const auto rate = [&] {
        return RxList()->GetItemText(RowOf(RxList(), kWind, kPeerAddress), PgnRowTable::kRate);
    };
    EXPECT_EQ(rate(), "10.0");
    PeerSends(kHeading, 1);
    ASSERT_TRUE(PumpUntil([&] { return RxCount() == "31 "; }));
    ASSERT_TRUE(PumpTicks(panel_, 2));
    EXPECT_EQ(rate(), "10.0") << "the clock stood still";
    EXPECT_TRUE(Status()->GetLabel().StartsWith("Gateway: frames in 0 ")) << Status()->GetLabel();

    clock->Set(1000000 + 6000);
    EXPECT_TRUE(PumpUntil([&] { return rate() == "0.0"; })) << rate();
    EXPECT_EQ(ControlOf<wxStaticText>(panel_, N2KMonDlg_c::kTimeId)->GetLabel(), "1006.0");
    EXPECT_TRUE(Status()->GetLabel().StartsWith("Gateway: frames in 1  out 0 ")) << Status()->GetLabel();
}

// What the firmware sends and what it receives, each decoded from the PGN
// database when its row is clicked, and followed while it changes.
TEST_F(N2KMonPanel, AClickedRowShowsItsLatestMessageAsFieldsAndFollowsItUntilCleared) {
    ConnectThroughPanel();
    emu_->n2kMon->Show();
    FirmwareSends(kTemperature, 1, {0x00, 0x00, 0x02, 0xd3, 0x2f, 0x04, 0xff, 0xff});
    PeerSends(kHeading, 1, {0x00, 0x10, 0x27, 0xff, 0x7f, 0xff, 0x7f, 0xfd});
    ASSERT_TRUE(PumpUntil([&] { return TxCount() == "1 " && RxCount() == "1 " && panel_->IsShownOnScreen(); }));
    EXPECT_EQ(TxList()->GetItemText(0, PgnRowTable::kName), "Temperature Extended Range") << "the database's";

    ClickRow(TxList(), 0);
    ASSERT_TRUE(PumpUntil([&] { return FieldsTitle() == "130316 Temperature Extended Range, from 35 to 255"; }))
        << FieldsTitle();
    EXPECT_EQ(Field("Temperature"), "274.387|K");
    EXPECT_EQ(Field("Source"), "Inside Temperature|");
    EXPECT_EQ(Field("SID"), "0|");
    FirmwareSends(kTemperature, 1, {0x01, 0x00, 0x02, 0xe8, 0x03, 0x00, 0xff, 0xff});
    EXPECT_TRUE(PumpUntil([&] { return Field("Temperature") == "1.000|K"; })) << Field("Temperature");
    EXPECT_EQ(Field("SID"), "1|");

    ClickRow(RxList(), 0);
    ASSERT_TRUE(PumpUntil([&] { return FieldsTitle() == "127250 Vessel Heading, from 66 to 255"; }))
        << FieldsTitle();
    EXPECT_EQ(Field("Heading"), "1.0000|rad");
    EXPECT_EQ(Field("Temperature"), "no field");

    Press(panel_, N2KMonDlg_c::kClearRxId);
    EXPECT_EQ(FieldsTitle(), "Select a row to see its fields");
    EXPECT_EQ(FieldsList()->GetItemCount(), 0);
}

TEST_F(N2KMonPanel, ConnectDiscardsStoredCopiesAndTheButtonsFollowTheConnection) {
    EXPECT_EQ(ConnectButtons(), std::make_pair(true, false));
    N2KMsg msg = Message(kWind, kPeerAddress);
    ASSERT_EQ(emu_->n2kGen->PutMsg(&msg, 0), 1);
    ASSERT_TRUE(PumpUntil([&] { return RxCount() == "1 "; }));
    Press(panel_, N2KMonDlg_c::kPauseId);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(emu_->n2kGen->PutMsg(&msg, 0), 1);
    ASSERT_TRUE(PumpUntil([&] { return emu_->n2kMon->GetRxOffered() == 4; }));

    Press(panel_, N2KMonDlg_c::kConnectId);
    EXPECT_EQ(emu_->n2kMon->GetRxOffered(), 0u);
    EXPECT_EQ(RxCount(), "1 ") << "the lists stay as they are";
    EXPECT_EQ(ConnectButtons(), std::make_pair(false, true));
    Press(panel_, N2KMonDlg_c::kPauseId);
    ASSERT_TRUE(PumpUntil([&] { return RxCount() == "0 "; }));
    EXPECT_EQ(CountCell(RxList(), kWind, kPeerAddress), "1") << "the discarded copies never show";

    Press(panel_, N2KMonDlg_c::kDisconnectId);
    EXPECT_EQ(emu_->IsConnected(), 0);
    EXPECT_EQ(ConnectButtons(), std::make_pair(true, false));
    ASSERT_EQ(emu_->Connect(), 0);
    ASSERT_TRUE(PumpTicks(panel_, 2));
    EXPECT_EQ(ConnectButtons(), std::make_pair(true, false)) << "not followed while hidden";
    emu_->n2kMon->Show();
    EXPECT_TRUE(PumpUntil([&] { return ConnectButtons() == std::make_pair(false, true); }));
}

TEST_F(N2KMonPanel, MonitorAllPgnListsWhatTheFirmwareSendsWhileDisconnected) {
    FirmwareSends(kHeading, 2);
    ASSERT_TRUE(PumpUntil([&] { return firmware_.sent == 2; }));
    ASSERT_TRUE(PumpTicks(panel_, 2));
    EXPECT_EQ(TxCount(), "0 ") << "unsent messages are not monitored";

    DisplayAll(true);
    EXPECT_EQ(emu_->dispAllPgn, 1);
    FirmwareSends(kHeading, 3);
    ASSERT_TRUE(PumpUntil([&] { return TxCount() == "3 "; }));
    EXPECT_EQ(CountCell(TxList(), kHeading, kFirmwareAddress), "3");

    DisplayAll(false);
    EXPECT_EQ(emu_->dispAllPgn, 0);
    FirmwareSends(kHeading, 1);
    ASSERT_TRUE(PumpUntil([&] { return firmware_.sent == 6; }));
    ASSERT_TRUE(PumpTicks(panel_, 2));
    EXPECT_EQ(TxCount(), "3 ");
    EXPECT_EQ(TempDir::Read(dir_.File("Ferrow.cfg")), configText_) << "never written back";

    // Switched to and fro while the firmware floods.
    firmware_.flood = true;
    for (int i = 0; i < 10; ++i) {
        DisplayAll(i % 2 == 0);
        ASSERT_TRUE(PumpTicks(panel_, 1));
    }
    DisplayAll(true);
    EXPECT_TRUE(
        PumpUntil([&] { return RowOf(TxList(), kPositionRapid, kFirmwareAddress) >= 0; }));
}

// A monitor the firmware makes with a small store, its period configured.
class OwnMonitor : public N2KMonPanel {
protected:
    static constexpr unsigned long kStoreSize = 16;
    void SetUp() override {
        storeSize_ = kStoreSize;
        config_ = "N2KMON_DISP_PERIOD=250\n";
        N2KMonPanel::SetUp();
    }
};

TEST_F(OwnMonitor, TakesItsPeriodAndAfterContinueCountsEveryMessageOfferedWhilePaused) {
    EXPECT_EQ(panel_->TimerInterval(), 250);
    ConnectThroughPanel();
    Press(panel_, N2KMonDlg_c::kPauseId);
    EXPECT_EQ(ButtonOf(panel_, N2KMonDlg_c::kPauseId)->GetLabel(), "Continue");
    auto* time = ControlOf<wxStaticText>(panel_, N2KMonDlg_c::kTimeId);
    const wxString frozen = time->GetLabel();
    FirmwareSends(kHeading, 40);
    ASSERT_TRUE(PumpUntil([&] { return emu_->n2kMon->GetTxOffered() == 40; }));
    ASSERT_TRUE(PumpTicks(panel_, 3));
    EXPECT_EQ(time->GetLabel(), frozen);
    EXPECT_EQ(TxList()->GetItemCount(), 0);

    Press(panel_, N2KMonDlg_c::kPauseId);
    EXPECT_EQ(ButtonOf(panel_, N2KMonDlg_c::kPauseId)->GetLabel(), "Pause");
    ASSERT_TRUE(PumpUntil([&] { return TxCount() == "40 "; }));
    EXPECT_EQ(CountCell(TxList(), kHeading, kFirmwareAddress),
              wxString::Format("%lu", kStoreSize))
        << "the list gets what the store kept";
}

// The firmware manages the connection itself.
class FirmwareConnection : public N2KMonPanel {
protected:
    void SetUp() override {
        gatewayArg_ = &firmwareArg_;
        N2KMonPanel::SetUp();
    }
    int firmwareArg_ = 0;
};

// The firmware's connect function deletes the monitor on another thread and
// waits for it: the panel holds nothing of the monitor while connecting.
Ferrow_c* g_connecting = nullptr;

int ConnectDeletingTheMonitor() {
    std::thread([] { delete g_connecting->n2kMon; }).join();
    return 0;
}

TEST_F(FirmwareConnection, LeavesConnectAndDisconnectDisabledAndConnectsWithoutAHold) {
    ASSERT_EQ(emu_->useGateway, 0);
    emu_->n2kMon->Show();
    ASSERT_TRUE(PumpUntil([&] { return panel_->IsShown(); }));
    EXPECT_EQ(ConnectButtons(), std::make_pair(false, false));

    g_connecting = emu_.get();
    ASSERT_EQ(emu_->SetConnectFunction(&ConnectDeletingTheMonitor), 0);
    Press(panel_, N2KMonDlg_c::kConnectId);
    EXPECT_EQ(emu_->n2kMon, nullptr);
    EXPECT_TRUE(PumpUntil([&] { return PanelOf(host_, N2KMonDlg_c::kTemplateId) == nullptr; }));
}

TEST_F(N2KMonPanel, CloseEscapeAndTheCloseBoxHideItAndTheTimerRunsOn) {
    Ferrow_N2K_Mon_c* monitor = emu_->n2kMon;
    ExpectHiddenBy(monitor, [&] { Press(panel_, wxID_OK); });
    ExpectHiddenBy(monitor, [&] { panel_->Close(); });
    ExpectHiddenBy(monitor, [&] {
        panel_->Raise();
        wxButton* pause = ButtonOf(panel_, N2KMonDlg_c::kPauseId);
        pause->SetFocus();
        ASSERT_TRUE(PumpUntil([&] { return pause->HasFocus(); }));
        wxUIActionSimulator().Char(WXK_ESCAPE);
    });
    EXPECT_EQ(PanelOf(host_, N2KMonDlg_c::kTemplateId), panel_) << "hidden, not destroyed";
    ConnectThroughPanel();
    PeerSends(kWind, 1);
    EXPECT_TRUE(PumpUntil([&] { return RxCount() == "1 "; })) << "a hidden panel still lists";
}

}  // namespace
}  // namespace ferrow::panels::test
