// The plain-text frame line of network gateways and chart software:
// "hh:mm:ss.ddd R 09F11223 00 5C 3D FF", R received or T transmitted, the
// time of day in UTC, as a gateway sends it and chart software reads it. A
// gateway is sent lines without time or direction, "09F11223 00 5C 3D FF";
// every shape is read whichever is written.
#pragma once

#include "net/formats/LineFormat.h"

namespace ferrow::net {

class RawLineFormat : public LineFormat {
public:
    // What Format writes: the lines a gateway sends, or the lines it takes.
    enum class Form { FromGateway, ToGateway };

    explicit RawLineFormat(Form form = Form::FromGateway) : form_(form) {}

    // Also "R 09F11223 ..." and "09F11223 ...", with spaces or tabs between
    // fields; a line without a direction reads as received. Exactly eight
    // identifier digits, two digits a byte, at most eight bytes.
    std::optional<Line> Parse(std::string_view line) const override;
    // The time of day is `since` modulo a day; ends CR LF. The form to a
    // gateway writes neither time nor direction.
    std::string Format(const CanFrame& frame, Direction direction,
                       std::chrono::microseconds since) const override;

private:
    Form form_;
};

}  // namespace ferrow::net
