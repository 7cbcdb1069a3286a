// The gateway's figures in one line, as the monitor panel's status line and
// the headless demo's summary show them:
//   Gateway: frames in 1,234  out 5,678  dropped 0  errors 0  bus load 12.3 %
//   Gateway not connected: frames in 1,234  out 5,678  dropped 0  errors 0
// Counts are grouped by thousands, so that a long run stays readable at a
// glance. Bus load reads 0.0 to 999.9 (a virtual bus is not held to the rate
// of a real one).
#pragma once

#include <ferrow/FerrowGatewayStats.h>

#include <cstdint>
#include <string>

namespace ferrow::panels {

// Bad input, lost sends, refused messages, transport timeouts and aborts,
// bus errors and recording failures, summed without wrapping.
uint64_t GatewayErrors(const FerrowGatewayStats& stats);

std::string StatusLine(const FerrowGatewayStats& stats);

}  // namespace ferrow::panels
