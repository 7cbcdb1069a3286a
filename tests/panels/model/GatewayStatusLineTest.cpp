// The gateway's status line from literal figures.
#include "panels/model/GatewayStatusLine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>

namespace {

using ferrow::panels::GatewayErrors;
using ferrow::panels::StatusLine;

TEST(GatewayStatusLine, GroupsByThousandsSumsEveryKindOfErrorAndKeepsBusLoadInRange) {
    FerrowGatewayStats stats{};
    stats.connected = 1;
    stats.framesIn = 999;
    stats.framesOut = 1000;
    stats.dropped = 1234567;
    // One bit each, so a kind left out or counted twice shows in the sum;
    // the messages, peer losses and bits are no errors.
    stats.badInput = 1;
    stats.lostSends = 2;
    stats.refused = 4;
    stats.transportTimeouts = 8;
    stats.transportAborts = 16;
    stats.busErrors = 32;
    stats.recordingFailures = 64;
    stats.messagesIn = stats.messagesOut = stats.peerLosses = stats.busBits = 5;
    stats.busLoad = 12.345;
    EXPECT_EQ(StatusLine(stats),
              "Gateway: frames in 999  out 1,000  dropped 1,234,567  errors 127  bus load 12.3 %");

    const std::string empty = "Gateway: frames in 0  out 0  dropped 0  errors 0  bus load ";
    const std::pair<double, const char*> loads[] = {
        {0.05, "0.1"}, {1e300, "999.9"}, {-3.0, "0.0"}, {std::nan(""), "0.0"}};
    for (const auto& [load, shown] : loads) {
        FerrowGatewayStats loaded{};
        loaded.connected = -1;  // cannot be told, which is not "not connected"
        loaded.busLoad = load;
        EXPECT_EQ(StatusLine(loaded), empty + shown + " %") << load;
    }

    constexpr uint64_t kMost = std::numeric_limits<uint64_t>::max();
    stats.connected = 0;
    stats.framesOut = kMost;
    stats.recordingFailures = kMost;
    EXPECT_EQ(GatewayErrors(stats), kMost) << "saturates, never wraps";
    EXPECT_EQ(StatusLine(stats),
              "Gateway not connected: frames in 999  out 18,446,744,073,709,551,615  dropped 1,234,567  "
              "errors 18,446,744,073,709,551,615");
}

}  // namespace
