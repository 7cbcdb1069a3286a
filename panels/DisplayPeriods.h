// The display-period settings of the panels. A configuration object keeps
// the key and the variable of every field registered in it, by pointer, and
// cannot forget a field; so neither may live in a panel, which can be
// destroyed and built again while the configuration object stays. Each
// (configuration object, key) pair gets one slot that is never freed.
#pragma once

#include "panels/PeriodKey.h"

#include <algorithm>

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

    // Binds panel `name`'s key in `config` (a CfgFile_c with wide keys when
    // `wide`, else a CFG_File) to its slot, sets the slot to `defaultPeriod`
    // and has `config` load its file: the period it then holds.
    static int Load(void* config, bool wide, const wchar_t* name, int defaultPeriod);

    // The refresh timer's interval for `period`: at least 10 ms, so that a
    // zero or negative period from the file cannot turn the refresh into a
    // busy loop on the GUI thread.
    static int TimerMs(int period) { return std::max(period, 10); }
};

}  // namespace ferrow::panels
