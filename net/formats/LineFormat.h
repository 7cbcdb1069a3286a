// A text format that carries one CAN frame per line, as network gateways,
// chart software and logging tools exchange them. Pure: no I/O, no clock
// (the time written on a line is passed in).
#pragma once

#include "net/can/CanFrame.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace ferrow::net {

class LineFormat {
public:
    // Whether a frame was received from the network or sent to it, for the
    // formats that say so.
    enum class Direction { Received, Transmitted };

    // What one line says.
    struct Line {
        CanFrame frame;
        Direction direction = Direction::Received;
        // The time written on the line, when it has one: since the Unix epoch
        // for logs, since midnight for a time of day.
        std::optional<std::chrono::microseconds> time;
    };

    virtual ~LineFormat() = default;

    // One line, without its line end; nullopt for a line that holds no
    // frame (blank, malformed, a comment).
    virtual std::optional<Line> Parse(std::string_view line) const = 0;
    // One frame as a line, with the format's line end. `since` is wall time
    // since the Unix epoch.
    virtual std::string Format(const CanFrame& frame, Direction direction,
                               std::chrono::microseconds since) const = 0;
};

}  // namespace ferrow::net
