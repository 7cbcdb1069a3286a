#include "core/Ferrow_Ctx_c.h"
#include "core/InstanceTable.h"
#include "platform/Text.h"
#include "net/Brovik_c.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/CfgFile_c.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <vector>

using ferrow::core::InstanceTable;
using ferrow::platform::Text;
using ferrow::test::CapturedMessages;
using ferrow::test::TempDir;
using ferrow::test::TestEmulator;

namespace {

std::string EepromName(Ferrow_c& emu) { return Text::Narrow(emu.ctx->eepromName); }

HWND FakeWindow(uintptr_t n) { return reinterpret_cast<HWND>(n); }

std::string DefaultConfig(const std::string& eeprom) {
    return "GW_PORT_NAME=\"COM5\"\nGW_LOG_FILE=\"\"\nEEPROM_NAME=\"" + eeprom +
           "\"\nAUTO_CONN=1\nMAX_PORT_SEARCH=20\nDISP_ALL_PGN=0\n";
}

}  // namespace

TEST(Ferrow_c, FirstRunWritesEveryDefaultToTheConfigurationClassTheFlagsChoose) {
    TestEmulator emu(nullptr, 0, nullptr, "");
    EXPECT_EQ(emu->ownConfig, 1);
    EXPECT_EQ(emu->config, emu->gateway->config);
    const std::string expectedEeprom = (std::filesystem::current_path() / "Ferrow.hex").string();
    EXPECT_EQ(EepromName(*emu), expectedEeprom);
    EXPECT_EQ(TempDir::ReadText(emu.config), DefaultConfig(expectedEeprom));

    TempDir dir;
    const std::string config = dir.File("wide.cfg");
    Ferrow_c named(nullptr, nullptr, "/data/dev.hex", config.c_str(), FERROW_CFG_GATEWAY);
    EXPECT_EQ(named.ownConfig, 0);
    EXPECT_NE(dynamic_cast<CfgFile_c*>(static_cast<CFG_File*>(named.config)), nullptr);
    EXPECT_EQ(EepromName(named), "/data/dev.hex");
    EXPECT_EQ(TempDir::ReadText(config), DefaultConfig("/data/dev.hex"));
}

TEST(Ferrow_c, SettingsComeFromAnExistingFileAndAreNeverWrittenBack) {
    for (unsigned long flags : {0ul, FERROW_CFG_GATEWAY}) {
        SCOPED_TRACE(flags);
        TempDir dir;
        const std::string config = dir.File("Ferrow.cfg");
        const std::string text = "AUTO_CONN=0\nDISP_ALL_PGN=1\nGW_PORT_NAME=\"tcp:127.0.0.1:1457\"\n"
                                 "EEPROM_NAME=\"/var/lib/dev/été.hex\"\n";
        TempDir::Write(config, text);
        Ferrow_c emu(nullptr, nullptr, nullptr, config.c_str(), flags);
        EXPECT_EQ(emu.GetAutoConnect(), 0);
        EXPECT_EQ(emu.dispAllPgn, 1);
        EXPECT_EQ(emu.maxPortSearch, 20) << "a missing key keeps its default";
        EXPECT_EQ(emu.gateway->PortName(), "tcp:127.0.0.1:1457");
        EXPECT_EQ(EepromName(emu), "/var/lib/dev/été.hex") << "8-bit text survives widening";
        emu.SetAutoConnect(1);
        EXPECT_EQ(TempDir::Read(config), text);
    }
}

TEST(Ferrow_c, AOneCharacterEepromNameGivesWayToTheDefaultAndALongOneIsCut) {
    TempDir dir;
    const std::string config = dir.File("Ferrow.cfg");
    TempDir::Write(config, "EEPROM_NAME=\"x\"\nAUTO_CONN=0\n");

    Ferrow_c own(nullptr, nullptr, "/dev.hex", config.c_str(), 0);
    EXPECT_EQ(EepromName(own), "x") << "the 8-bit class restores it only at Start";
    EXPECT_EQ(own.Start(), 0);
    EXPECT_EQ(EepromName(own), "/dev.hex");
    EXPECT_EQ(own.Stop(), 0);

    Ferrow_c wide(nullptr, nullptr, "/dev.hex", config.c_str(), FERROW_CFG_GATEWAY);
    EXPECT_EQ(EepromName(wide), "/dev.hex") << "the gateway's class restores it at once";

    const std::string longName(3000, 'n');
    Ferrow_c cut(nullptr, nullptr, longName.c_str(), dir.File("long.cfg").c_str(), 0);
    EXPECT_EQ(EepromName(cut), longName.substr(0, Ferrow_Ctx_c::kNameUnits - 1))
        << "cut to the name buffer without overrun";
}

TEST(Ferrow_c, DestroyedEmulatorsLeaveTheInstanceTableAndTheirEntriesAreReused) {
    TempDir dir;
    const std::string config = dir.File("Ferrow.cfg");
    const uint32_t inUse = InstanceTable::InUse();
    std::vector<std::unique_ptr<Ferrow_c>> emus;
    while (InstanceTable::InUse() < InstanceTable::kCapacity) {
        emus.push_back(std::make_unique<Ferrow_c>(nullptr, nullptr, nullptr, config.c_str(), 0));
    }
    EXPECT_EQ(emus.size(), InstanceTable::kCapacity - inUse);

    {
        CapturedMessages messages;
        Ferrow_c extra(nullptr, nullptr, nullptr, config.c_str(), 0);
        EXPECT_EQ(extra.ctx->instanceIndex, InstanceTable::kNone);
        EXPECT_EQ(messages.Shown().size(), 1u);
        // It still works, without a periodic timer.
        extra.t_init(0, 10);
        extra.t_set_overwrite(1);
        extra.t_interrupt_exec(25);
        EXPECT_EQ(extra.t_get_1ms(), 25u);
    }

    const uint32_t freed = emus[10]->ctx->instanceIndex;
    emus[10]->t_init(0, 1000);
    const uintptr_t timerId = emus[10]->ctx->timerId;
    EXPECT_NE(InstanceTable::Find(nullptr, timerId), nullptr);
    emus[10].reset();
    EXPECT_EQ(InstanceTable::Find(nullptr, timerId), nullptr) << "a late tick finds no emulator";
    Ferrow_c again(nullptr, nullptr, nullptr, config.c_str(), 0);
    EXPECT_EQ(again.ctx->instanceIndex, freed);
}

TEST(Ferrow_c, SetParentMovesPanelsButNotTheTimerWindow) {
    TempDir dir;
    const std::string config = dir.File("Ferrow.cfg");
    Ferrow_c emu(FakeWindow(0x1000), nullptr, nullptr, config.c_str(), 0);
    EXPECT_EQ(emu.hParent, FakeWindow(0x1000));
    ASSERT_NE(emu.parentWnd, nullptr);
    EXPECT_EQ(emu.parentWnd, CWnd::FromHandle(FakeWindow(0x1000)));

    CWnd other(FakeWindow(0x2000));
    emu.SetParent(&other);
    EXPECT_EQ(emu.hParent, FakeWindow(0x2000));
    EXPECT_EQ(emu.parentWnd, &other);
    EXPECT_EQ(emu.ctx->timerWnd->GetSafeHwnd(), FakeWindow(0x1000));

    // Two emulators on one window each find their own timer.
    Ferrow_c sibling(FakeWindow(0x1000), nullptr, nullptr, config.c_str(), 0);
    emu.t_init(0, 1000);
    sibling.t_init(0, 1000);
    EXPECT_NE(emu.ctx->timerId, sibling.ctx->timerId);
    EXPECT_EQ(InstanceTable::Find(FakeWindow(0x1000), emu.ctx->timerId), emu.ctx);
    EXPECT_EQ(InstanceTable::Find(FakeWindow(0x1000), sibling.ctx->timerId), sibling.ctx);
}
