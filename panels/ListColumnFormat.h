// The toolkit's column format for a column alignment.
#pragma once

#include "panels/model/ColumnAlign.h"

#include <wx/listctrl.h>

namespace ferrow::panels {

inline wxListColumnFormat ListColumnFormat(ColumnAlign align) {
    switch (align) {
        case ColumnAlign::Right:
            return wxLIST_FORMAT_RIGHT;
        case ColumnAlign::Centre:
            return wxLIST_FORMAT_CENTRE;
        case ColumnAlign::Left:
            break;
    }
    return wxLIST_FORMAT_LEFT;
}

}  // namespace ferrow::panels
