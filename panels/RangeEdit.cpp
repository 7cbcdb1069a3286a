#include "panels/RangeEdit.h"

#include <climits>
#include <cmath>
#include <cwctype>

namespace ferrow::panels {
namespace {

bool IsBlankOrDashes(const std::wstring& text) {
    std::wstring core;
    for (wchar_t c : text) {
        if (!std::iswspace(c)) core.push_back(c);
    }
    return core.empty() || core == L"---";
}

bool FitsInt(double v) { return v >= static_cast<double>(INT_MIN) && v <= static_cast<double>(INT_MAX); }

}  // namespace

int RangeEdit::Shown(int value, double scale) {
    const double shown = std::trunc(static_cast<double>(value) * scale);
    if (std::isnan(shown)) return 0;
    if (shown >= static_cast<double>(INT_MAX)) return INT_MAX;
    if (shown <= static_cast<double>(INT_MIN)) return INT_MIN;
    return static_cast<int>(shown);
}

RangeEdit::Reading RangeEdit::Read(const std::wstring& text, int stored, double scale,
                                   const Parser& parse) {
    if (IsBlankOrDashes(text)) return {Kind::Ignored, stored};
    long long shown = 0;
    if (!parse(text, shown)) return {Kind::Junk, stored};
    if (shown == Shown(stored, scale)) return {Kind::Value, stored};
    if (scale == 0.0 || !std::isfinite(scale)) return {Kind::Junk, stored};
    const double value = std::round(static_cast<double>(shown) / scale);
    if (!FitsInt(value)) return {Kind::Junk, stored};
    return {Kind::Value, static_cast<int>(value)};
}

}  // namespace ferrow::panels
