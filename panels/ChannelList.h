// What the channel panels share in filling their lists: the pin-number cells
// and the names read from a peripheral.
#pragma once

#include <wx/string.h>

#include <cstddef>

namespace ferrow::panels {

class ChannelList {
public:
    // Names are read under a Peripheral::ShownNameBound of this size: a
    // longer name shows its first 255 bytes.
    static constexpr size_t kNameBuffer = 256;
    // What a pin lookup answers for an index or handle without a pin.
    static constexpr unsigned long kNoPin = ~0UL;

    // Each byte of the name becomes one character of the same value.
    static wxString Name(const char* name);
    // "0x%02X" of the device's 32-bit pin number.
    static wxString PinNumber(unsigned long pin);
};

}  // namespace ferrow::panels
