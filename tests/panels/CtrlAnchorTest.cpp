#include "GuiTest.h"

#include <ferrow/panels/CtrlAnchor.h>

#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/listbox.h>

namespace ferrow::panels::test {
namespace {

// A control 40 x 20 at (10, 60) in a 200 x 100 client area.
constexpr int kMargins[4] = {10, 60, 150, 20};
const wxSize kControl(40, 20);

TEST(AnchorRect, PinnedLeftKeepsBottomDistanceAndSize) {
    EXPECT_EQ(AnchorRect(wxSize(300, 180), kControl, kMargins, ANCHOR_PIN_LEFT | ANCHOR_STRETCH_X,
                         nullptr),
              wxRect(10, 140, 40, 20));
}

TEST(AnchorRect, StretchedBothWaysGrowsWithTheClientArea) {
    EXPECT_EQ(AnchorRect(wxSize(300, 180), kControl, kMargins,
                         ANCHOR_STRETCH_X | ANCHOR_STRETCH_Y, nullptr),
              wxRect(10, 60, 140, 100));
}

TEST(AnchorRect, PinnedTopStretchedVerticallyStaysAtTheTopRight) {
    EXPECT_EQ(AnchorRect(wxSize(300, 180), kControl, kMargins,
                         ANCHOR_STRETCH_Y | ANCHOR_PIN_TOP, nullptr),
              wxRect(110, 60, 40, 20));
}

TEST(AnchorRect, KeepsOutOfTheClientAreaEdgesWhenTheAreaShrinks) {
    const wxRect placed = AnchorRect(wxSize(100, 30), kControl, kMargins, 0, nullptr);
    EXPECT_EQ(placed.GetPosition(), wxPoint(0, 0));
    EXPECT_EQ(placed.GetSize(), kControl);
}

TEST(AnchorRect, ExtraInsetsMoveAndShrinkTheControl) {
    const int extra[4] = {1, 2, 3, 4};
    EXPECT_EQ(AnchorRect(wxSize(300, 180), kControl, kMargins,
                         ANCHOR_STRETCH_X | ANCHOR_STRETCH_Y, extra),
              wxRect(11, 62, 136, 94));
}

TEST(CtrlAnchor, ControlsFollowARealDialogResize) {
    REQUIRE_GUI();
    wxDialog dialog(nullptr, wxID_ANY, "anchors", wxDefaultPosition, wxDefaultSize,
                    wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER);
    dialog.SetClientSize(200, 150);
    auto* button = new wxButton(&dialog, wxID_ANY, "b", wxPoint(10, 100), wxSize(60, 25));
    auto* list = new wxListBox(&dialog, wxID_ANY, wxPoint(10, 10), wxSize(120, 80));
    const wxSize before = dialog.GetClientSize();
    int buttonMargins[4];
    int listMargins[4];
    SaveCtrlMargins(&dialog, button, buttonMargins);
    SaveCtrlMargins(&dialog, list, listMargins);
    const int bottomGap = before.y - 100 - 25;

    dialog.SetClientSize(320, 260);
    const wxSize after = dialog.GetClientSize();
    ASSERT_NE(after, before);
    AnchorCtrl(&dialog, button, buttonMargins, ANCHOR_PIN_LEFT | ANCHOR_STRETCH_X, nullptr);
    AnchorCtrl(&dialog, list, listMargins, ANCHOR_STRETCH_X | ANCHOR_STRETCH_Y, nullptr);
    AnchorCtrl(&dialog, nullptr, listMargins, 0, nullptr);
    AnchorCtrl(&dialog, list, nullptr, 0, nullptr);

    EXPECT_EQ(button->GetRect(), wxRect(10, after.y - bottomGap - 25, 60, 25));
    EXPECT_EQ(list->GetPosition(), wxPoint(10, 10));
    EXPECT_EQ(list->GetSize(), wxSize(120 + after.x - before.x, 80 + after.y - before.y));
}

}  // namespace
}  // namespace ferrow::panels::test
