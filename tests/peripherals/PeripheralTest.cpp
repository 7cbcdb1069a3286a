// What every peripheral shares, shown on the NMEA 2000 monitor and generator:
// registration, panels from the installed provider, names, and outliving the
// emulator.
#include "tests/support/FakePanelProvider.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Ferrow_N2K_Gen_c.h>
#include <ferrow/Ferrow_N2K_Mon_c.h>
#include <ferrow/PanelProvider.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using ferrow::test::FakePanelProvider;
using ferrow::test::TestEmulator;

TEST(Peripheral, TheFirstOfAKindIsRegisteredAndItsDestructionFreesTheSlot) {
    TestEmulator emu;
    auto first = std::make_unique<Ferrow_N2K_Mon_c>(emu.emu.get(), 0, 4, 1);
    auto second = std::make_unique<Ferrow_N2K_Mon_c>(emu.emu.get(), 0, 4, 1);
    EXPECT_EQ(emu->n2kMon, first.get());
    Ferrow_N2K_Gen_c gen(emu.emu.get(), 0, 4, 1);
    EXPECT_EQ(emu->n2kGen, &gen);

    second.reset();
    EXPECT_EQ(emu->n2kMon, first.get()) << "an unregistered one leaves the slot alone";
    first.reset();
    EXPECT_EQ(emu->n2kMon, nullptr) << "the emulator never reaches a destroyed monitor";
    Ferrow_N2K_Mon_c third(emu.emu.get(), 0, 4, 1);
    EXPECT_EQ(emu->n2kMon, &third);
}

TEST(Peripheral, PanelsComeFromTheInstalledProviderUnlessNoPanelIsSet) {
    TestEmulator emu;
    Ferrow_N2K_Mon_c bare(emu.emu.get(), 0, 4, 0);
    bare.Show();
    bare.Move(1, 2);
    EXPECT_EQ(bare.IsVisible(), 0) << "no provider: no panel, harmless calls";

    FakePanelProvider provider;
    {
        Ferrow_N2K_Mon_c withPanel(emu.emu.get(), 0, 4, 0);
        Ferrow_N2K_Gen_c noPanel(emu.emu.get(), 0, 4, 1);
        ASSERT_EQ(provider.requests.size(), 1u);
        EXPECT_EQ(provider.requests[0].kind, PeripheralKind::N2KMon);
        EXPECT_EQ(provider.requests[0].peripheral, &withPanel);
        EXPECT_EQ(provider.requests[0].parent, nullptr) << "no host window: a top-level panel";
        EXPECT_EQ(withPanel.IsVisible(), 0) << "hidden until shown";
        withPanel.Show();
        EXPECT_EQ(withPanel.IsVisible(), 1);
        withPanel.Move(40, 60);
        withPanel.Hide();
        EXPECT_EQ(withPanel.IsVisible(), 0);
        noPanel.Show();
        EXPECT_EQ(noPanel.IsVisible(), 0);
    }
    EXPECT_EQ(provider.log, (std::vector<std::string>{"move 40,60 2", "destroyed 2"}));

    provider.log.clear();
    provider.onModal = [&](void* peripheral) {
        char name[8] = "x";
        static_cast<Ferrow_N2K_Mon_c*>(peripheral)->GetName(name);
        provider.log.push_back(std::string("name '") + name + "'");
    };
    Ferrow_N2K_Mon_c modal(emu.emu.get(), 1, 4, 0);
    EXPECT_EQ(provider.log, (std::vector<std::string>{"name ''", "modal 2"}));
    modal.Show();
    EXPECT_EQ(modal.IsVisible(), 0) << "after a modal panel closes there is none";
}

TEST(Peripheral, NamesAreKeptUpTo255BytesAndNullsAreRefused) {
    TestEmulator emu;
    Ferrow_N2K_Mon_c mon(emu.emu.get(), 0, 4, 1);
    char buffer[1100];
    buffer[0] = 'x';
    EXPECT_EQ(mon.GetName(buffer), 0);
    EXPECT_STREQ(buffer, "");
    std::string name(1000, 'n');
    name[0] = 'N';
    EXPECT_EQ(mon.SetName(name.c_str()), 0);
    name[0] = 'Z';  // the object keeps its own copy
    EXPECT_EQ(mon.GetName(buffer), 0);
    EXPECT_EQ(std::string(buffer).size(), 255u) << "a 256-byte buffer holds every name";
    EXPECT_EQ(buffer[0], 'N');
    EXPECT_EQ(mon.SetName(nullptr), -1);
    EXPECT_EQ(mon.GetName(nullptr), -1);
    EXPECT_EQ(mon.GetName(buffer), 0);
    EXPECT_EQ(buffer[0], 'N') << "a refused name changes nothing";
}

TEST(Peripheral, APeripheralMayOutliveItsEmulator) {
    auto emu = std::make_unique<TestEmulator>();
    Ferrow_N2K_Gen_c gen(emu->emu.get(), 0, 4, 1);
    Ferrow_N2K_Mon_c mon(emu->emu.get(), 0, 4, 1);
    emu.reset();
    N2KMsg msg{};
    msg.pgn = 59904;
    EXPECT_EQ(gen.PutMsg(&msg, 1), 1) << "queued; there is no gateway left to send to";
    EXPECT_EQ(mon.SetName("after"), 0);
}
