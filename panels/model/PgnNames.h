// Short names of the standard NMEA 2000 parameter groups, as monitor users
// know them. Proprietary groups carry no standard meaning: their owner is told
// by the manufacturer code in their first two data bytes instead.
#pragma once


#include <cstdint>
#include <string_view>

namespace ferrow::panels {

class PgnNames {
public:
    // The group's short name, "Proprietary" for the proprietary ranges, or ""
    // for a number this table does not know.
    static std::string_view Lookup(uint32_t pgn);
};

}  // namespace ferrow::panels
