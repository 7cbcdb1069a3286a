// Panels driven from threads other than the GUI thread: the firmware's
// worker calls its peripherals' panel operations, deletes peripherals and
// reports messages, while the GUI thread may be waiting for that very worker.
#include "PanelsHost.h"

#include "platform/MessageReport.h"
#include "tests/support/Eventually.h"

#include <ferrow/panels/Control01Dlg_c.h>
#include <ferrow/panels/EEPROMDlg_c.h>

#include <wx/modalhook.h>
#include <wx/msgdlg.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace ferrow::panels::test {
namespace {

class PanelThreads : public FactoryPanelsTest {
protected:
    PanelThreads() : FactoryPanelsTest(0) {}

    void SetUp() override {
        FactoryPanelsTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        emu_->SetAutoConnect(0);
    }
};

// The firmware's loop waits for the GUI thread to enter Stop, then drives
// the EEPROM's panel from the worker.
std::atomic<bool> g_inLoop{false};
std::atomic<bool> g_stopping{false};
std::atomic<bool> g_drove{false};
Ferrow_EEPROM_c* g_eeprom = nullptr;
constexpr int kMovedX = 333;
constexpr int kMovedY = 222;

void DriveEepromPanelWhileStopping(void*) {
    if (g_drove) return;
    g_inLoop = true;
    while (!g_stopping) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    g_eeprom->Show();
    g_eeprom->Hide();
    g_eeprom->Show();
    g_eeprom->Move(kMovedX, kMovedY);
    g_eeprom->IsVisible();
    g_drove = true;
}

TEST_F(PanelThreads, WorkerCallsReachTheGuiThreadWhileItWaitsInStop) {
    Ferrow_EEPROM_c eeprom(emu_.get(), 0, 64, 0);
    g_eeprom = &eeprom;
    g_inLoop = false;
    g_stopping = false;
    g_drove = false;
    emu_->SetDeviceFunction([](void*) {}, &DriveEepromPanelWhileStopping, 5);
    ASSERT_EQ(emu_->Start(), 0);

    ASSERT_TRUE(ferrow::test::Eventually([] { return g_inLoop.load(); }));
    g_stopping = true;
    EXPECT_EQ(emu_->Stop(), 0);
    ASSERT_TRUE(g_drove);

    FloatingDlg_c* panel = PanelOf(host_, EEPROMDlg_c::kTemplateId);
    ASSERT_NE(panel, nullptr);
    EXPECT_TRUE(PumpUntil([&] {
        return eeprom.IsVisible() == 1 && panel->GetScreenPosition() == wxPoint(kMovedX, kMovedY);
    }));
    // What the GUI thread saw reaches the other threads' IsVisible.
    std::atomic<int> fromWorker{-1};
    std::thread([&] { fromWorker = eeprom.IsVisible(); }).join();
    EXPECT_EQ(fromWorker, 1);
    panel->Close();
    std::thread([&] { fromWorker = eeprom.IsVisible(); }).join();
    EXPECT_EQ(fromWorker, 0);
}

TEST_F(PanelThreads, PanelsMadeOnAWorkerAppearOnTheGuiThread) {
    std::unique_ptr<Ferrow_EEPROM_c> eeprom;
    std::thread([&] {
        eeprom = std::make_unique<Ferrow_EEPROM_c>(emu_.get(), 0, 64, 0);
        eeprom->Show();
    }).join();
    EXPECT_TRUE(PumpUntil([&] { return eeprom->IsVisible() == 1; }));
    EXPECT_NE(PanelOf(host_, EEPROMDlg_c::kTemplateId), nullptr);

    std::thread([&] { eeprom.reset(); }).join();
    EXPECT_TRUE(PumpUntil([&] { return PanelsOf(host_).empty(); }));
}

TEST_F(PanelThreads, DeletingAPeripheralOnAWorkerWhileItsPanelRefreshesIsClean) {
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        auto* adc = new Ferrow_ADC_c(emu_.get(), 0, 0);
        adc->AddChannel(4, 10, 8, 1, 0);
        adc->Start();
        adc->Show();
        auto* panel = dynamic_cast<Control01Dlg_c*>(PanelsOf(host_).at(0));
        ASSERT_NE(panel, nullptr);
        ASSERT_TRUE(PumpUntil([&] { return panel->TimerInterval() > 0; }));

        // The worker changes values and deletes the ADC while the GUI thread
        // keeps refreshing the panel from it.
        std::atomic<bool> deleted{false};
        std::thread worker([&] {
            for (int i = 0; i < 200; ++i) adc->SetValue(i % 4, i);
            delete adc;
            deleted = true;
        });
        while (!deleted) panel->Refresh();
        worker.join();
        // The window goes later, on the GUI thread; until then a refresh
        // must not reach the peripheral.
        panel->Refresh();
        EXPECT_TRUE(PumpUntil([&] { return PanelsOf(host_).empty(); }));
    }
}

// Stands in for the operator: records each modal dialog and dismisses it.
// Its calls come on the GUI thread, which is the test's own.
class MessageBoxes : public wxModalDialogHook {
public:
    MessageBoxes() { Register(); }
    ~MessageBoxes() override { Unregister(); }

    int Enter(wxDialog* dialog) override {
        auto* box = dynamic_cast<wxMessageDialogBase*>(dialog);
        shown.push_back(box ? box->GetCaption() + "|" + box->GetMessage() : wxString("?"));
        return wxID_OK;
    }
    void Exit(wxDialog*) override {}

    std::vector<wxString> shown;
};

TEST_F(PanelThreads, MessageFromAWorkerIsShownLaterOnTheGuiThread) {
    MessageBoxes boxes;
    std::thread([] {
        ferrow::platform::MessageReport::Show(L"Ferrow", L"from the worker");
        ferrow::platform::MessageReport::Beep();
    }).join();
    // The worker returned before anyone could have answered the box.
    EXPECT_TRUE(boxes.shown.empty());
    EXPECT_TRUE(PumpUntil([&] { return !boxes.shown.empty(); }));
    EXPECT_EQ(boxes.shown, std::vector<wxString>{"Ferrow|from the worker"});
}

}  // namespace
}  // namespace ferrow::panels::test
