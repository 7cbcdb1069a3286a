#include "n2k/decode/Encoder.h"

namespace ferrow::n2k {

bool EncodeMessage(const PgnDatabase&, const char*, N2KMsg&) { return false; }

}  // namespace ferrow::n2k
