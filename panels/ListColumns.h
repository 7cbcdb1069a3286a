// The columns of a channel panel's list, kept wide enough for what they show.
// Each column needs its heading and its widest cell, measured in the fonts
// the list draws them with; Fit lays the needs out over the list's current
// width (ColumnLayout::Fit). Needs only grow as cells change, so columns do
// not jump while values move; Reset starts them afresh.
#pragma once

#include "panels/ColumnLayout.h"

#include <wx/string.h>

#include <vector>

class wxListCtrl;

namespace ferrow::panels {

class ListColumns {
public:
    explicit ListColumns(wxListCtrl& list) : list_(list) {}

    // Empties the list and gives it `columns`, each needing its heading.
    void Reset(const std::vector<ColumnLayout::Column>& columns);
    // A cell of `column` now shows `text`.
    void Shown(int column, const wxString& text);
    // Sets the columns' widths when a need or the list's width changed.
    void Fit();
    // The list width that shows every column whole.
    int NeededWidth() const;

private:
    wxListCtrl& list_;
    std::vector<ColumnLayout::Column> columns_;
    std::vector<int> needs_;
    bool needsChanged_ = false;
    int fittedWidth_ = -1;
};

}  // namespace ferrow::panels
