// The parameter groups NMEA 2000 leaves to the makers: one addressed and a
// range of global ones, each in a single-frame and a fast-packet form. Their
// payload opens with the maker's code instead of a standard meaning.
// Header-only, so that the display models use the same table.
#pragma once

#include <cstdint>

namespace ferrow::net {

struct ProprietaryPgns {
    struct Range {
        uint32_t first;
        uint32_t last;
        bool fastPacket;
    };

    static constexpr Range kRanges[] = {
        {61184, 61184, false},   // 0xEF00, addressed
        {65280, 65535, false},   // 0xFF00-0xFFFF, global
        {126720, 126720, true},  // 0x1EF00, addressed
        {130816, 131071, true},  // 0x1FF00-0x1FFFF, global
    };

    static constexpr bool Contains(uint32_t pgn) {
        for (const Range& range : kRanges) {
            if (pgn >= range.first && pgn <= range.last) return true;
        }
        return false;
    }

    static constexpr bool IsFastPacket(uint32_t pgn) {
        for (const Range& range : kRanges) {
            if (pgn >= range.first && pgn <= range.last) return range.fastPacket;
        }
        return false;
    }
};

}  // namespace ferrow::net
