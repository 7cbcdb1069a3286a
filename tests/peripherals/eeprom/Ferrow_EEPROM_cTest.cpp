// The EEPROM as firmware uses it, checked on the image file's bytes: the
// erased file, records rewritten one by one, damaged files replaced, the
// copy, the direct buffer, what is refused, and the paths that end the process.
#include "tests/peripherals/eeprom/EepromText.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Ferrow_EEPROM_c.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

using ferrow::test::CapturedMessages;
using ferrow::test::Erased;
using ferrow::test::Record;
using ferrow::test::TempDir;
using ferrow::test::TestEmulator;
using ::testing::ExitedWithCode;

namespace {

using Bytes = std::vector<uint8_t>;

struct Device {
    explicit Device(unsigned long size, const std::string& text = "")
        : emu(nullptr, 0, file.c_str()) {
        if (!text.empty()) TempDir::Write(file, text);
        eeprom = std::make_unique<Ferrow_EEPROM_c>(emu.emu.get(), 0, size, 1);
    }
    Bytes RN(uint16_t at, uint16_t n) { Bytes b(n, 0x55); eeprom->RN(at, b.data(), n); return b; }
    void WN(uint16_t at, Bytes b) { eeprom->WN(at, b.data(), static_cast<uint16_t>(b.size())); }
    std::string Path() { char path[256]; eeprom->Get_File(path); return path; }
    std::string FileText() const { return TempDir::Read(file); }

    TempDir dir;
    std::string file = dir.File("dev.hex");
    TestEmulator emu;
    std::unique_ptr<Ferrow_EEPROM_c> eeprom;
};

// Before a fatal call: the process ends without destructors, and a death
// test matches standard error only.
void RemoveTheDirectoriesAndPrintToStderr(Device& d) {
    std::filesystem::remove_all(d.dir.Path());
    std::filesystem::remove_all(d.emu.dir.Path());
    std::fflush(stdout);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

#ifndef _WIN32
// A pipe cannot seek; reopened by name, it leaves nothing on disk.
std::string PipeByName() {
    int fds[2];
    return ::pipe(fds) == 0 ? "/proc/self/fd/" + std::to_string(fds[1]) : "";
}
#endif

}  // namespace

TEST(Ferrow_EEPROM_c, CreatesAnErasedFileAtTheEmulatorsNameOnFirstRead) {
    Device d(32);
    EXPECT_EQ(d.Path(), d.file);
    EXPECT_FALSE(std::filesystem::exists(d.file));
    EXPECT_EQ(d.RN(0, 4), Bytes(4, 0xFF));
    EXPECT_EQ(d.FileText(), Erased(2));
    EXPECT_EQ(d.eeprom->Get_Default_SN(), 0xFFFFFFFFul);
    d.eeprom->Set_Default_SN(static_cast<unsigned long>(0x123456789ull));
    EXPECT_EQ(d.eeprom->Get_Default_SN(), 0x23456789ul) << "kept in 32 bits";
}

TEST(Ferrow_EEPROM_c, WritesRewriteOnlyTheRecordsTheyTouchAndStopAtTheEnd) {
    // A hand-edited record keeps its own text until a write rewrites it.
    const std::string edited = " 20 20 21 22 23 24 25 26 27 28 29 2a 2b 2c 2d 2e 2f kept\n";
    Device d(48, Record(0x00, 0x00) + Record(0x10, 0x11) + edited);
    d.WN(0x0F, {0xAB, 0xCD});
    d.WN(0x30, {0x99});
    const std::string rewritten = "0000  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 AB\n"
                                  "0010  CD 11 11 11  11 11 11 11  11 11 11 11  11 11 11 11\n";
    EXPECT_EQ(d.FileText(), rewritten + edited);
    d.WN(0x2E, {1, 2, 3, 4});
    EXPECT_EQ(d.FileText(),
              rewritten + "0020  20 21 22 23  24 25 26 27  28 29 2A 2B  2C 2D 01 02\n");
}

TEST(Ferrow_EEPROM_c, AFreshObjectReadsBackWhatWasWritten) {
    Device d(32768);
    d.WN(0x7FFE, {0xDE, 0xAD, 0xBE, 0xEF});
    EXPECT_EQ(d.FileText(),
              Erased(2047) + "7FF0  FF FF FF FF  FF FF FF FF  FF FF FF FF  FF FF DE AD\n");
    d.eeprom.reset();
    Ferrow_EEPROM_c again(d.emu.emu.get(), 0, 32768, 1);
    Bytes back(3, 0x55);
    again.RN(0x7FFD, back.data(), 3);
    EXPECT_EQ(back, Bytes({0xFF, 0xDE, 0xAD}));
}

TEST(Ferrow_EEPROM_c, ADamagedFileIsReportedAndReplacedByAnErasedOne) {
    const std::string four = Record(0x00, 0x10) + Record(0x10, 0x11) + Record(0x20, 0x12) +
                             Record(0x30, 0x13);
    std::string crlf;
    for (size_t at = 0; at < four.size(); at += 57) crlf += four.substr(at, 56) + "\r\n";
    const std::pair<const char*, std::string> cases[] = {
        {"a record missing", four.substr(0, 3 * 57)},
        {"XY as the third byte", std::string(four).replace(12, 2, "XY")},
        {"CRLF line ends", crlf},
        {"last record cut short", four.substr(0, 3 * 57 + 50)},
    };
    for (const auto& [what, text] : cases) {
        SCOPED_TRACE(what);
        Device d(64, text);
        testing::internal::CaptureStdout();
        d.eeprom->Init();
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  d.file + " is invalid\nover write with default\n");
        EXPECT_EQ(d.RN(0, 64), Bytes(64, 0xFF));
        EXPECT_EQ(d.FileText(), Erased(4));
    }
}

TEST(Ferrow_EEPROM_c, CopiesAndSwitchesFilesWithoutRewritingTheCurrentOne) {
    Device d(32, Record(0x00, 0x21) + Record(0x10, 0x22));
    const std::string copy = d.dir.File("copy.hex");
    d.eeprom->Save_File(copy.c_str());
    EXPECT_EQ(TempDir::Read(copy), d.FileText()) << "the working file is read before the copy";
    TempDir::Write(d.file, "hand edit");
    d.eeprom->Save_File(d.file.c_str());
    EXPECT_EQ(d.FileText(), "hand edit") << "saving to the current path writes nothing";
    d.eeprom->Set_File(copy.c_str());
    EXPECT_EQ(d.Path(), copy);
    d.WN(0, {7});
    EXPECT_EQ(TempDir::Read(copy), "0000  07 21 21 21  21 21 21 21  21 21 21 21  21 21 21 21\n" +
                                       Record(0x10, 0x22));
    EXPECT_EQ(d.FileText(), "hand edit");
}

TEST(Ferrow_EEPROM_c, BufferChangesReachTheFileWithTheNextWriteOfTheirRecordOrFallToInit) {
    Device d(32);
    auto* buffer = reinterpret_cast<unsigned char*>(d.eeprom->BufferAddres());
    d.WN(0x10, {1});
    buffer[0x00] = buffer[0x1F] = 0x42;
    d.WN(0x10, {1});
    EXPECT_EQ(d.FileText(),
              Erased(1) + "0010  01 FF FF FF  FF FF FF FF  FF FF FF FF  FF FF FF 42\n");
    d.eeprom->Init();
    EXPECT_EQ(buffer[0x00], 0xFF);
    EXPECT_EQ(buffer[0x1F], 0x42);
}

TEST(Ferrow_EEPROM_c, RefusedSizesAndPathsAreReportedAndChangeNothing) {
    CapturedMessages messages;
    for (unsigned long size : {0ul, 24ul, 65552ul, static_cast<unsigned long>((1ull << 32) + 24),
                               16ul, 65536ul}) {
        Ferrow_EEPROM_c(nullptr, 0, size, 1);
    }
    Device d(16);
    d.eeprom->Set_File(std::string(256, 'x').c_str());
    d.eeprom->Save_File("");
    EXPECT_EQ(d.Path(), d.file);
    d.eeprom->Set_File(std::string(255, 'x').c_str());
    EXPECT_EQ(d.Path(), std::string(255, 'x'));
    ASSERT_EQ(messages.Shown().size(), 6u);
    EXPECT_EQ(messages.Shown()[0], L"EEPROM|EEPROM size 0 refused: a multiple of 16 up to 65536 "
                                   L"is needed; the image has 32768 bytes");
}

TEST(Ferrow_EEPROM_cDeathTest, FilesThatCannotBeWrittenEndTheProcessWithStatus1) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Device d(32);
    d.eeprom->Init();
    EXPECT_EXIT((RemoveTheDirectoriesAndPrintToStderr(d), d.eeprom->Init()), ExitedWithCode(1),
                "^Fatal Error: Unable to open EEPROM file .*dev.hex for writing\n$");
    EXPECT_EXIT((RemoveTheDirectoriesAndPrintToStderr(d), d.WN(0, {1})), ExitedWithCode(1),
                "^Can't open eeprom.hex\n$");
#ifndef _WIN32
    d.eeprom->Set_File(PipeByName().c_str());
    EXPECT_EXIT((RemoveTheDirectoriesAndPrintToStderr(d), d.WN(0, {1})), ExitedWithCode(1),
                "^fatal error: seek was unsuccessful\n$");
    d.eeprom->Set_File("/dev/full");
    EXPECT_EXIT((RemoveTheDirectoriesAndPrintToStderr(d), d.WN(0, {1})), ExitedWithCode(1),
                "^fatal error: write was unsuccessful\n$");
#endif
}
