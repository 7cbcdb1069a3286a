#include "panels/ListColumns.h"

#include "panels/ListColumnFormat.h"

#include <wx/listctrl.h>

#include <algorithm>
#include <numeric>

namespace ferrow::panels {
namespace {

// The generic list control draws its headings in a window of their own, in
// the system's font rather than the list's.
int HeadingWidth(wxListCtrl& list, const wxString& heading) {
#if defined(__WXMSW__) || defined(__WXQT__)
    return list.GetTextExtent(heading).x;
#else
    for (wxWindow* child : list.GetChildren()) {
        if (static_cast<const void*>(child) == static_cast<const void*>(list.m_headerWin)) {
            return child->GetTextExtent(heading).x;
        }
    }
    return list.GetTextExtent(heading).x;
#endif
}

}  // namespace

void ListColumns::Reset(const std::vector<ColumnLayout::Column>& columns) {
    list_.ClearAll();
    columns_ = columns;
    needs_.assign(columns.size(), 0);
    for (size_t i = 0; i < columns.size(); ++i) {
        needs_[i] = ColumnLayout::HeadingNeed(HeadingWidth(list_, columns[i].heading));
        list_.InsertColumn(static_cast<long>(i), columns[i].heading, ListColumnFormat(columns[i].align),
                           needs_[i]);
    }
    needsChanged_ = true;
}

void ListColumns::Shown(int column, const wxString& text) {
    if (column < 0 || column >= static_cast<int>(needs_.size())) return;
    const int need = ColumnLayout::CellNeed(list_.GetTextExtent(text).x);
    if (need <= needs_[column]) return;
    needs_[column] = need;
    needsChanged_ = true;
}

void ListColumns::Fit() {
    const int width = list_.GetClientSize().x;
    if (!needsChanged_ && width == fittedWidth_) return;
    needsChanged_ = false;
    fittedWidth_ = width;
    const std::vector<int> widths = ColumnLayout::Fit(columns_, needs_, width);
    const int count = std::min(static_cast<int>(widths.size()), list_.GetColumnCount());
    for (int i = 0; i < count; ++i) {
        if (list_.GetColumnWidth(i) != widths[i]) list_.SetColumnWidth(i, widths[i]);
    }
}

int ListColumns::NeededWidth() const { return std::accumulate(needs_.begin(), needs_.end(), 0); }

}  // namespace ferrow::panels
