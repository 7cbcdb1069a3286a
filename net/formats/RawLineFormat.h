// The plain-text frame line of network gateways and chart software:
// "hh:mm:ss.ddd R 09F11223 00 5C 3D FF", R received or T transmitted, the
// time of day in UTC. Lines that a gateway is sent carry neither time nor
// direction, so those shapes are read too.
#pragma once

#include "net/formats/LineFormat.h"

namespace ferrow::net {

class RawLineFormat : public LineFormat {
public:
    // Also "R 09F11223 ..." and "09F11223 ...", with spaces or tabs between
    // fields; a line without a direction reads as received. Exactly eight
    // identifier digits, two digits a byte, at most eight bytes.
    std::optional<Line> Parse(std::string_view line) const override;
    // The time of day is `since` modulo a day; ends CR LF.
    std::string Format(const CanFrame& frame, Direction direction,
                       std::chrono::microseconds since) const override;
};

}  // namespace ferrow::net
