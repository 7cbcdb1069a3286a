// A PGN's definition, or the list of every PGN, as JSON for the panels.
#pragma once

#include "n2k/decode/PgnDatabase.h"

#include <string>

namespace ferrow::n2k {

// False for a PGN the database does not hold; pgn 0 lists them all.
bool DescribePgn(const PgnDatabase& db, unsigned long pgn, std::string& out);

}  // namespace ferrow::n2k
