#include "panels/WxPgnList.h"

#include "panels/ListColumnFormat.h"

#include <algorithm>

namespace ferrow::panels {

WxPgnList::WxPgnList(wxWindow* parent, wxWindowID id)
    : wxListCtrl(parent, id, wxDefaultPosition, wxDefaultSize,
                 wxLC_REPORT | wxLC_VIRTUAL | wxLC_SINGLE_SEL | wxLC_HRULES | wxLC_VRULES) {}

void WxPgnList::SetColumns(const std::vector<Column>& columns) {
    DeleteAllColumns();
    // Digits are wider than the font's average character, and the list draws
    // its cell margins inside the column: a column as wide as its text alone
    // ends that text in an ellipsis.
    const int charWidth = std::max(GetCharWidth(), GetTextExtent("0").x);
    const int margins = 2 * charWidth + 4;
    for (const Column& column : columns) {
        const wxString heading = wxString::FromUTF8(column.heading);
        const int text = std::max(column.widthChars * charWidth, GetTextExtent(heading).x);
        AppendColumn(heading, ListColumnFormat(column.align), text + margins);
    }
    columns_ = columns.size();
}

void WxPgnList::InsertRow(int row) {
    rows_.insert(rows_.begin() + row, std::vector<wxString>(columns_));
    SetItemCount(static_cast<long>(rows_.size()));
    MoveSelection(row, 1);
}

void WxPgnList::SetCell(int row, int column, const std::string& text) {
    rows_[row][column] = wxString::FromUTF8(text);
    RefreshItem(row);
}

void WxPgnList::DeleteRow(int row) {
    MoveSelection(row, -1);
    rows_.erase(rows_.begin() + row);
    SetItemCount(static_cast<long>(rows_.size()));
}

int WxPgnList::RowCount() const { return static_cast<int>(rows_.size()); }

wxString WxPgnList::OnGetItemText(long item, long column) const {
    if (item < 0 || static_cast<std::size_t>(item) >= rows_.size() || column < 0 ||
        static_cast<std::size_t>(column) >= columns_) {
        return wxString();
    }
    return rows_[item][column];
}

void WxPgnList::MoveSelection(int row, int by) {
    const long selected = GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED);
    if (selected < row) return;
    const long state = wxLIST_STATE_SELECTED | wxLIST_STATE_FOCUSED;
    SetItemState(selected, 0, state);
    if (by > 0 || selected > row) SetItemState(selected + by, state, state);
}

}  // namespace ferrow::panels
