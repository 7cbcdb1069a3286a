// A message built from field values, the reverse of DecodeMessage.
#pragma once

#include "n2k/decode/PgnDatabase.h"

#include <ferrow/N2KMsg.h>

namespace ferrow::n2k {

// False, leaving `msg` untouched, for malformed JSON, an unknown PGN or
// field, or a value out of its field's range.
bool EncodeMessage(const PgnDatabase& db, const char* json, N2KMsg& msg);

}  // namespace ferrow::n2k
