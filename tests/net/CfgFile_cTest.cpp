// The gateway's configuration class: wide key names share records with 8-bit
// ones, and a wide string is stored on disk as the bytes of its low units.
#include <ferrow/CfgFile_c.h>

#include "tests/support/CapturedMessages.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>

namespace {

using ferrow::test::CapturedMessages;
using ferrow::test::TempDir;

TEST(CfgFileGateway, WritesAndReadsWideStringAsItsLowBytes) {
    TempDir dir;
    const std::string file = dir.File("gw.cfg");
    CfgFile_c cfg;
    ASSERT_EQ(0, cfg.Init(file.c_str(), 4));
    wchar_t eeprom[16] = L"/d/\x141.hex";
    std::int32_t autoConn = 1;
    EXPECT_EQ(0, cfg.AddField(L"EEPROM_NAME", CFG_TYPE_WSTRING, eeprom, 0, 16));
    EXPECT_EQ(1, cfg.AddField(L"AUTO_CONN", CFG_TYPE_DECIMAL, &autoConn, 4));
    ASSERT_EQ(0, cfg.LoadFile());
    EXPECT_EQ("EEPROM_NAME=\"/d/A.hex\"\nAUTO_CONN=1\n", TempDir::ReadText(file));

    // UTF-8 bytes come back as one unit each, and a narrow name reaches the
    // record registered under the wide one.
    TempDir::Write(file, "EEPROM_NAME=\"\xC3\xA9x\"\nAUTO_CONN=0\n");
    std::int8_t narrowConn = 5;
    EXPECT_EQ(1, cfg.AddField("AUTO_CONN", CFG_TYPE_DECIMAL, &narrowConn, 1));
    EXPECT_EQ(1, cfg.AddField(L"AUTO_CONN", CFG_TYPE_DECIMAL, &narrowConn, 1));
    EXPECT_EQ(2, cfg.GetFieldCount());
    ASSERT_EQ(0, cfg.LoadFile());
    EXPECT_EQ(std::wstring(L"\xC3\xA9x"), eeprom);
    EXPECT_EQ(0, narrowConn);
    EXPECT_EQ(1, autoConn);
}

TEST(CfgFileGateway, RefusesWideStringsThatDoNotFitOrCannotBeWritten) {
    TempDir dir;
    const std::string file = dir.File("gw.cfg");
    CfgFile_c cfg;
    ASSERT_EQ(0, cfg.Init(file.c_str(), 4));
    // Four units of capacity inside a filled array: a longer load must fail
    // without touching any unit.
    wchar_t units[8];
    std::fill(std::begin(units), std::end(units), L'#');
    units[2] = L'\0';
    CapturedMessages messages;
    EXPECT_EQ(-1, cfg.AddField(L"W", CFG_TYPE_WSTRING, units + 2, 0));
    EXPECT_EQ(0, std::string(cfg.GetLastErrorText())
                     .rfind("Configuration string field W has no capacity", 0));
    ASSERT_EQ(0, cfg.AddField(L"W", CFG_TYPE_WSTRING, units + 2, 0, 4));

    TempDir::Write(file, "W=\"abcd\"\n");
    EXPECT_EQ(-1, cfg.LoadFile());
    EXPECT_STREQ("Config keys skipped, value does not fit: W (longer than 3 characters)",
                 cfg.GetLastErrorText());
    EXPECT_EQ(std::wstring(L"##"), std::wstring(units, 2));
    EXPECT_EQ(std::wstring(L"\0#####", 6), std::wstring(units + 2, 6));

    TempDir::Write(file, "W=\"abc\"\n");
    ASSERT_EQ(0, cfg.LoadFile());
    EXPECT_EQ(std::wstring(L"abc\0##", 6), std::wstring(units + 2, 6));

    // A unit whose low byte is 0 would end the text early on disk.
    units[3] = static_cast<wchar_t>(0x100);
    EXPECT_EQ(-1, cfg.SaveFile());
    EXPECT_STREQ("Configuration string cannot be written as quoted text", cfg.GetLastErrorText());
    EXPECT_EQ("W=\"abc\"\n", TempDir::ReadText(file));
    EXPECT_EQ(3, messages.Beeps());
}

}  // namespace
