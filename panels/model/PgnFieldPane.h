// What the monitor shows of the row selected in one of its PGN lists: the
// latest message of that row decoded into fields, in a list of its own, with
// a title above it. Given each new latest message, it decodes it and writes
// only the cells that changed, so a live list keeps its scroll and does not
// flicker. The decoder and the database's descriptions are called through the
// functions it is given (the exported ones in the panel, fakes in tests).
// Not locked: one thread uses it.
#pragma once

#include "panels/model/PgnFields.h"
#include "panels/model/PgnListView.h"

#include <ferrow/N2KMsg.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ferrow::panels {

class PgnFieldPane {
public:
    enum Column : int { kName, kValue, kUnit, kColumns };

    // As FerrowDecodeN2K and FerrowDescribePgn.
    using Decoder = std::function<int(const N2KMsg*, char*, int)>;
    using Describer = std::function<int(unsigned long, char*, int)>;

    PgnFieldPane(Decoder decode, Describer describe);

    // Empties the list and gives it the pane's columns.
    void Init(PgnListView& list);

    // Shows `msg`, the latest message of the selected row, known by `serial`
    // (LatestMessages'); the serial already shown does nothing. A null `msg`
    // (no row selected, or none with a message) empties the pane. True when
    // the title or a cell changed.
    bool Show(const N2KMsg* msg, uint64_t serial, PgnListView& list);

    // The PGN, its name and the message's addresses; "" while nothing is
    // shown.
    const std::string& Title() const { return title_; }
    const std::vector<FieldRow>& Rows() const { return rows_; }

private:
    const PgnFields::Scales& ScalesOf(uint32_t pgn);
    void Write(std::vector<FieldRow> rows, PgnListView& list);

    Decoder decode_;
    Describer describe_;
    uint64_t serial_ = 0;
    std::string title_;
    std::vector<FieldRow> rows_;
    // Descriptions never change while the database stays loaded.
    std::map<uint32_t, PgnFields::Scales> scales_;
};

}  // namespace ferrow::panels
