#include "panels/ColumnLayout.h"

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

}  // namespace ferrow::panels
