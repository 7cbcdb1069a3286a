// A report-style list control that the PGN-list helper fills: the helper
// decides the columns and rows, this class puts them on screen. It keeps the
// cells itself and draws them on demand (a virtual list), since the toolkit's
// own item storage measures the text of every cell written, and a busy bus
// rewrites thousands of cells a second.
#pragma once

#include "panels/model/PgnListView.h"

#include <wx/listctrl.h>

#include <vector>

namespace ferrow::panels {

class WxPgnList : public wxListCtrl, public ferrow::panels::PgnListView {
public:
    WxPgnList(wxWindow* parent, wxWindowID id);

    void SetColumns(const std::vector<Column>& columns) override;
    void InsertRow(int row) override;
    void SetCell(int row, int column, const std::string& text) override;
    void DeleteRow(int row) override;
    int RowCount() const override;

protected:
    wxString OnGetItemText(long item, long column) const override;

private:
    // Rows from `row` on move by `by`. A virtual list keeps its selection by
    // index, so the selection is moved along with its row, or dropped with it.
    void MoveSelection(int row, int by);

    std::vector<std::vector<wxString>> rows_;
    std::size_t columns_ = 0;
};

}  // namespace ferrow::panels
