// The configuration file: the writer's exact bytes, what the lenient reader
// accepts and refuses, and that no file content or registration overruns a
// variable, the text buffer or the path buffer.
#include <ferrow/CFG_File.h>
#include <ferrow/CfgFile_c.h>
#include <ferrow/Ferrow_c.h>

#include "core/Ferrow_Ctx_c.h"
#include "platform/Text.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using ferrow::platform::Text;
using ferrow::test::CapturedMessages;
using ferrow::test::TempDir;

constexpr auto kDec = CFG_TYPE_DECIMAL;
constexpr auto kHex = CFG_TYPE_HEX;
constexpr auto kStr = CFG_TYPE_STRING;
constexpr auto kDbl = CFG_TYPE_DOUBLE;

// One configuration object on a file of its own scratch directory.
struct Scratch {
    explicit Scratch(unsigned short maxFields = 8) {
        EXPECT_EQ(0, cfg.Init(file.c_str(), maxFields));
    }
    void Write(const std::string& text) const { TempDir::Write(file, text); }
    std::string Read() const { return TempDir::ReadText(file); }

    TempDir dir;
    std::string file = dir.File("test.cfg");
    CFG_File cfg;
};

// A variable in the middle of a filled buffer, so a write past its width or
// capacity shows in the fill.
struct Slot {
    static constexpr unsigned char kFill = 0xAA;
    Slot() { bytes.fill(kFill); }
    void* At() { return bytes.data() + 8; }
    std::uint64_t Value(unsigned width) const {
        std::uint64_t value = 0;
        for (unsigned i = 0; i < width; ++i) value |= std::uint64_t{bytes[8 + i]} << (8 * i);
        return value;
    }
    bool FillIntactOutside(unsigned width) const {
        for (unsigned i = 0; i < bytes.size(); ++i) {
            if ((i < 8 || i >= 8 + width) && bytes[i] != kFill) return false;
        }
        return true;
    }
    std::array<unsigned char, 32> bytes;
};

TEST(CfgFileWriter, CreatesMissingFileFromDefaultsInRegistrationOrder) {
    Scratch s;
    std::int32_t autoConn = 1;
    std::int8_t allOnes = -1;
    std::int16_t lowest = INT16_MIN;
    std::uint16_t hex = 0xABCD;
    std::uint8_t hexByte = 0x1F;
    char name[8] = "abc";
    double ratio = 2.5;
    float gain = -1.5f;
    s.cfg.AddField("AUTO_CONN", kDec, &autoConn, 4);
    s.cfg.AddField("ONES", kDec, &allOnes, 1);
    s.cfg.AddField("LOWEST", kDec, &lowest, 2);
    s.cfg.AddField("HEX", kHex, &hex, 2);
    s.cfg.AddField("HEXBYTE", kHex, &hexByte, 1);
    s.cfg.AddField("NAME", kStr, name, 0, sizeof name);
    s.cfg.AddField("RATIO", kDbl, &ratio, 8);
    s.cfg.AddField("GAIN", kDbl, &gain, 4);
    ASSERT_EQ(0, s.cfg.LoadFile());
    EXPECT_EQ("AUTO_CONN=1\nONES=-1\nLOWEST=-32768\nHEX=0xABCD\nHEXBYTE=0x1F\nNAME=\"abc\"\n"
              "RATIO=2.500000e+00\nGAIN=-1.500000e+00\n",
              s.Read());
}

TEST(CfgFileReader, ReadsLenientIntegerFormsIntoLowBytesOnly) {
    struct Case {
        const char* text;
        CfgFile_DataType_e type;
        unsigned char width;
        std::uint64_t expected;
    };
    const Case cases[] = {
        {"KEY=12", kDec, 4, 12}, {"KEY 12", kDec, 4, 12}, {"KEY==12", kDec, 4, 12},
        {"KEY = 12", kDec, 4, 12}, {"KEY=\n12\n", kDec, 4, 12}, {"KEY=12abc", kDec, 4, 12},
        {"XKEY=7\n", kDec, 4, 7}, {"OTHER=\"KEY=3\"\nKEY=4\n", kDec, 4, 3},
        {"KEY=1\nKEY=2\n", kDec, 4, 1}, {"KEY=0x10", kDec, 4, 0}, {"KEY=300", kDec, 1, 44},
        {"KEY=-5", kDec, 2, 0xFFFB}, {"KEY=-9223372036854775808", kDec, 8, 1ULL << 63},
        {"KEY=0xABCD", kHex, 2, 0xABCD}, {"KEY=abcd", kHex, 2, 0xABCD},
        {"KEY=0XaBcD", kHex, 2, 0xABCD}, {"KEY=10", kHex, 4, 16},
        {"KEY=0x123456789", kHex, 4, 0x23456789}, {"KEY=ffffffffffffffff", kHex, 8, UINT64_MAX},
        {"KEY=0x0102030405060708", kHex, 3, 0x060708},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Scratch s;
        s.Write(c.text);
        Slot slot;
        ASSERT_EQ(0, s.cfg.AddField("KEY", c.type, slot.At(), c.width));
        ASSERT_EQ(0, s.cfg.LoadFile());
        EXPECT_EQ(c.expected, slot.Value(c.width));
        EXPECT_TRUE(slot.FillIntactOutside(c.width));
    }
}

TEST(CfgFileReader, ReadsStringsAndFloatingPoint) {
    Scratch s;
    s.Write("A= junk \"abc\" more\nB=\"two\nlines\"\nC=\"\"\n\"Q\" D=\"0123456789abcde\"\n"
            "F=1.5e3\nG= -2.5\nH=+.25\nI=\n 7\n");
    char a[8] = "x", b[16] = "x", c[4] = "x", d[16] = "x";
    float f = 0;
    double g = 0, h = 0, i = 0;
    s.cfg.AddField("A", kStr, a, sizeof a);
    s.cfg.AddField("B", kStr, b, sizeof b);
    s.cfg.AddField("C", kStr, c, sizeof c);
    s.cfg.AddField("D", kStr, d, 0, sizeof d);
    s.cfg.AddField("F", kDbl, &f, 4);
    s.cfg.AddField("G", kDbl, &g, 8);
    s.cfg.AddField("H", kDbl, &h, 8);
    s.cfg.AddField("I", kDbl, &i, 8);
    ASSERT_EQ(0, s.cfg.LoadFile());
    EXPECT_STREQ("abc", a);
    EXPECT_STREQ("two\nlines", b);
    EXPECT_STREQ("", c);
    EXPECT_STREQ("0123456789abcde", d);
    EXPECT_EQ(1500.0f, f);
    EXPECT_EQ(-2.5, g);
    EXPECT_EQ(0.25, h);
    EXPECT_EQ(7.0, i);
}

// BEFORE and AFTER around the bad key show whether the load went on.
TEST(CfgFileReader, SkipsAValueThatDoesNotFitAloneAndStopsAtOneThatCannotBeRead) {
    struct Case {
        std::string value;
        CfgFile_DataType_e type;
        unsigned char width;
        const char* doesNotFit;  // null: the value cannot be read at all
    };
    const Case cases[] = {
        {"9223372036854775808", kDec, 8, "beyond 64 bits"},
        {"-9223372036854775809", kDec, 8, "beyond 64 bits"},
        {"0x10000000000000000", kHex, 8, "beyond 64 bits"},
        {"\"0123456789abcdef\"", kStr, 16, "longer than 15 characters"},
        {"1e999", kDbl, 8, "beyond the range of a double"},
        {"1e39", kDbl, 4, "beyond the range of a float"},
        {"abc", kDec, 4, nullptr}, {"", kDec, 4, nullptr}, {"+", kDec, 4, nullptr},
        {"xyz", kHex, 4, nullptr}, {"\"abc", kStr, 16, nullptr}, {"abc", kStr, 16, nullptr},
        {std::string("\"ab\0c\"", 6), kStr, 16, nullptr},
        {"x", kDbl, 8, nullptr}, {"+-1", kDbl, 8, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        Scratch s;
        const std::string text = "BEFORE=1\nKEY=" + c.value + "\nAFTER=3\n";
        s.Write(text);
        std::int32_t before = 7, after = 9;
        Slot slot;
        s.cfg.AddField("BEFORE", kDec, &before, 4);
        s.cfg.AddField("KEY", c.type, slot.At(), c.width);
        s.cfg.AddField("AFTER", kDec, &after, 4);
        CapturedMessages messages;
        EXPECT_EQ(-1, s.cfg.LoadFile());
        const std::string error =
            c.doesNotFit ? std::string("Config keys skipped, value does not fit: KEY (") +
                               c.doesNotFit + ")"
                         : "Invalid Config File";
        EXPECT_EQ(error, s.cfg.GetLastErrorText());
        EXPECT_EQ(1, messages.Beeps());
        EXPECT_TRUE(messages.Shown().empty());
        EXPECT_TRUE(slot.FillIntactOutside(0));
        EXPECT_EQ(1, before);
        EXPECT_EQ(c.doesNotFit ? 3 : 9, after);
        EXPECT_EQ(text, s.Read());
    }

    // Every key that does not fit is named, and a later unreadable value
    // keeps them; a text handed out earlier stays readable.
    Scratch s;
    char first[4] = "a", second[4] = "b";
    std::int32_t number = 0;
    s.cfg.AddField("S1", kStr, first, sizeof first);
    s.cfg.AddField("N", kDec, &number, 4);
    s.cfg.AddField("S2", kStr, second, sizeof second);
    s.Write("S2=\"long\" S1=\"abcd\" N=5\n");
    EXPECT_EQ(-1, s.cfg.LoadFile());
    const char* const skipped = s.cfg.GetLastErrorText();
    const std::string named = "Config keys skipped, value does not fit: S1 (longer than 3 "
                              "characters), S2 (longer than 3 characters)";
    EXPECT_EQ(named, skipped);
    EXPECT_EQ(5, number);
    EXPECT_STREQ("a", first);
    EXPECT_STREQ("b", second);
    std::int32_t bad = 0;
    s.cfg.AddField("BAD", kDec, &bad, 4);
    s.Write("S1=\"long\" BAD=zz\n");
    EXPECT_EQ(-1, s.cfg.LoadFile());
    EXPECT_EQ("Invalid Config File. Config keys skipped, value does not fit: S1 (longer than 3 "
              "characters)",
              std::string(s.cfg.GetLastErrorText()));
    EXPECT_EQ(named, skipped);
}

// As a user meets it: a hand-edited file whose EEPROM name is too long still
// gives the emulator the settings written after it, whichever class reads it.
TEST(CfgFileReader, AnOverLongEepromNameLeavesTheKeysAfterItToTheEmulator) {
    for (unsigned long flags : {0ul, FERROW_CFG_GATEWAY}) {
        for (unsigned length : {Ferrow_Ctx_c::kNameUnits - 1, Ferrow_Ctx_c::kNameUnits}) {
            SCOPED_TRACE(std::to_string(flags) + " " + std::to_string(length));
            TempDir dir;
            const std::string config = dir.File("Ferrow.cfg");
            const std::string fileName(length, 'n');
            TempDir::Write(config,
                           "EEPROM_NAME=\"" + fileName + "\"\nAUTO_CONN=0\nDISP_ALL_PGN=1\n");
            const std::string defaultName = dir.File("dev.hex");
            Ferrow_c emu(nullptr, nullptr, defaultName.c_str(), config.c_str(), flags);
            EXPECT_EQ(0, emu.GetAutoConnect());
            EXPECT_EQ(1, emu.dispAllPgn);
            const bool fits = length < Ferrow_Ctx_c::kNameUnits;
            EXPECT_EQ(fits ? fileName : defaultName, Text::Narrow(emu.ctx->eepromName));
            EXPECT_STREQ(fits ? ""
                              : "Config keys skipped, value does not fit: EEPROM_NAME (longer "
                                "than 1023 characters)",
                         static_cast<CFG_File*>(emu.config)->GetLastErrorText());
        }
    }
}

TEST(CfgFileReader, SeesOnlyTheFirst16383Bytes) {
    // "KEY=7" at 16378 ends on the last byte read; at 16380 its value is cut
    // off, at 16381 its name is.
    struct Case { std::size_t keyAt; int result; std::int32_t value; };
    for (const Case& c : {Case{16378, 0, 7}, Case{16380, -1, 1}, Case{16381, 0, 1}}) {
        SCOPED_TRACE(c.keyAt);
        Scratch s;
        s.Write(std::string(c.keyAt, '#') + "KEY=7\n" + std::string(100, '#'));
        std::int32_t value = 1;
        s.cfg.AddField("KEY", kDec, &value, 4);
        EXPECT_EQ(c.result, s.cfg.LoadFile());
        EXPECT_EQ(c.value, value);
    }
}

TEST(CfgFileRegistry, ReRegisteringANameReplacesItsRecordAndAMissingKeyKeepsItsDefault) {
    Scratch s;
    s.Write("A=300\n");
    std::int32_t first = 0, missing = 9;
    std::int8_t second = 0;
    EXPECT_EQ(0, s.cfg.AddField("A", kDec, &first, 4));
    EXPECT_EQ(1, s.cfg.AddField("B", kDec, &missing, 4));
    EXPECT_EQ(0, s.cfg.AddField("A", kDec, &second, 1));
    EXPECT_EQ(2, s.cfg.GetFieldCount());
    ASSERT_EQ(0, s.cfg.LoadFile());
    EXPECT_EQ(44, second);
    EXPECT_EQ(0, first);
    EXPECT_EQ(9, missing);
    EXPECT_EQ("A=300\n", s.Read()) << "a load never rewrites the file";
    ASSERT_EQ(0, s.cfg.SaveFile());
    EXPECT_EQ("A=44\nB=9\n", s.Read());
}

TEST(CfgFileRegistry, RefusesBadRegistrationsWithoutChangingTheTable) {
    Scratch s(2);
    s.Write("KEEP=300\n");
    std::int32_t value = 0;
    char text[8];
    ASSERT_EQ(0, s.cfg.AddField("KEEP", kDec, &value, 4));
    const std::string noCapacity =
        "Configuration string field S has no capacity: give the number of characters its "
        "variable holds, terminator included, as the capacity argument of AddField(name, type, "
        "storage, 0, capacity)";
    const char* const badWidth = "Invalid configuration field width";
    const char* const badField = "Invalid configuration field";
    struct Case {
        const char* name;
        int type;
        void* storage;
        unsigned char size;
        const char* error;
    };
    const Case cases[] = {
        {"W0", kDec, &value, 0, badWidth}, {"W9", kHex, &value, 9, badWidth},
        {"F2", kDbl, &value, 2, badWidth}, {"KEEP", kDec, &value, 9, badWidth},
        {"S", kStr, text, 0, noCapacity.c_str()},
        {"T", 4, &value, 4, "Invalid configuration field type"},
        {nullptr, kDec, &value, 4, badField}, {"", kDec, &value, 4, badField},
        {"N", kDec, nullptr, 4, badField},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.error);
        CapturedMessages messages;
        EXPECT_EQ(-1, s.cfg.AddField(c.name, CfgFile_DataType_e(c.type), c.storage, c.size));
        EXPECT_STREQ(c.error, s.cfg.GetLastErrorText());
        EXPECT_EQ(1, messages.Beeps());
        EXPECT_EQ(1, s.cfg.GetFieldCount());
    }
    EXPECT_EQ(1, s.cfg.AddField("SECOND", kDec, &value, 4));
    EXPECT_EQ(-1, s.cfg.AddField("THIRD", kDec, &value, 4));
    EXPECT_STREQ("Too many configuration fields", s.cfg.GetLastErrorText());
    EXPECT_EQ(1, s.cfg.AddField("SECOND", kHex, &value, 4));
    ASSERT_EQ(0, s.cfg.LoadFile());
    EXPECT_EQ(300, value);

    CFG_File notOpen;
    CapturedMessages messages;
    EXPECT_EQ(-1, notOpen.AddField("A", kDec, &value, 4));
    EXPECT_EQ(-1, notOpen.LoadFile());
    EXPECT_EQ(-1, notOpen.SaveFile());
    EXPECT_STREQ("", notOpen.GetLastErrorText());
    EXPECT_EQ(0, messages.Beeps());
}

TEST(CfgFileWriter, RefusesStringsItCouldNotReadBackAndLeavesFileAlone) {
    // "S=\"" and "\"\n" take 5 of the 16,383 bytes a line may use.
    const std::string fits(CFG_File::kTextSize - 6, 'x');
    const char* const unquotable = "Configuration string cannot be written as quoted text";
    struct Case { std::string value; unsigned long capacity; const char* error; };
    const Case cases[] = {
        {fits, 20000, nullptr}, {fits + "x", 20000, "Configuration line too long"},
        {"a\"b", 8, unquotable}, {"abcdefgh", 8, unquotable},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value.size());
        Scratch s;
        s.Write("OLD=1\n");
        // Exactly `capacity` bytes, terminated only when the value leaves room.
        std::vector<char> storage(c.capacity, '\0');
        std::copy(c.value.begin(), c.value.end(), storage.begin());
        std::int32_t number = 1;
        s.cfg.AddField("S", kStr, storage.data(), 0, c.capacity);
        s.cfg.AddField("N", kDec, &number, 4);
        CapturedMessages messages;
        if (c.error) {
            EXPECT_EQ(-1, s.cfg.SaveFile());
            EXPECT_STREQ(c.error, s.cfg.GetLastErrorText());
            EXPECT_EQ(1, messages.Beeps());
            EXPECT_EQ("OLD=1\n", s.Read());
        } else {
            ASSERT_EQ(0, s.cfg.SaveFile());
            EXPECT_EQ("S=\"" + c.value + "\"\nN=1\n", s.Read());
            std::fill(storage.begin(), storage.end(), '-');
            ASSERT_EQ(0, s.cfg.LoadFile());
            EXPECT_EQ(c.value, storage.data());
        }
    }
}

TEST(CfgFileFiles, ReportsFilesThatCannotBeUsed) {
    TempDir dir;
    std::int32_t value = 1;
    struct Case { std::string path; bool load; const char* error; };
    const Case cases[] = {
        {dir.File("missing/a.cfg"), true, "Can't open config file"},
        {dir.File("missing/a.cfg"), false, "Can't open config file"},
#ifdef _WIN32
        // A folder cannot even be opened there, and no device is always full.
        {dir.Path().string(), true, "Can't open config file"},
#else
        {dir.Path().string(), true, "Can't read config file"},
        {"/dev/full", false, "Can't write config file"},
#endif
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        CFG_File cfg;
        ASSERT_EQ(0, cfg.Init(c.path.c_str(), 1));
        EXPECT_EQ(-1, cfg.SaveFile());
        EXPECT_STREQ("", cfg.GetLastErrorText());
        cfg.AddField("A", kDec, &value, 4);
        CapturedMessages messages;
        EXPECT_EQ(-1, c.load ? cfg.LoadFile() : cfg.SaveFile());
        EXPECT_STREQ(c.error, cfg.GetLastErrorText());
        EXPECT_EQ(1, messages.Beeps());
    }
}

TEST(CfgFilePath, BuildsFullPathAndRefusesOneThatDoesNotFit) {
    std::string cwd = std::filesystem::current_path().string();
#ifdef _WIN32
    const char separator = '\\';
#else
    const char separator = '/';
#endif
    if (cwd.back() != separator) cwd += separator;
    const std::string relativeFits(CFG_File::kPathSize - 1 - cwd.size(), 'r');
    const std::string absoluteFits = "/" + std::string(CFG_File::kPathSize - 2, 'a');
    struct Case { std::string name; std::string expected; };
    const Case cases[] = {
        {"a.cfg", cwd + "a.cfg"}, {"/abs/x.cfg", "/abs/x.cfg"},
        {relativeFits, cwd + relativeFits}, {relativeFits + "r", "/prev.cfg"},
        {absoluteFits, absoluteFits}, {absoluteFits + "a", "/prev.cfg"},
#ifdef _WIN32
        {"C:\\data\\dev.cfg", "C:\\data\\dev.cfg"}, {"Z:\\tmp\\a.cfg", "Z:\\tmp\\a.cfg"},
        {"\\\\server\\share\\x.cfg", "\\\\server\\share\\x.cfg"},
        {"sub\\a.cfg", cwd + "sub\\a.cfg"}, {"dev.cfg:old", "dev.cfg:old"},
#else
        {"C:\\data\\dev.cfg", cwd + "C:\\data\\dev.cfg"}, {"sub/a.cfg", cwd + "sub/a.cfg"},
#endif
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name.substr(0, 32));
        CFG_File cfg;
        ASSERT_EQ(0, cfg.Init("/prev.cfg", 1));
        CapturedMessages messages;
        const bool refused = c.expected == "/prev.cfg";
        EXPECT_EQ(refused ? -1 : 0, cfg.SetPathName(c.name.c_str()));
        EXPECT_EQ(c.expected, cfg.GetPathName());
        EXPECT_EQ(refused ? 1 : 0, messages.Beeps());
        EXPECT_STREQ(refused ? "Invalid Config Path Name" : "", cfg.GetLastErrorText());
    }
}

TEST(CfgFileConcurrency, RegisteringWhileLoadingAndSavingKeepsTableConsistent) {
    constexpr int kKeys = 32;
    Scratch s(kKeys);
    std::string text;
    std::array<std::string, kKeys> names;
    for (int i = 0; i < kKeys; ++i) {
        names[i] = "K" + std::to_string(i) + "_";
        text += names[i] + "=" + std::to_string(i) + "\n";
    }
    s.Write(text);
    std::array<std::int32_t, kKeys> values{};
    // The loads start once the registrar runs, and it keeps going until they
    // are done, so the two overlap.
    std::atomic<bool> registering{false}, loadsDone{false};
    std::thread registrar([&] {
        registering = true;
        do {
            for (int i = 0; i < kKeys; ++i) s.cfg.AddField(names[i].c_str(), kDec, &values[i], 4);
        } while (!loadsDone);
    });
    while (!registering) std::this_thread::yield();
    const std::string copy = s.dir.File("copy.cfg");
    for (int round = 0; round < 200; ++round) {
        EXPECT_EQ(0, s.cfg.LoadFile());
        s.cfg.SaveFile(copy.c_str());
        EXPECT_LE(s.cfg.GetFieldCount(), kKeys);
    }
    loadsDone = true;
    registrar.join();
    EXPECT_EQ(kKeys, s.cfg.GetFieldCount());
    ASSERT_EQ(0, s.cfg.LoadFile());
    for (int i = 0; i < kKeys; ++i) EXPECT_EQ(i, values[i]) << names[i];
}

}  // namespace
