#include "panels/ColumnLayout.h"

#include <algorithm>

namespace ferrow::panels {
namespace {

using Align = ColumnLayout::Align;

}  // namespace

const std::vector<ColumnLayout::Column>& ColumnLayout::Adc() {
    static const std::vector<Column> columns{{L"ID", Align::Left, 8},
                                             {L"Value", Align::Right, 15},
                                             {L"Min", Align::Right, 15},
                                             {L"Max", Align::Right, 15},
                                             {L"Description", Align::Left, 46}};
    return columns;
}

const std::vector<ColumnLayout::Column>& ColumnLayout::Gpio() {
    static const std::vector<Column> columns{{L"ID", Align::Left, 13},
                                             {L"Pin", Align::Centre, 10},
                                             {L"Reg", Align::Centre, 10},
                                             {L"Dir", Align::Right, 13},
                                             {L"Description", Align::Left, 66}};
    return columns;
}

const std::vector<ColumnLayout::Column>& ColumnLayout::Pwm() {
    static const std::vector<Column> columns{{L"PN", Align::Left, 8},
                                             {L"Freq", Align::Right, 15},
                                             {L"Duty", Align::Right, 15},
                                             {L"POL", Align::Right, 15},
                                             {L"Description", Align::Left, 46}};
    return columns;
}

const std::vector<ColumnLayout::Column>& ColumnLayout::Icap() {
    static const std::vector<Column> columns{
        {L"PN", Align::Left, 8}, {L"Value", Align::Right, 15}, {L"Description", Align::Left, 46}};
    return columns;
}

std::vector<int> ColumnLayout::Fit(const std::vector<Column>& columns,
                                   const std::vector<int>& needs, int listWidth) {
    std::vector<int> widths(columns.size(), 0);
    long long total = 0;
    long long percents = 0;
    for (size_t i = 0; i < columns.size(); ++i) {
        if (i < needs.size()) widths[i] = std::max(needs[i], 0);
        total += widths[i];
        percents += std::max(columns[i].percent, 0);
    }
    const long long spare = listWidth - total;
    if (widths.empty() || spare <= 0) return widths;
    long long given = 0;
    for (size_t i = 0; i < columns.size() && percents > 0; ++i) {
        const long long share = spare * std::max(columns[i].percent, 0) / percents;
        widths[i] += static_cast<int>(share);
        given += share;
    }
    // What the rounding left over goes to the last column, the description.
    widths.back() += static_cast<int>(spare - given);
    return widths;
}

}  // namespace ferrow::panels
