// A message's fields read from its bytes into JSON, one definition of the PGN
// database at a time, in the order and with the conventions of the canboat
// tools' output: fields in wire order, each read where the previous one
// ended, "not available" values left out.
#pragma once

#include "n2k/decode/PgnDatabase.h"

#include <ferrow/N2KMsg.h>

#include <string>

namespace ferrow::n2k {

// Appends the whole JSON object for `msg` to `out`.
void DecodeMessage(const PgnDatabase& db, const N2KMsg& msg, std::string& out);

}  // namespace ferrow::n2k
