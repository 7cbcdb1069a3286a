#include "panels/model/PgnFieldPane.h"

#include <utility>

namespace ferrow::panels {
namespace {

std::string Addresses(const N2KMsg& msg) {
    return "from " + std::to_string(msg.addressA) + " to " + std::to_string(msg.addressB);
}

const std::string& Cell(const FieldRow& row, int column) {
    return column == PgnFieldPane::kName ? row.name : column == PgnFieldPane::kValue ? row.value : row.unit;
}

}  // namespace

PgnFieldPane::PgnFieldPane(Decoder decode, Describer describe)
    : decode_(std::move(decode)), describe_(std::move(describe)) {}

void PgnFieldPane::Init(PgnListView& list) {
    for (int row = list.RowCount() - 1; row >= 0; --row) list.DeleteRow(row);
    rows_.clear();
    title_.clear();
    serial_ = 0;
    list.SetColumns({{"Field", PgnListView::Align::Left, 28},
                     {"Value", PgnListView::Align::Left, 28},
                     {"Unit", PgnListView::Align::Left, 8}});
}

bool PgnFieldPane::Show(const N2KMsg* msg, uint64_t serial, PgnListView& list) {
    if (msg == nullptr || serial == 0) {
        const bool shown = !title_.empty() || !rows_.empty();
        serial_ = 0;
        title_.clear();
        Write({}, list);
        return shown;
    }
    if (serial == serial_) return false;
    serial_ = serial;
    const std::string decoded =
        PgnFields::Written([&](char* json, int size) { return decode_(msg, json, size); });
    std::string title = PgnFields::Title(decoded);
    if (title.empty()) title = std::to_string(msg->pgn) + " (not decoded: no PGN database)";
    title += ", " + Addresses(*msg);
    const std::vector<FieldRow> before = rows_;
    const bool titled = title != title_;
    title_ = std::move(title);
    Write(PgnFields::Rows(decoded, ScalesOf(msg->pgn)), list);
    return titled || before != rows_;
}

const PgnFields::Scales& PgnFieldPane::ScalesOf(uint32_t pgn) {
    const auto found = scales_.find(pgn);
    if (found != scales_.end()) return found->second;
    const std::string described =
        PgnFields::Written([&](char* json, int size) { return describe_(pgn, json, size); });
    // Without a database yet, asked again next time.
    static const PgnFields::Scales none;
    if (described.empty()) return none;
    return scales_.emplace(pgn, PgnFields::ScalesOf(described)).first->second;
}

// A list removes its last rows without moving the others.
void PgnFieldPane::Write(std::vector<FieldRow> rows, PgnListView& list) {
    if (static_cast<std::size_t>(list.RowCount()) != rows_.size()) {
        for (int row = list.RowCount() - 1; row >= 0; --row) list.DeleteRow(row);
        rows_.clear();
    }
    while (rows_.size() > rows.size()) {
        list.DeleteRow(static_cast<int>(rows_.size()) - 1);
        rows_.pop_back();
    }
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const bool fresh = row >= rows_.size();
        if (fresh) list.InsertRow(static_cast<int>(row));
        for (int column = 0; column < kColumns; ++column) {
            const std::string& text = Cell(rows[row], column);
            if (fresh || text != Cell(rows_[row], column)) list.SetCell(static_cast<int>(row), column, text);
        }
    }
    rows_ = std::move(rows);
}

}  // namespace ferrow::panels
