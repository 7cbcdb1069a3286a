// What the PGN-list helper needs from a report-style list control. The panels
// implement it over their toolkit's list; the helper itself stays free of any
// toolkit, so it is tested against a plain vector of rows.
#pragma once

#include "panels/model/ColumnAlign.h"

#include <string>
#include <vector>

namespace ferrow::panels {

class PgnListView {
public:
    using Align = ColumnAlign;
    struct Column {
        const char* heading;
        Align align;
        // In average characters of the list's font, so the layout follows the
        // font rather than one screen's pixels.
        int widthChars;
    };

    virtual ~PgnListView() = default;

    // Replaces every column; called only while the list has no rows.
    virtual void SetColumns(const std::vector<Column>& columns) = 0;
    // A row with empty cells at `row`, 0 to RowCount(); later rows move down.
    virtual void InsertRow(int row) = 0;
    virtual void SetCell(int row, int column, const std::string& text) = 0;
    // Later rows move up.
    virtual void DeleteRow(int row) = 0;
    virtual int RowCount() const = 0;
};

}  // namespace ferrow::panels
