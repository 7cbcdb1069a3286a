// The columns of each channel panel's list: heading, alignment and share of
// the list's width, and how wide each must be so that nothing in it is cut.
//
// A column needs its widest text plus the margins the list draws around it.
// Fitted, every column gets at least what it needs; width the list has to
// spare is shared out by the columns' percentages, so together they fill the
// list. When the needs add up to more than the list's width, each column gets
// just its need and the list scrolls sideways.
#pragma once

#include "panels/model/ColumnAlign.h"

#include <vector>

namespace ferrow::panels {

class ColumnLayout {
public:
    using Align = ColumnAlign;
    struct Column {
        const wchar_t* heading;
        Align align;
        int percent;
    };

    static const std::vector<Column>& Adc();
    static const std::vector<Column>& Gpio();
    static const std::vector<Column>& Pwm();
    static const std::vector<Column>& Icap();

    // The list draws a cell's text 8 pixels narrower than its column and a
    // heading's 12 narrower; a little more keeps text off the grid lines.
    static constexpr int kCellMargin = 12;
    static constexpr int kHeadingMargin = 16;

    static int CellNeed(int textWidth) { return textWidth + kCellMargin; }
    static int HeadingNeed(int textWidth) { return textWidth + kHeadingMargin; }

    // The width of each of `columns` in a list `listWidth` pixels wide, given
    // what each needs; a missing need counts as 0.
    static std::vector<int> Fit(const std::vector<Column>& columns,
                                const std::vector<int>& needs, int listWidth);
};

}  // namespace ferrow::panels
