// A line format for the socket link tests, so that they need none of the
// real ones: "09F11223#0102FF" with LF, the identifier then the data bytes
// in hex.
#pragma once

#include "net/formats/HexText.h"
#include "net/formats/LineFormat.h"

#include <cstdio>

namespace ferrow::test {

class HexLineFormat : public net::LineFormat {
public:
    std::optional<Line> Parse(std::string_view line) const override {
        if (line.size() < 9 || line.size() > 25 || line.size() % 2 == 0 || line[8] != '#') {
            return std::nullopt;
        }
        Line parsed;
        uint32_t id = 0;
        for (std::size_t i = 0; i < line.size(); ++i) {
            if (i == 8) continue;
            const int digit = Digit(line[i]);
            if (digit < 0) return std::nullopt;
            if (i < 8) {
                id = id << 4 | static_cast<uint32_t>(digit);
            } else {
                uint8_t& byte = parsed.frame.data[(i - 9) / 2];
                byte = static_cast<uint8_t>(byte << 4 | digit);
            }
        }
        parsed.frame.id = id & net::CanFrame::kIdMask;
        parsed.frame.length = static_cast<uint8_t>((line.size() - 9) / 2);
        return parsed;
    }

    std::string Format(const net::CanFrame& frame, Direction,
                       std::chrono::microseconds) const override {
        char text[32];
        int n = std::snprintf(text, sizeof text, "%08X#", frame.id);
        for (uint8_t i = 0; i < frame.length && i < net::CanFrame::kMaxLength; ++i) {
            n += std::snprintf(text + n, sizeof text - static_cast<std::size_t>(n), "%02X",
                               frame.data[i]);
        }
        return std::string(text, static_cast<std::size_t>(n)) + "\n";
    }

private:
    static int Digit(char c) { return net::HexText::Digit(c); }
};

}  // namespace ferrow::test
