#include "panels/model/PanelPlacement.h"

#include <algorithm>

namespace ferrow::panels {
namespace {

bool IsEmpty(const PanelRect& rect) { return rect.width <= 0 || rect.height <= 0; }

void SortUnique(std::vector<int>& values, bool ascending) {
    if (ascending) {
        std::sort(values.begin(), values.end());
    } else {
        std::sort(values.begin(), values.end(), std::greater<int>());
    }
    values.erase(std::unique(values.begin(), values.end()), values.end());
}

}  // namespace

bool PanelRect::Overlaps(const PanelRect& other) const {
    if (IsEmpty(*this) || IsEmpty(other)) return false;
    return x < other.Right() && other.x < Right() && y < other.Bottom() && other.y < Bottom();
}

bool PanelRect::Inside(const PanelRect& area) const {
    return x >= area.x && y >= area.y && Right() <= area.Right() && Bottom() <= area.Bottom();
}

PanelRect PanelPlacement::KeepInside(const PanelRect& rect, const PanelRect& display) {
    PanelRect kept = rect;
    kept.width = std::min(rect.width, display.width);
    kept.height = std::min(rect.height, display.height);
    kept.x = std::clamp(rect.x, display.x, display.Right() - kept.width);
    kept.y = std::clamp(rect.y, display.y, display.Bottom() - kept.height);
    return kept;
}

// Free places are looked for only at the edges that windows make: beside
// the host, beside each panel, and below each of them. A place is the first
// one, column by column, that lies on the display and overlaps nothing.
PanelRect PanelPlacement::Place(const PanelRect& host, const PanelRect& display,
                                const std::vector<PanelRect>& taken, int width, int height) {
    const bool hasHost = !IsEmpty(host);
    const int top = hasHost ? host.y : display.y;
    const int rightOfHost = hasHost ? host.Right() + kGap : display.x;

    std::vector<PanelRect> obstacles = taken;
    if (hasHost) obstacles.push_back(host);

    std::vector<int> rightColumns = {rightOfHost};
    std::vector<int> leftColumns;
    if (hasHost) leftColumns.push_back(host.x - kGap - width);
    std::vector<int> below;
    std::vector<int> above;
    for (const PanelRect& rect : obstacles) {
        if (rect.x >= rightOfHost - kGap) rightColumns.push_back(rect.Right() + kGap);
        if (hasHost && rect.Right() <= host.x) leftColumns.push_back(rect.x - kGap - width);
        (rect.Bottom() + kGap >= top ? below : above).push_back(rect.Bottom() + kGap);
    }
    below.push_back(top);
    above.push_back(display.y);
    SortUnique(rightColumns, true);
    SortUnique(leftColumns, false);
    SortUnique(below, true);
    SortUnique(above, true);

    std::vector<int> columns = rightColumns;
    columns.insert(columns.end(), leftColumns.begin(), leftColumns.end());
    std::vector<int> rows = below;
    rows.insert(rows.end(), above.begin(), above.end());

    for (int x : columns) {
        for (int y : rows) {
            const PanelRect candidate{x, y, width, height};
            if (!candidate.Inside(display)) continue;
            const bool free = std::none_of(obstacles.begin(), obstacles.end(),
                                           [&](const PanelRect& r) { return r.Overlaps(candidate); });
            if (free) return candidate;
        }
    }
    const int step = kCascadeStep * static_cast<int>(taken.size() % 10);
    return KeepInside({rightOfHost + step, top + step, width, height}, display);
}

}  // namespace ferrow::panels
