// The display-period settings of the panels. A configuration object keeps
// the key and the variable of every field registered in it, by pointer, and
// cannot forget a field; so neither may live in a panel, which can be
// destroyed and built again while the configuration object stays. Each
// (configuration object, key) pair gets one slot that is never freed.
#pragma once

#include "panels/PeriodKey.h"

namespace ferrow::panels {

class DisplayPeriods {
public:
    struct Slot {
        explicit Slot(const wchar_t* name) : key(name) {}
        PeriodKey key;
        int period = 0;
    };

    // The slot of panel `name` in configuration object `config`, made on
    // first use. Panels of one name in one configuration share it.
    static Slot& For(const void* config, const wchar_t* name);
};

}  // namespace ferrow::panels
