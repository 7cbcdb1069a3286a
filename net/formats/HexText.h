// Hexadecimal pieces of the line formats: identifiers and data bytes as the
// text of a log or a gateway's stream has them. Reading takes either case;
// writing uses upper case, as the gateways and logging tools do.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ferrow::net {

class HexText {
public:
    // -1 for a character that is not a hex digit.
    static int Digit(char c) {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    }

    // Exactly `digits` hex digits (at most 8), nothing else.
    static std::optional<uint32_t> Parse(std::string_view text, std::size_t digits) {
        if (digits > 8 || text.size() != digits) return std::nullopt;
        uint32_t value = 0;
        for (char c : text) {
            const int digit = Digit(c);
            if (digit < 0) return std::nullopt;
            value = (value << 4) | static_cast<uint32_t>(digit);
        }
        return value;
    }

    static void Append(std::string& out, uint32_t value, int digits) {
        static constexpr char kDigits[] = "0123456789ABCDEF";
        for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
            out.push_back(kDigits[(value >> shift) & 0xF]);
        }
    }
};

}  // namespace ferrow::net
