#include "panels/ListHitTest.h"

#include <gtest/gtest.h>

namespace ferrow::panels {
namespace {

// Rows 20 pixels high from y = 0; columns 0..49, 50..79, 80..99; 10 rows.
bool Grid(int row, int column, ListHitTest::Rect& r) {
    static const int left[] = {0, 50, 80};
    static const int width[] = {50, 30, 20};
    if (row < 0 || row >= 10 || column < 0 || column > 2) return false;
    r = {left[column], row * 20, width[column], 20};
    return true;
}

TEST(ListHitTestTest, FindsTheCellUnderThePointAndNothingInBlankSpaceOrOutOfView) {
    const ListHitTest::Hit hit = ListHitTest::Find(85, 45, 0, 10, 3, Grid);
    EXPECT_EQ(hit.row, 2);
    EXPECT_EQ(hit.column, 2);
    EXPECT_EQ(ListHitTest::Find(0, 0, 0, 10, 3, Grid).row, 0);
    EXPECT_EQ(ListHitTest::Find(49, 199, 0, 10, 3, Grid).column, 0);

    EXPECT_EQ(ListHitTest::Find(10, 200, 0, 10, 3, Grid).row, -1) << "below the last row";
    EXPECT_EQ(ListHitTest::Find(100, 10, 0, 10, 3, Grid).row, -1) << "right of the last column";
    EXPECT_EQ(ListHitTest::Find(10, 10, 0, 0, 3, Grid).row, -1) << "an empty list";
    EXPECT_EQ(ListHitTest::Find(10, 10, 1, 9, 3, Grid).row, -1) << "row 0 is scrolled away";
    const ListHitTest::Hit none = ListHitTest::Find(10, 10, 0, 10, 0, Grid);
    EXPECT_EQ(none.row, -1);
    EXPECT_EQ(none.column, -1);
}

TEST(ListHitTestTest, OverlappingCellsGoToTheLaterColumn) {
    // A first column that reports the whole row, as report lists often do.
    auto wideFirst = [](int row, int column, ListHitTest::Rect& r) {
        if (!Grid(row, column, r)) return false;
        if (column == 0) r.width = 100;
        return true;
    };
    EXPECT_EQ(ListHitTest::Find(60, 30, 0, 10, 3, wideFirst).column, 1);
    EXPECT_EQ(ListHitTest::Find(10, 30, 0, 10, 3, wideFirst).column, 0);
}

}  // namespace
}  // namespace ferrow::panels
