#include "panels/model/GatewayStatusLine.h"

#include <cstddef>
#include <cstdio>
#include <limits>

namespace ferrow::panels {
namespace {

constexpr double kMostLoad = 999.9;

std::string Grouped(uint64_t count) {
    std::string digits = std::to_string(count);
    for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > 0; at -= 3) {
        digits.insert(static_cast<std::size_t>(at), 1, ',');
    }
    return digits;
}

}  // namespace

// What a user counts as an error: anything the network sent that held
// nothing usable, and anything of ours that was refused or did not arrive.
// Dropped receives have a figure of their own.
uint64_t GatewayErrors(const FerrowGatewayStats& stats) {
    uint64_t sum = 0;
    for (uint64_t count : {stats.badInput, stats.lostSends, stats.refused, stats.transportTimeouts,
                           stats.transportAborts, stats.busErrors, stats.recordingFailures}) {
        sum = count > std::numeric_limits<uint64_t>::max() - sum
                  ? std::numeric_limits<uint64_t>::max()
                  : sum + count;
    }
    return sum;
}

std::string StatusLine(const FerrowGatewayStats& stats) {
    std::string line = stats.connected == 0 ? "Gateway not connected: " : "Gateway: ";
    line += "frames in " + Grouped(stats.framesIn) + "  out " + Grouped(stats.framesOut) +
            "  dropped " + Grouped(stats.dropped) + "  errors " + Grouped(GatewayErrors(stats));
    if (stats.connected == 0) return line;
    // NaN fails both comparisons and reads 0.
    const double load =
        stats.busLoad > kMostLoad ? kMostLoad : stats.busLoad > 0.0 ? stats.busLoad : 0.0;
    char text[16];
    std::snprintf(text, sizeof text, "%.1f", load);
    return line + "  bus load " + text + " %";
}

}  // namespace ferrow::panels
