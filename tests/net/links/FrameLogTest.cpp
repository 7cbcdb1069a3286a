// The frame recorder: the exact lines it appends, writers on many threads,
// and a file it cannot open or write.
#include "net/links/FrameLog.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <thread>
#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::FrameLog;
using ferrow::test::TempDir;
using Direction = ferrow::net::LineFormat::Direction;
using std::chrono::system_clock;

system_clock::time_point At(long long micros) {
    return system_clock::time_point(std::chrono::microseconds(micros));
}

TEST(FrameLog, AppendsOneCandumpLinePerFrameWithTheWallClockTime) {
    TempDir dir;
    const std::string path = dir.File("frames.log");
    TempDir::Write(path, "(1699999999.000000) can0 00000000#\n");
    long long micros = 1700000000000000;
    FrameLog log(path, "n2k", [&] { return At(micros); });
    std::string error;
    ASSERT_EQ(log.Open(error), 0) << error;
    CanFrame frame;
    frame.id = 0x09F11223;
    frame.length = 2;
    frame.data = {0x00, 0x5C};
    log.Record(frame, Direction::Received);
    micros += 250000;
    frame.id = 0x1FFFFFFF;
    frame.length = 0;
    log.Record(frame, Direction::Transmitted);
    EXPECT_EQ(TempDir::Read(path), "(1699999999.000000) can0 00000000#\n"
                                   "(1700000000.000000) n2k 09F11223#005C\n"
                                   "(1700000000.250000) n2k 1FFFFFFF#\n");
    EXPECT_EQ(log.TakeError(), "");
}

TEST(FrameLog, KeepsEveryLineWholeWithWritersOnManyThreads) {
    TempDir dir;
    const std::string path = dir.File("frames.log");
    FrameLog log(path, "can0", [] { return At(1); });
    std::string error;
    ASSERT_EQ(log.Open(error), 0) << error;
    constexpr int kThreads = 4, kFrames = 200;
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([&log, t] {
            CanFrame frame;
            frame.id = static_cast<uint32_t>(t);
            frame.length = 8;
            for (int i = 0; i < kFrames; ++i) log.Record(frame, Direction::Received);
        });
    }
    for (std::thread& writer : writers) writer.join();
    log.Close();
    std::istringstream text(TempDir::Read(path));
    std::vector<int> perThread(kThreads);
    for (std::string line; std::getline(text, line);) {
        ASSERT_EQ(line.size(), std::string("(0000000000.000001) can0 00000000#0000000000000000").size());
        ++perThread.at(std::stoi(line.substr(25, 8), nullptr, 16));
    }
    EXPECT_TRUE(std::all_of(perThread.begin(), perThread.end(), [](int n) { return n == kFrames; }));
}

// A file that cannot be opened is the caller's to report; one that stops
// taking lines is said once on standard error, naming the file and why, and
// recording stops. Both count as failures.
TEST(FrameLog, AFailedRecordingIsSaidOnceAndCounted) {
    TempDir dir;
    FrameLog unopenable(dir.File("no/such/dir/frames.log"));
    std::string error;
    EXPECT_LT(unopenable.Open(error), 0);
    EXPECT_NE(error.find("Cannot record CAN frames to"), std::string::npos) << error;
    unopenable.Record(CanFrame{}, Direction::Received);
    EXPECT_FALSE(std::filesystem::exists(dir.File("no")));
    EXPECT_EQ(unopenable.Failures(), 1u);

    FrameLog full("/dev/full");
    ASSERT_EQ(full.Open(error), 0) << error;
    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) full.Record(CanFrame{}, Direction::Received);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Gateway: Stopped recording CAN frames to \"/dev/full\": No space left on device.\n");
    EXPECT_EQ(full.Failures(), 1u);
}

}  // namespace
