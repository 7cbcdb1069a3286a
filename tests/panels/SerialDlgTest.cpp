// The serial port's panel as a developer meets it: an emulator from the
// factory with a serial port, the firmware writing to its UART and reading
// what the panel sends, the panel driven through its controls.
#include "PanelsHost.h"

#include "platform/ProcessClock.h"

#include <ferrow/panels/SerialDlg_c.h>

#include <wx/button.h>
#include <wx/clipbrd.h>
#include <wx/listbox.h>
#include <wx/textctrl.h>
#include <wx/uiaction.h>
#include <wx/weakref.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace ferrow::panels::test {
namespace {

// What the firmware's receive callback read, as the firmware reads it: the
// callback takes everything waiting with GetRX.
struct Received {
    std::mutex mutex;  // protects: bytes, calls
    std::string bytes;
    int calls = 0;
};
Received g_received;
Ferrow_Serial_c* g_port = nullptr;

void OnReceive(int) {
    unsigned char buffer[512];
    std::string got;
    for (int n; (n = g_port->GetRX(buffer, sizeof buffer)) > 0;) {
        got.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(n));
    }
    std::lock_guard<std::mutex> guard(g_received.mutex);
    g_received.bytes += got;
    ++g_received.calls;
}

// Takes what the firmware received since the last call, and the number of
// receive callbacks that brought it.
std::pair<std::string, int> TakeReceived() {
    std::lock_guard<std::mutex> guard(g_received.mutex);
    return {std::exchange(g_received.bytes, {}), std::exchange(g_received.calls, 0)};
}

class SerialPanel : public FactoryPanelsTest {
protected:
    SerialPanel() : FactoryPanelsTest(FERROW_SERIAL) {}

    void SetUp() override {
        FactoryPanelsTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        emu_->SetAutoConnect(0);
        port_ = g_port = emu_->serial;
        ASSERT_NE(port_, nullptr);
        TakeReceived();
        panel_ = dynamic_cast<SerialDlg_c*>(PanelOf(host_, SerialDlg_c::kTemplateId));
        ASSERT_NE(panel_, nullptr);
        log_ = ControlOf<wxListBox>(panel_, SerialDlg_c::kLogId);
        upper_ = ControlOf<wxTextCtrl>(panel_, SerialDlg_c::kUpperLineId);
        lower_ = ControlOf<wxTextCtrl>(panel_, SerialDlg_c::kLowerLineId);
        ASSERT_TRUE(log_ && upper_ && lower_);
    }

    void TearDown() override {
        FactoryPanelsTest::TearDown();
        g_port = nullptr;
    }

    // The firmware transmits `bytes`.
    void Transmit(const std::string& bytes) {
        ASSERT_EQ(port_->PutTX(reinterpret_cast<const unsigned char*>(bytes.data()),
                               static_cast<int>(bytes.size())),
                  static_cast<int>(bytes.size()));
    }

    // The log's entries as UTF-8.
    std::vector<std::string> Entries() const {
        std::vector<std::string> entries;
        for (const wxString& entry : log_->GetStrings()) entries.push_back(entry.utf8_string());
        return entries;
    }

    std::vector<int> Selected() const {
        wxArrayInt selected;
        log_->GetSelections(selected);
        return {selected.begin(), selected.end()};
    }

    // Runs the GUI thread until the log lists `expected`.
    void ExpectLog(const std::vector<std::string>& expected) {
        EXPECT_TRUE(PumpUntil([&] { return Entries() == expected; }))
            << "log: " << testing::PrintToString(Entries());
    }

    // Shows the panel as the firmware does and waits until the upper input
    // line has the keyboard focus.
    void ShowPanel() {
        port_->Show();
        ASSERT_TRUE(PumpUntil([&] { return upper_->IsShownOnScreen() && upper_->HasFocus(); }));
    }

    // Clicks in the middle of the control with the real mouse.
    void Click(int id) {
        wxWindow* control = panel_->FindWindow(id);
        wxUIActionSimulator mouse;
        mouse.MouseMove(control->GetScreenRect().GetPosition() + control->GetSize() / 2);
        mouse.MouseClick();
    }

    void ClickLowerLine() {
        Click(SerialDlg_c::kLowerLineId);
        ASSERT_TRUE(PumpUntil([&] { return lower_->HasFocus(); }));
    }

    // Runs the GUI thread until the firmware has received `bytes`, which
    // every send delivers in two callbacks.
    void ExpectReceived(const std::string& bytes) {
        EXPECT_TRUE(PumpUntil([&] {
            std::lock_guard<std::mutex> guard(g_received.mutex);
            return g_received.bytes.size() >= bytes.size() && g_received.calls >= 2;
        }));
        EXPECT_EQ(TakeReceived(), std::make_pair(bytes, 2));
    }

    Ferrow_Serial_c* port_ = nullptr;
    SerialDlg_c* panel_ = nullptr;
    wxListBox* log_ = nullptr;
    wxTextCtrl* upper_ = nullptr;
    wxTextCtrl* lower_ = nullptr;
};

// The teletype's own tests read every byte; here, that its lines reach the
// log whole, as text.
TEST_F(SerialPanel, TheLogListsTheTeletypesLines) {
    std::string long1030;
    for (int i = 0; i < 1030; ++i) long1030.push_back(static_cast<char>('a' + i % 26));
    struct Case {
        const char* name;
        std::string bytes;
        std::vector<std::string> entries;
    };
    const Case cases[] = {
        {"line ends, CR and BS", "a\nabc\rX\r\nab\bc\n\n", {"a", "Xbc", "ac", ""}},
        {"UTF-8 is text, other bytes show in hex", "21\xc2\xb0" "C \xe9\n", {"21\xc2\xb0" "C \\xE9"}},
        {"cut at 1024, the rest pending", long1030,
         {long1030.substr(0, 1024), long1030.substr(1024)}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Press(panel_, SerialDlg_c::kClearId);
        ASSERT_TRUE(log_->IsEmpty());
        Transmit(c.bytes);
        ExpectLog(c.entries);
    }
}

TEST_F(SerialPanel, AnUnfinishedLineIsListedOnceReplacedWhenItEndsAndOutlivesClear) {
    Transmit("abc");
    ExpectLog({"abc"});
    Transmit("def\n");
    ExpectLog({"abcdef"});
    EXPECT_EQ(Selected(), std::vector<int>{0}) << "the newest entry is selected";

    Transmit("load 5%\r");
    ExpectLog({"abcdef", "load 5%"});
    Transmit("load 60%\r");
    {
        SCOPED_TRACE("after a CR the line is still replaced");
        ExpectLog({"abcdef", "load 60%"});
    }
    Transmit("done   \nnext");
    ExpectLog({"abcdef", "done   %", "next"});
    EXPECT_EQ(Selected(), std::vector<int>{2});

    Press(panel_, SerialDlg_c::kClearId);
    EXPECT_TRUE(log_->IsEmpty());
    ASSERT_TRUE(PumpTicks(panel_, 2));
    EXPECT_TRUE(log_->IsEmpty()) << "nothing comes back without new bytes";
    Transmit("!\n");
    ExpectLog({"next!"});
}

TEST_F(SerialPanel, ReadsLikeATerminalWithTimeStampsAndHexOnDemand) {
    EXPECT_TRUE(log_->GetFont().IsFixedWidth());
    EXPECT_GE(log_->GetClientSize().x, 80 * log_->GetTextExtent("0").x) << "80 columns";

    const auto clock = std::make_shared<ferrow::platform::VirtualClock>();
    clock->Set(12345);
    const ferrow::platform::ProcessClock::Binding simulated(clock);
    Transmit("boot\nhalf");
    ExpectLog({"boot", "half"});
    Tick(panel_, SerialDlg_c::kTimeStampsId, true);
    EXPECT_EQ(Entries().back(), "[   12.345] half") << "the unfinished line follows at once";
    clock->Set(14000);
    Transmit(" done\n");
    ExpectLog({"boot", "[   12.345] half done"});

    Tick(panel_, SerialDlg_c::kHexId, true);
    Transmit(std::string("OK\r\n\0\x01\xff", 7));
    EXPECT_TRUE(PumpUntil([&] { return Entries().size() == 3; }));
    const std::string row = Entries().back();
    EXPECT_EQ(row.substr(0, 33), "[   14.000] 4F 4B 0D 0A 00 01 FF ") << row;
    EXPECT_EQ(row.substr(row.size() - 9), "|OK.....|") << row;
}

// Selecting holds the view; Copy and Ctrl+C in the log copy the selection.
TEST_F(SerialPanel, SelectedLinesAreCopiedAndASelectionHoldsTheView) {
    Transmit("one\ntwo\nthree\n");
    ExpectLog({"one", "two", "three"});
    EXPECT_EQ(Selected(), std::vector<int>{2});
    log_->DeselectAll();
    log_->SetSelection(0);
    log_->SetSelection(1);
    Transmit("four\n");
    ExpectLog({"one", "two", "three", "four"});
    EXPECT_EQ(Selected(), (std::vector<int>{0, 1})) << "the operator's selection stays";

    const auto clipboard = [] {
        wxTextDataObject text;
        wxClipboardLocker open;
        return !!open && wxTheClipboard->GetData(text) ? text.GetText() : wxString("none");
    };
    Press(panel_, SerialDlg_c::kCopyId);
    EXPECT_EQ(clipboard(), "one\ntwo");

    ShowPanel();
    log_->SetFocus();
    ASSERT_TRUE(PumpUntil([&] { return log_->HasFocus(); }));
    log_->DeselectAll();
    log_->SetSelection(2);
    wxUIActionSimulator keys;
    keys.Char('c', wxMOD_CONTROL);
    EXPECT_TRUE(PumpUntil([&] { return clipboard() == "three"; })) << clipboard();

    upper_->SetFocus();
    ASSERT_TRUE(PumpUntil([&] { return upper_->HasFocus(); }));
    upper_->ChangeValue("typed");
    upper_->SelectAll();
    keys.Char('c', wxMOD_CONTROL);
    EXPECT_TRUE(PumpUntil([&] { return clipboard() == "typed"; })) << "an input line copies its own text";

    log_->DeselectAll();
    log_->SetSelection(3);
    Transmit("five\n");
    ExpectLog({"one", "two", "three", "four", "five"});
    EXPECT_EQ(Selected(), std::vector<int>{4}) << "the newest line selected, the log follows again";
}

TEST_F(SerialPanel, TheLogKeepsTheNewestEntriesUpToItsLimit) {
    const unsigned int limit = SerialDlg_c::kMaxLogEntries;
    std::string burst;
    for (unsigned int i = 0; i < limit + 2; ++i) burst += std::to_string(i) + "\n";
    burst += "pend";
    Transmit(burst);
    EXPECT_TRUE(PumpUntil([&] {
        return log_->GetCount() == limit && log_->GetString(limit - 1) == "pend";
    }));
    EXPECT_EQ(log_->GetString(0), std::to_string(3)) << "the oldest three entries made room";
    Transmit("ing\n");
    EXPECT_TRUE(PumpUntil([&] { return log_->GetString(limit - 1) == "pending"; }));
    EXPECT_EQ(log_->GetCount(), limit) << "the finished line replaced the unfinished one";
}

TEST_F(SerialPanel, PauseLeavesTheBytesInTheRingUntilItIsFullAndContinueListsThemAll) {
    auto* pause = ControlOf<wxButton>(panel_, SerialDlg_c::kPauseId);
    Press(panel_, SerialDlg_c::kPauseId);
    EXPECT_EQ(pause->GetLabel(), "Continue");
    Transmit("one\n");
    // With the first line, the ring is exactly full.
    Transmit(std::string(65536 - 4, 'x'));
    ASSERT_TRUE(PumpTicks(panel_, 3));
    EXPECT_TRUE(log_->IsEmpty());
    const unsigned char more = 'y';
    EXPECT_EQ(port_->PutTX(&more, 1), -1) << "a full ring refuses the firmware's bytes";

    Press(panel_, SerialDlg_c::kPauseId);
    EXPECT_EQ(pause->GetLabel(), "Pause");
    std::vector<std::string> expected = {"one"};
    expected.insert(expected.end(), 63, std::string(1024, 'x'));
    expected.push_back(std::string(1020, 'x'));
    ExpectLog(expected);
    EXPECT_EQ(port_->PutTX(&more, 1), 1) << "the ring has room again";
}

TEST_F(SerialPanel, EnterAndTheSendButtonsDeliverEachLineWithACarriageReturn) {
    port_->InitV2(OnReceive, 7);
    ShowPanel();
    wxUIActionSimulator keys;
    keys.Text("hello");
    keys.Char(WXK_RETURN);
    ExpectReceived("hello\r");
    EXPECT_EQ(upper_->GetValue(), "hello") << "the line keeps its text";

    ClickLowerLine();
    keys.Text("world");
    keys.Char(WXK_RETURN);
    ExpectReceived("world\r");

    Click(SerialDlg_c::kLogId);
    keys.Char(WXK_RETURN);
    {
        SCOPED_TRACE("away from the lines, Enter sends the last one used");
        ExpectReceived("world\r");
    }

    Click(SerialDlg_c::kUpperSendId);
    ExpectReceived("hello\r");
    lower_->ChangeValue("");
    Click(SerialDlg_c::kLowerSendId);
    {
        SCOPED_TRACE("an empty line still delivers twice");
        ExpectReceived("\r");
    }

    upper_->ChangeValue(wxString(L"\u00e9\u20ac") + wxString('z', 300));
    Press(panel_, SerialDlg_c::kUpperSendId);
    SCOPED_TRACE("a line is sent as its first 255 characters cut to 8 bits");
    ExpectReceived("\xe9\xac" + std::string(253, 'z') + "\r");
}

TEST_F(SerialPanel, EachShowStartsFromTheUpperLineUnderThePortsTitleAndClosingOnlyHides) {
    EXPECT_EQ(panel_->TimerInterval(), 100) << "without a configured period";
    EXPECT_EQ(panel_->GetTitle(), "Serial--1") << "before the firmware's Init";
    port_->InitV2(OnReceive, 3);
    upper_->ChangeValue("up");
    lower_->ChangeValue("down");
    ShowPanel();
    EXPECT_EQ(panel_->GetTitle(), "Serial-3");
    wxUIActionSimulator keys;
    keys.Char(WXK_RETURN);
    ExpectReceived("up\r");

    ClickLowerLine();
    port_->Hide();
    ASSERT_EQ(port_->SetName("GPS \xb0"), 5);
    ShowPanel();
    EXPECT_EQ(panel_->GetTitle(), L"GPS \u00b0");
    keys.Char(WXK_RETURN);
    ExpectReceived("up\r");

    Transmit("kept\n");
    ExpectLog({"kept"});
    panel_->Close();
    EXPECT_TRUE(PumpUntil([&] { return port_->IsVisible() == 0; }));
    Transmit("while hidden\n");
    ExpectLog({"kept", "while hidden"});
    ShowPanel();
    EXPECT_EQ(port_->IsVisible(), 1);

    // Without a window manager a panel shown again does not get the
    // display's keyboard focus by itself.
    panel_->Raise();
    upper_->SetFocus();
    ASSERT_TRUE(PumpTicks(panel_, 2));
    keys.Char(WXK_ESCAPE);
    EXPECT_TRUE(PumpUntil([&] { return port_->IsVisible() == 0; })) << "Escape closes too";
}

TEST_F(SerialPanel, ResizingKeepsTheControlsAnchoredAndStopsAtTheTemplate) {
    wxWindow* pause = panel_->FindWindow(SerialDlg_c::kPauseId);
    wxWindow* copy = panel_->FindWindow(SerialDlg_c::kCopyId);
    wxWindow* send = panel_->FindWindow(SerialDlg_c::kLowerSendId);
    const wxSize logSize = log_->GetSize();
    const wxRect upperRect = upper_->GetRect();
    const wxPoint pausePos = pause->GetPosition();
    const wxPoint copyPos = copy->GetPosition();
    const wxPoint sendPos = send->GetPosition();

    panel_->SetClientSize(panel_->GetClientSize() + wxSize(120, 80));
    ASSERT_TRUE(PumpUntil([&] { return log_->GetSize() == logSize + wxSize(120, 80); }))
        << log_->GetSize().x << "x" << log_->GetSize().y;
    EXPECT_EQ(pause->GetPosition(), pausePos + wxPoint(120, 0));
    EXPECT_EQ(copy->GetPosition(), copyPos + wxPoint(120, 0));
    EXPECT_EQ(upper_->GetRect(), wxRect(upperRect.GetPosition() + wxPoint(0, 80),
                                        upperRect.GetSize() + wxSize(120, 0)));
    EXPECT_EQ(send->GetPosition(), sendPos + wxPoint(120, 80));

    const wxSize least = panel_->ConvertDialogToPixels(wxSize(330, 150));
    panel_->SetClientSize(wxSize(50, 40));
    ASSERT_TRUE(PumpUntil([&] { return panel_->GetClientSize() == least; }))
        << panel_->GetClientSize().x << "x" << panel_->GetClientSize().y;
    EXPECT_LT(upper_->GetRect().GetRight(), send->GetRect().GetLeft()) << "nothing overlaps";
    EXPECT_LT(copy->GetRect().GetRight(), pause->GetRect().GetLeft());
}

// The firmware's receive callback reads the port and deletes it, on the GUI
// thread or on a thread it waits for, from within the Send that raised it.
Ferrow_Serial_c* g_doomed = nullptr;
bool g_deleteOnThread = false;
int g_doomedCalls = 0;

void DeleteOwnPort(int) {
    ++g_doomedCalls;
    Ferrow_Serial_c* port = std::exchange(g_doomed, nullptr);
    if (port == nullptr) return;
    unsigned char bytes[16];
    port->GetRX(bytes, sizeof bytes);
    if (g_deleteOnThread) {
        std::thread([port] { delete port; }).join();
    } else {
        delete port;
    }
}

TEST_F(SerialPanel, AReceiveCallbackMayDeleteItsPortFromWithinTheSend) {
    for (const bool onThread : {false, true}) {
        SCOPED_TRACE(onThread ? "on another thread" : "on the GUI thread");
        auto* port = new Ferrow_Serial_c(emu_.get(), 0, 0);
        port->InitV2(DeleteOwnPort, 1);
        g_doomed = port;
        g_deleteOnThread = onThread;
        g_doomedCalls = 0;
        FloatingDlg_c* doomed = nullptr;
        for (FloatingDlg_c* panel : PanelsOf(host_)) {
            if (panel != panel_) doomed = panel;
        }
        ASSERT_NE(doomed, nullptr);
        ControlOf<wxTextCtrl>(doomed, SerialDlg_c::kUpperLineId)->ChangeValue("bye");
        const wxWeakRef<FloatingDlg_c> alive(doomed);
        Press(doomed, SerialDlg_c::kUpperSendId);
        EXPECT_TRUE(alive) << "the panel outlived its own handler";
        EXPECT_EQ(g_doomed, nullptr);
        EXPECT_EQ(g_doomedCalls, 1) << "a port deleted by the text gets no carriage return";
        EXPECT_TRUE(PumpUntil([&] { return PanelsOf(host_).size() == 1; }));
    }
}

class ConfiguredSerialPanel : public SerialPanel {
    void SetUp() override {
        config_ = "SERIAL_DISP_PERIOD=250\n";
        SerialPanel::SetUp();
    }
};

// The firmware's loop numbers its lines while the panel takes them.
std::atomic<int> g_sent{0};

void TransmittingLoop(void*) {
    const std::string line = "tick " + std::to_string(g_sent.load()) + "\n";
    if (g_port->PutTX(reinterpret_cast<const unsigned char*>(line.data()),
                      static_cast<int>(line.size())) > 0) {
        ++g_sent;
    }
}

TEST_F(ConfiguredSerialPanel, TakesItsPeriodAndListsEveryLineInOrderWhileTheFirmwareTransmits) {
    EXPECT_EQ(panel_->TimerInterval(), 250);
    g_sent = 0;
    ASSERT_EQ(emu_->SetDeviceFunction([](void*) {}, TransmittingLoop, 2), 0);
    ASSERT_EQ(emu_->Start(), 0);
    EXPECT_TRUE(PumpUntil([&] { return log_->GetCount() >= 20; }));
    EXPECT_EQ(emu_->Stop(), 0);
    ASSERT_TRUE(PumpUntil([&] { return log_->GetCount() == static_cast<unsigned>(g_sent); }));
    for (unsigned i = 0; i < log_->GetCount(); ++i) {
        ASSERT_EQ(log_->GetString(i), wxString::Format("tick %u", i));
    }
}

}  // namespace
}  // namespace ferrow::panels::test
