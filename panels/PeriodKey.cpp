#include "panels/PeriodKey.h"

#include "platform/Text.h"

#include <string>

namespace ferrow::panels {

PeriodKey::PeriodKey(const wchar_t* name) {
    const std::wstring key = std::wstring(name != nullptr ? name : L"") + L"_DISP_PERIOD";
    const size_t units = key.size() < kUnits ? key.size() : kUnits - 1;
    key.copy(wide_, units);
    wide_[units] = 0;
    platform::Text::NarrowInto(narrow_, kUnits, wide_);
}

}  // namespace ferrow::panels
