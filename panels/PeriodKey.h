// The configuration key under which a panel keeps its display period:
// "<name>_DISP_PERIOD", cut to 31 characters, in wide text for the wide
// configuration class and as its 8-bit copy (low byte of each unit) for the
// 8-bit one.
#pragma once

#include <cstddef>

namespace ferrow::panels {

class PeriodKey {
public:
    static constexpr size_t kUnits = 32;

    explicit PeriodKey(const wchar_t* name);

    const wchar_t* Wide() const { return wide_; }
    const char* Narrow() const { return narrow_; }

private:
    wchar_t wide_[kUnits];
    char narrow_[kUnits];
};

}  // namespace ferrow::panels
