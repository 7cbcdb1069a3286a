// Which row of a report list a point falls on. Only cells count, not the
// blank space beside or below them; the cells of a row are tried from the
// last column to the first, and the first visible row is tried first.
#pragma once

#include <functional>

namespace ferrow::panels {

class ListHitTest {
public:
    struct Rect {
        int x;
        int y;
        int width;
        int height;
    };
    struct Hit {
        int row;     // -1: no cell under the point
        int column;  // -1 with row -1
    };
    // The rectangle of a cell in the list's own coordinates; false when the
    // list cannot tell.
    using CellRect = std::function<bool(int row, int column, Rect& rect)>;

    static Hit Find(int x, int y, int firstRow, int rowCount, int columnCount,
                    const CellRect& cellRect);
};

}  // namespace ferrow::panels
