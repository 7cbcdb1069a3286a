// The columns of each channel panel's list: heading, alignment and width as
// a percentage of the list's width.
#pragma once

#include <vector>

namespace ferrow::panels {

class ColumnLayout {
public:
    enum class Align { Left, Right, Centre };
    struct Column {
        const wchar_t* heading;
        Align align;
        int percent;
    };

    static const std::vector<Column>& Adc();
    static const std::vector<Column>& Gpio();
    static const std::vector<Column>& Pwm();
    static const std::vector<Column>& Icap();

    // Pixels of a column in a list `listWidth` pixels wide, rounded down.
    static int Width(const Column& column, int listWidth) { return listWidth * column.percent / 100; }
};

}  // namespace ferrow::panels
