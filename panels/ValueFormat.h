// How the control panels write numbers into cells and range edits, and read
// them back. Hexadecimal text is the 32-bit pattern ("0x%X"), so a negative
// value shows as its two's complement and reads back as the same value. The
// unsigned form serves quantities the firmware keeps unsigned (captured
// counts), which run past 2^31. The thousandths form serves the PWM duty and
// frequency, also unsigned: decimal text shows them divided by 1000,
// hexadecimal the raw value.
#pragma once

#include <string>

namespace ferrow::panels {

class ValueFormat {
public:
    static std::wstring Format(int value, bool hex);
    // The 32-bit pattern of `value` read as unsigned.
    static std::wstring FormatUnsigned(int value, bool hex);
    static std::wstring FormatThousandths(int value, bool hex);

    // Read text written by Format or typed in its style: "0x" introduces
    // hexadecimal (up to 32 bits), anything else is a signed decimal integer.
    // Surrounding blanks are allowed; anything else fails (false).
    static bool Parse(const std::wstring& text, long long& value);
    // The inverse of FormatThousandths: a decimal number may carry a
    // fraction and reads as thousandths, rounded half away from zero at the
    // third decimal, and from 2^31 to 2^32 - 1 thousandths as the signed value
    // of that 32-bit pattern, as hexadecimal does; hexadecimal reads as the
    // raw value.
    static bool ParseThousandths(const std::wstring& text, long long& value);

    // Copies as much of `text` as fits `size` units with the terminator;
    // nothing for a null buffer or a size below 1.
    static void CopyInto(const std::wstring& text, wchar_t* buffer, int size);
};

}  // namespace ferrow::panels
