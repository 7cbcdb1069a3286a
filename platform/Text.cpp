#include "platform/Text.h"

namespace ferrow::platform {
namespace {

template <typename Out, typename In, typename Convert>
size_t CopyInto(Out* dst, size_t capacity, const In* src, Convert convert) {
    if (dst == nullptr || capacity == 0) return 0;
    size_t n = 0;
    if (src != nullptr) {
        for (; n + 1 < capacity && src[n] != 0; ++n) dst[n] = convert(src[n]);
    }
    dst[n] = 0;
    return n;
}

}  // namespace

size_t Text::WidenInto(wchar_t* dst, size_t capacity, const char* src) {
    return CopyInto(dst, capacity, src, Text::WidenUnit);
}

size_t Text::NarrowInto(char* dst, size_t capacity, const wchar_t* src) {
    return CopyInto(dst, capacity, src, Text::NarrowUnit);
}

std::wstring Text::Widen(const std::string& text) {
    std::wstring out;
    out.reserve(text.size());
    for (char c : text) out.push_back(Text::WidenUnit(c));
    return out;
}

std::string Text::Narrow(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t c : text) out.push_back(Text::NarrowUnit(c));
    return out;
}

}  // namespace ferrow::platform
