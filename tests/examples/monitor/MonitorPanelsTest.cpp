// The demo with a display: its host window lists a panel for every
// peripheral the firmware uses, and each opens from there.
#include "Bench.h"
#include "MonitorDevice.h"
#include "PanelsHost.h"
#include "panels/WindowHandle.h"
#include "tests/support/TempDir.h"

#include <ferrow/ferrow.h>
#include <ferrow/panels/FerrowHost.h>

#include <string>

namespace {

using ferrow::panels::WindowHandle;
using ferrow::panels::test::PanelListOf;
using ferrow::panels::test::PanelsOf;
using ferrow::panels::test::PumpUntil;
using ferrow::test::TempDir;

TEST(MonitorPanels, TheHostWindowListsEveryPeripheralsPanelAndEachOpens) {
    REQUIRE_GUI();
    char name[] = "monitor";
    char* argv[] = {name, nullptr};
    int argc = 1;
    FerrowHost host(argc, argv, "monitor");
    wxWindow* window = WindowHandle::ToWindow(host.Window());
    ASSERT_NE(window, nullptr);
    TempDir dir;
    const std::string config = dir.File("Ferrow.cfg");
    TempDir::Write(config, "GW_PORT_NAME=\"vbus:monitor-panels\"\n");
    const std::string eeprom = dir.File("Ferrow.hex");
    MonitorOptions options;
    options.parent = host.Window();
    options.configFile = config.c_str();
    options.eepromFile = eeprom.c_str();
    options.pace = 0;
    {
        MonitorDevice device(options);
        ASSERT_EQ(device.Start(argc, argv), 0);
        Bench bench(device);
        Ferrow_c& emu = *device.Emulator();

        constexpr unsigned kPeripherals = 10;
        EXPECT_EQ(PanelsOf(window).size(), kPeripherals);
        wxListBox* list = PanelListOf(window);
        ASSERT_NE(list, nullptr);
        ASSERT_TRUE(PumpUntil([&] { return list->GetCount() == kPeripherals; }));
        emu.n2kMon->Show();
        emu.n2kGen->Show();
        emu.serial->Show();
        emu.adc->Show();
        emu.gpio->Show();
        emu.eeprom->Show();
        emu.pwm->Show();
        emu.spi->Show();
        emu.i2c->Show();
        emu.icap->Show();
        EXPECT_TRUE(PumpUntil([&] {
            return emu.n2kMon->IsVisible() && emu.n2kGen->IsVisible() && emu.serial->IsVisible() &&
                   emu.adc->IsVisible() && emu.gpio->IsVisible() && emu.eeprom->IsVisible() &&
                   emu.pwm->IsVisible() && emu.spi->IsVisible() && emu.i2c->IsVisible() &&
                   emu.icap->IsVisible();
        }));
    }
    EXPECT_TRUE(PumpUntil([&] { return PanelListOf(window)->GetCount() == 0; }));
}

}  // namespace
