// Finding a group's row in a monitor PGN list, as the panel tests read it.
#pragma once

#include "panels/model/PgnRowTable.h"

#include <wx/listctrl.h>

#include <cstdint>

namespace ferrow::panels::test {

// The row of (pgn, source) in the list, or -1.
inline int RowOf(wxListCtrl* list, uint32_t pgn, uint8_t source) {
    for (int row = 0; row < list->GetItemCount(); ++row) {
        if (list->GetItemText(row, PgnRowTable::kPgn) == wxString::Format("%u", pgn) &&
            list->GetItemText(row, PgnRowTable::kSource) == wxString::Format("%u", source)) {
            return row;
        }
    }
    return -1;
}

}  // namespace ferrow::panels::test
