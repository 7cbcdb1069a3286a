// Image file text for the EEPROM tests, formatted here with printf so that
// the library's own formatter is checked against something it did not write.
#pragma once

#include <cstdio>
#include <string>

namespace ferrow::test {

// The 57-byte record of `address` with all 16 bytes set to `value`.
inline std::string Record(unsigned address, unsigned value) {
    char text[64];
    int n = std::snprintf(text, sizeof text, "%04X", address);
    for (int i = 0; i < 16; ++i) {
        n += std::snprintf(text + n, sizeof text - n, i % 4 ? " %02X" : "  %02X", value);
    }
    return std::string(text) + "\n";
}

inline std::string Erased(unsigned records) {
    std::string text;
    for (unsigned r = 0; r < records; ++r) text += Record(16 * r, 0xFF);
    return text;
}

}  // namespace ferrow::test
