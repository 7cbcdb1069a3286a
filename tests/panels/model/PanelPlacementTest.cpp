// Where new panels open, on a 1280 x 1024 display with a taskbar at the
// bottom and the host window at (100, 50).
#include "panels/model/PanelPlacement.h"

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

namespace ferrow::panels {

// Found by argument lookup, so a failure prints the rectangle.
void PrintTo(const PanelRect& r, std::ostream* os) {
    *os << "{" << r.x << "," << r.y << " " << r.width << "x" << r.height << "}";
}

}  // namespace ferrow::panels

namespace {

using ferrow::panels::PanelPlacement;
using ferrow::panels::PanelRect;

constexpr int kGap = PanelPlacement::kGap;
const PanelRect kDisplay{0, 0, 1280, 984};
const PanelRect kHost{100, 50, 300, 400};

// Opens panels of the given sizes one after another, as a session does.
std::vector<PanelRect> OpenAll(const PanelRect& host, const std::vector<PanelRect>& sizes) {
    std::vector<PanelRect> open;
    for (const PanelRect& size : sizes) {
        open.push_back(PanelPlacement::Place(host, kDisplay, open, size.width, size.height));
    }
    return open;
}

void ExpectApartAndOnScreen(const PanelRect& host, const std::vector<PanelRect>& open) {
    for (std::size_t i = 0; i < open.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_TRUE(open[i].Inside(kDisplay));
        EXPECT_FALSE(open[i].Overlaps(host));
        for (std::size_t j = 0; j < i; ++j) EXPECT_FALSE(open[i].Overlaps(open[j])) << j;
    }
}

TEST(PanelPlacement, FillsAColumnRightOfTheHostFromItsTopThenTheNextColumn) {
    const std::vector<PanelRect> open =
        OpenAll(kHost, std::vector<PanelRect>(6, PanelRect{0, 0, 400, 300}));
    const int right = kHost.Right() + kGap;
    EXPECT_EQ(open[0], (PanelRect{right, kHost.y, 400, 300}));
    EXPECT_EQ(open[1], (PanelRect{right, kHost.y + 300 + kGap, 400, 300}));
    EXPECT_EQ(open[2], (PanelRect{right, kHost.y + 2 * (300 + kGap), 400, 300}));
    // No fourth fits below the third, nor left of the host.
    EXPECT_EQ(open[3], (PanelRect{right + 400 + kGap, kHost.y, 400, 300}));
    ExpectApartAndOnScreen(kHost, open);
}

TEST(PanelPlacement, UsesTheLeftOfAHostAtTheRightEdgeAndCascadesOnAFullScreen) {
    const PanelRect atRight{900, 100, 380, 500};
    const std::vector<PanelRect> open = OpenAll(atRight, {{0, 0, 300, 200}, {0, 0, 300, 200}});
    EXPECT_EQ(open[0], (PanelRect{900 - kGap - 300, 100, 300, 200}));
    EXPECT_EQ(open[1], (PanelRect{900 - kGap - 300, 100 + 200 + kGap, 300, 200}));
    ExpectApartAndOnScreen(atRight, open);

    // A maximised host leaves no free place: cascaded, but on screen.
    const std::vector<PanelRect> crowded = OpenAll(kDisplay, {{0, 0, 300, 200}, {0, 0, 300, 200}});
    for (const PanelRect& rect : crowded) EXPECT_TRUE(rect.Inside(kDisplay));
    EXPECT_NE(crowded[0].y, crowded[1].y);
}

TEST(PanelPlacement, APanelLargerThanTheSpaceLeftStaysOnScreen) {
    // Taller than the room below the host's top: it moves up to fit.
    const PanelRect host{100, 700, 300, 200};
    const PanelRect tall = PanelPlacement::Place(host, kDisplay, {}, 500, 600);
    EXPECT_TRUE(tall.Inside(kDisplay));
    EXPECT_FALSE(tall.Overlaps(host));

    // Wider than the display: cut to it.
    const PanelRect wide = PanelPlacement::Place(kHost, kDisplay, {}, 2000, 300);
    EXPECT_TRUE(wide.Inside(kDisplay));
    EXPECT_EQ(wide.width, kDisplay.width);

    // Without a host the panels fill the display from its top left.
    const std::vector<PanelRect> hostless = OpenAll({}, {{0, 0, 300, 200}, {0, 0, 300, 200}});
    EXPECT_EQ(hostless[0], (PanelRect{0, 0, 300, 200}));
    EXPECT_EQ(hostless[1], (PanelRect{0, 200 + kGap, 300, 200}));
}

TEST(PanelPlacement, KeepInsideMovesARememberedPlaceBackOnTheDisplay) {
    const PanelRect display{1280, 0, 1024, 768};  // a second display on the right
    EXPECT_EQ(PanelPlacement::KeepInside({1300, 10, 200, 100}, display), (PanelRect{1300, 10, 200, 100}));
    EXPECT_EQ(PanelPlacement::KeepInside({2200, 700, 200, 100}, display), (PanelRect{2104, 668, 200, 100}));
    EXPECT_EQ(PanelPlacement::KeepInside({0, -50, 200, 100}, display), (PanelRect{1280, 0, 200, 100}));
    EXPECT_EQ(PanelPlacement::KeepInside({0, 0, 3000, 100}, display), (PanelRect{1280, 0, 1024, 100}));
}

}  // namespace
