#include "panels/model/BrovikPgn.h"

using ferrow::panels::PgnListView;
using ferrow::panels::PgnRowTable;

namespace {

using Align = PgnListView::Align;

// Number columns are right-aligned so digits line up. The data column holds
// the eight bytes of a single frame; longer payloads go on past its edge, to
// be read by widening it.
const std::vector<PgnListView::Column>& Columns() {
    static const std::vector<PgnListView::Column> columns = [] {
        std::vector<PgnListView::Column> c(PgnRowTable::kColumns);
        c[PgnRowTable::kPgn] = {"PGN", Align::Right, 6};
        c[PgnRowTable::kSource] = {"Src", Align::Right, 3};
        c[PgnRowTable::kDestination] = {"Dst", Align::Right, 3};
        c[PgnRowTable::kData] = {"Data", Align::Left, 23};
        c[PgnRowTable::kRate] = {"Rate/s", Align::Right, 6};
        c[PgnRowTable::kName] = {"Name", Align::Left, 26};
        c[PgnRowTable::kCount] = {"Count", Align::Right, 8};
        c[PgnRowTable::kPriority] = {"Pri", Align::Right, 3};
        c[PgnRowTable::kLength] = {"Len", Align::Right, 4};
        c[PgnRowTable::kManufacturer] = {"Mfr", Align::Right, 4};
        return c;
    }();
    return columns;
}

}  // namespace

BrovikPgn::BrovikPgn(std::size_t rowsPerList) : rowsPerList_(rowsPerList) {}

const PgnRowTable* BrovikPgn::TableOf(const PgnListView* list) const {
    const auto it = tables_.find(list);
    return it == tables_.end() ? nullptr : &it->second;
}

void BrovikPgn::InitList(PgnListView& list) {
    ClearList(list);
    list.SetColumns(Columns());
}

void BrovikPgn::AddToList(PgnListView& list, const N2KMsg& msg) {
    PgnRowTable& table = TableFor(list);
    // A list emptied or refilled behind the helper's back no longer matches
    // its table; starting afresh beats writing into rows that are not there.
    if (static_cast<std::size_t>(list.RowCount()) != table.Rows()) ClearList(list);
    const PgnRowTable::Change change = table.Add(msg, msg.timeStamp);
    if (change.evicted >= 0) list.DeleteRow(change.evicted);
    if (change.inserted) list.InsertRow(change.row);
    for (int column = 0; column < PgnRowTable::kColumns; ++column) {
        if (change.cells & (1u << column)) {
            list.SetCell(change.row, column, table.Cell(change.row, static_cast<PgnRowTable::Column>(column)));
        }
    }
    for (int row : change.rateRows) {
        list.SetCell(row, PgnRowTable::kRate, table.Cell(row, PgnRowTable::kRate));
    }
}

void BrovikPgn::AgeList(PgnListView& list, uint32_t local) {
    PgnRowTable& table = TableFor(list);
    if (static_cast<std::size_t>(list.RowCount()) != table.Rows()) return;
    for (int row : table.AgeAt(local)) list.SetCell(row, PgnRowTable::kRate, table.Cell(row, PgnRowTable::kRate));
}

// From the last row, which a list removes without moving the others.
void BrovikPgn::ClearList(PgnListView& list) {
    for (int row = list.RowCount() - 1; row >= 0; --row) list.DeleteRow(row);
    TableFor(list).Clear();
}

PgnRowTable& BrovikPgn::TableFor(const PgnListView& list) {
    return tables_.try_emplace(&list, rowsPerList_).first->second;
}
