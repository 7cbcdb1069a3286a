// Replay of RAW and candump logs: order, pacing on a fake clock, the end of
// the log, skipped lines and a log that holds no frame. That a long log
// loses nothing through a frame transport is the transport's test. What every link owes
// is checked by the link contract.
#include "net/links/LogReplayLink.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::LogReplayLink;
using ferrow::test::TempDir;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct Replay {
    TempDir dir;
    steady_clock::time_point now{};
    LogReplayLink link;

    Replay(const std::string& text, LogReplayLink::Options options = {})
        : link(dir.File("bus.log"), WithClock(options)) {
        TempDir::Write(dir.File("bus.log"), text);
    }
    LogReplayLink::Options WithClock(LogReplayLink::Options options) {
        options.clock = [this] { return now; };
        return options;
    }
    // The identifiers of the frames available now.
    std::vector<uint32_t> Take() {
        std::vector<uint32_t> ids;
        CanFrame frame;
        while (link.Receive(frame)) ids.push_back(frame.id);
        return ids;
    }
};

using Ids = std::vector<uint32_t>;

// As fast as taken, the recorded times do not count; sends are dropped.
TEST(LogReplayLink, HandsOutACandumpLogInFileOrderAtTheRecordedPaceOrAsFastAsTaken) {
    const std::string log = "(1700000000.000000) can0 00000001#01\n"
                            "(1700000000.000000) can0 00000002#\n"
                            "(1700000000.500000) can0 00000003#0102\n"
                            "(1700000002.000000) can0 00000004#FF\n";
    Replay replay(log);
    std::string error;
    ASSERT_EQ(replay.link.Open(error), 0) << error;
    EXPECT_EQ(replay.Take(), (Ids{1, 2}));
    replay.now += milliseconds(499);
    EXPECT_EQ(replay.Take(), Ids{});
    replay.now += milliseconds(1);
    EXPECT_EQ(replay.Take(), Ids{3});
    EXPECT_TRUE(replay.link.IsUp());
    replay.now += milliseconds(1500);
    EXPECT_EQ(replay.Take(), Ids{4});
    EXPECT_FALSE(replay.link.IsUp());

    Replay fast(log, {LogReplayLink::Format::Candump, LogReplayLink::Pace::AsFastAsPossible, {}});
    ASSERT_EQ(fast.link.Open(error), 0) << error;
    EXPECT_TRUE(fast.link.Send(CanFrame{}));
    EXPECT_EQ(fast.Take(), (Ids{1, 2, 3, 4}));
    EXPECT_FALSE(fast.link.IsUp());
}

TEST(LogReplayLink, ReplaysARawLogAcrossMidnightAndTakesUntimedLinesAtOnce) {
    Replay replay("23:59:59.900 R 00000001 01\r\n"
                  "T 00000002 02\r\n"
                  "00:00:00.100 R 00000003\r\n");
    std::string error;
    ASSERT_EQ(replay.link.Open(error), 0) << error;
    EXPECT_EQ(replay.Take(), (Ids{1, 2}));
    replay.now += milliseconds(199);
    EXPECT_EQ(replay.Take(), Ids{});
    replay.now += milliseconds(1);
    EXPECT_EQ(replay.Take(), Ids{3});
    EXPECT_FALSE(replay.link.IsUp());
}

// They count as bad input. A log without a frame in its format is almost
// always the wrong file: it does not open.
TEST(LogReplayLink, SkipsAndCountsLinesThatAreNotFramesOfTheFormat) {
    Replay replay("garbage before\n\n"
                  "(1.000000) can0 00000001#\n"
                  "00:00:01.000 R 00000009\n"                       // RAW in a candump log
                  "(1.000000) can0 00000002#001122334455667788\n"  // nine bytes
                  "(1.000000) can0 " + std::string(LogReplayLink::kMaxLineLength, 'x') + "\n"
                  "   \n"
                  "(1.000000) can0 00000003#");
    std::string error;
    ASSERT_EQ(replay.link.Open(error), 0) << error;
    EXPECT_EQ(replay.Take(), (Ids{1, 3}));
    EXPECT_EQ(replay.link.SkippedLines(), 4u);
    FerrowGatewayStats stats{};
    replay.link.AddStats(stats);
    EXPECT_EQ(stats.badInput, 4u);

    Replay wrong("(1.000000) can0 00000001#\n", {LogReplayLink::Format::Raw, {}, {}});
    EXPECT_LT(wrong.link.Open(error), 0);
    EXPECT_EQ(error, "The CAN log \"" + wrong.dir.File("bus.log") + "\" holds no frame in RAW form.");
    EXPECT_FALSE(wrong.link.IsUp());
}

}  // namespace
