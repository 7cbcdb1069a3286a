// 8-bit and wide text meet in one convention: widening zero-extends each byte
// into one wide unit, narrowing keeps the low byte of each unit. An 8-bit
// (UTF-8) text therefore survives widen then narrow unchanged.
#pragma once

#include <ferrow/FerrowApi.h>

#include <cstddef>
#include <string>

namespace ferrow::platform {

// Exported for the panels library, which shows peripheral names.
class FERROW_API Text {
public:
    // Copy at most capacity-1 units and terminate; nothing is written when
    // capacity is 0. A null source gives an empty string. Returns the length.
    static size_t WidenInto(wchar_t* dst, size_t capacity, const char* src);
    static size_t NarrowInto(char* dst, size_t capacity, const wchar_t* src);

    static std::wstring Widen(const std::string& text);
    static std::string Narrow(const std::wstring& text);

    // One unit each way, for text kept in units of other widths.
    static constexpr wchar_t WidenUnit(char c) {
        return static_cast<wchar_t>(static_cast<unsigned char>(c));
    }
    static constexpr char NarrowUnit(wchar_t unit) {
        return static_cast<char>(static_cast<unsigned char>(unit & 0xFF));
    }
};

}  // namespace ferrow::platform
