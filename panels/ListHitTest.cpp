#include "panels/ListHitTest.h"

namespace ferrow::panels {

ListHitTest::Hit ListHitTest::Find(int x, int y, int firstRow, int rowCount, int columnCount,
                                   const CellRect& cellRect) {
    for (int row = firstRow; row < firstRow + rowCount; ++row) {
        for (int column = columnCount - 1; column >= 0; --column) {
            Rect r{};
            if (!cellRect(row, column, r)) continue;
            if (x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height) {
                return {row, column};
            }
        }
    }
    return {-1, -1};
}

}  // namespace ferrow::panels
