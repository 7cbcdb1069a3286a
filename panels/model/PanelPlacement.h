// Where a panel opens: beside the host window, clear of the host and of the
// panels already on screen, and inside the display's work area. Panels fill
// a column to the right of the host from its top down, then the next column
// further right, then columns to the left of the host. When no free place is
// left they cascade from the host's right edge, overlapping but on screen.
//
// Plain arithmetic on screen rectangles, so it is tested without a display.
#pragma once

#include <vector>

namespace ferrow::panels {

struct PanelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int Right() const { return x + width; }
    int Bottom() const { return y + height; }
    bool Overlaps(const PanelRect& other) const;
    bool Inside(const PanelRect& area) const;
    bool operator==(const PanelRect& other) const {
        return x == other.x && y == other.y && width == other.width && height == other.height;
    }
};

class PanelPlacement {
public:
    // Space left between neighbouring windows.
    static constexpr int kGap = 8;
    // The step between cascaded panels once no free place is left.
    static constexpr int kCascadeStep = 24;

    // A rectangle of `width` x `height` for a new panel. `host` may be empty
    // (no host window): the panels then fill the display from its top left.
    static PanelRect Place(const PanelRect& host, const PanelRect& display,
                           const std::vector<PanelRect>& taken, int width, int height);

    // `rect` moved (and, if larger than the display, cut) so that it lies
    // inside `display`; unchanged when it does already.
    static PanelRect KeepInside(const PanelRect& rect, const PanelRect& display);
};

}  // namespace ferrow::panels
