// How a list column aligns its cells: one meaning for every list the panels
// show, with or without the toolkit.
#pragma once

namespace ferrow::panels {

enum class ColumnAlign { Left, Right, Centre };

}  // namespace ferrow::panels
