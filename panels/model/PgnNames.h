// Short names of the standard NMEA 2000 parameter groups, as monitor users
// know them: the PGN database's description once a database is loaded, a
// table of our own without one. Proprietary groups carry no standard meaning:
// their owner is told by the manufacturer code in their first two data bytes
// instead.
#pragma once

#include <cstdint>
#include <string_view>

namespace ferrow::panels {

class PgnNames {
public:
    // The group's short name, "Proprietary" for the proprietary ranges, or ""
    // for a number neither the database nor the table knows. Where the
    // database holds several definitions for a number, the table's name
    // stands for them all. The names read from the first database loaded
    // stay for the process.
    static std::string_view Lookup(uint32_t pgn);
};

}  // namespace ferrow::panels
