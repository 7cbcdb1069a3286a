// FerrowHost as a firmware's main uses it: the window that parents the
// panels, the periodic interrupt on the GUI thread, the run that ends.
#include "PanelsHost.h"

#include "panels/WindowHandle.h"
#include "tests/support/TempDir.h"

#include <ferrow/ferrow.h>
#include <ferrow/panels/FerrowHost.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

namespace ferrow::panels::test {
namespace {

using ferrow::test::TempDir;

// A firmware's arguments.
struct Args {
    char name[8] = "fw";
    char* argv[2] = {name, nullptr};
    int argc = 1;
};

wxWindow* WindowOf(const FerrowHost& host) { return WindowHandle::ToWindow(host.Window()); }

TEST(FerrowHost, ParentsThePanelsOfAFactoryEmulatorAndListsThem) {
    REQUIRE_GUI();
    Args args;
    FerrowHost host(args.argc, args.argv, "device");
    ASSERT_NE(host.Window(), nullptr);
    TempDir dir;
    Ferrow_c* emu = create_Ferrow_pObj(host.Window(), nullptr, dir.File("image.hex").c_str(),
                                       dir.File("ferrow.cfg").c_str(), 0,
                                       FERROW_ADC | FERROW_GPIO | FERROW_EEPROM | FERROW_I2C |
                                           FERROW_SPI | FERROW_SERIAL,
                                       nullptr, nullptr, 0, nullptr, 64);
    EXPECT_EQ(PanelsOf(WindowOf(host)).size(), 6u);
    wxListBox* list = PanelListOf(WindowOf(host));
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(PumpUntil([&] { return list->GetCount() == 6; }));
    EXPECT_NE(list->FindString("EEPROM"), wxNOT_FOUND);

    emu->spi->Show();
    EXPECT_EQ(emu->spi->IsVisible(), 1);
    delete emu->adc;
    delete emu->gpio;
    delete emu->eeprom;
    delete emu->i2c;
    delete emu->spi;
    delete emu->serial;
    delete emu;
    EXPECT_TRUE(PumpUntil([&] { return list->GetCount() == 0; }));
}

TEST(FerrowHost, OnlyOneHostOrInstallationAtATime) {
    REQUIRE_GUI();
    Args args;
    {
        FerrowHost host(args.argc, args.argv, "first");
        EXPECT_THROW(FerrowHost(args.argc, args.argv, "second"), std::logic_error);
        wxFrame other(nullptr, wxID_ANY, "other");
        EXPECT_FALSE(FerrowPanels_Install(&other));
    }
    {
        wxFrame own(nullptr, wxID_ANY, "own");
        ASSERT_TRUE(FerrowPanels_Install(&own));
        EXPECT_THROW(FerrowHost(args.argc, args.argv, "after install"), std::logic_error);
        FerrowPanels_Uninstall();
    }
    FerrowHost again(args.argc, args.argv, "again");
    EXPECT_NE(again.Window(), nullptr);
}

TEST(FerrowHost, RunEndsOnQuitFromAnyThreadAndWhenTheWindowCloses) {
    REQUIRE_GUI();
    Args args;
    FerrowHost host(args.argc, args.argv, "device");
    std::thread quitter([&] { host.Quit(); });
    EXPECT_EQ(host.Run(), 0);
    quitter.join();

    wxTheApp->CallAfter([&] { WindowOf(host)->Close(); });
    EXPECT_EQ(host.Run(), 0);
    EXPECT_FALSE(WindowOf(host)->IsShown());
}

std::atomic<int> g_ticks{0};
std::atomic<int> g_otherTicks{0};
std::atomic<bool> g_destroyOther{false};
std::atomic<bool> g_otherGone{false};
std::atomic<bool> g_ticksOnGui{true};

TEST(FerrowHost, PeriodicInterruptRunsFromTheWindowsTimer) {
    REQUIRE_GUI();
    Args args;
    FerrowHost host(args.argc, args.argv, "device");
    TempDir dir;
    auto emu = std::make_unique<Ferrow_c>(host.Window(), nullptr, dir.File("image.hex").c_str(),
                                          dir.File("ferrow.cfg").c_str(), 0);
    emu->SetAutoConnect(0);
    g_ticks = 0;
    emu->SetDeviceFunction(
        [](void* obj) {
            auto* self = static_cast<Ferrow_c*>(obj);
            self->t_init(0, 10);
            self->t_interrupt_set([](void*) {
                if (!wxThread::IsMain()) g_ticksOnGui = false;
                ++g_ticks;
            });
        },
        [](void*) {}, 20);
    ASSERT_EQ(emu->Start(), 0);
    EXPECT_TRUE(PumpUntil([] { return g_ticks >= 3; }));
    EXPECT_TRUE(g_ticksOnGui);
    // Manual time counts the timer's ticks: they came from the GUI timer.
    EXPECT_GE(emu->t_get_1ms(), 30ul);

    // Killed from a worker, the timer calls no more once Kill returns, and
    // the next emulator on the window, which takes its id, gets every tick;
    // destroying the first leaves that timer alone.
    std::thread([&] { emu->t_disable_int(); }).join();
    const int afterKill = g_ticks;
    EXPECT_EQ(emu->Stop(), 0);
    auto other = std::make_unique<Ferrow_c>(host.Window(), nullptr, dir.File("other.hex").c_str(),
                                            dir.File("other.cfg").c_str(), 0);
    other->t_init(0, 10);
    other->t_interrupt_set([](void* obj) {
        ++g_otherTicks;
        if (g_destroyOther.exchange(false)) {
            delete static_cast<Ferrow_c*>(obj);
            g_otherGone = true;
        }
    });
    EXPECT_TRUE(PumpUntil([] { return g_otherTicks >= 3; }));
    EXPECT_EQ(g_ticks, afterKill);
    emu.reset();
    const int beforeReset = g_otherTicks;
    EXPECT_TRUE(PumpUntil([&] { return g_otherTicks >= beforeReset + 3; }));

    // An emulator may destroy itself from its interrupt, on the GUI thread.
    other.release();
    g_destroyOther = true;
    EXPECT_TRUE(PumpUntil([] { return g_otherGone.load(); }));
}

}  // namespace
}  // namespace ferrow::panels::test
