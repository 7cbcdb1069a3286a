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

TEST(AnchorRect, PinsStretchesAndInsetsTheControlAndKeepsItInsideTheArea) {
    const int extra[4] = {1, 2, 3, 4};
    struct Case {
        const char* what;
        wxSize client;
        int flags;
        const int* extra;
        wxRect placed;
    };
    const Case cases[] = {
        {"pinned left keeps its bottom distance and size", {300, 180},
         ANCHOR_PIN_LEFT | ANCHOR_STRETCH_X, nullptr, {10, 140, 40, 20}},
        {"stretched both ways grows with the area", {300, 180},
         ANCHOR_STRETCH_X | ANCHOR_STRETCH_Y, nullptr, {10, 60, 140, 100}},
        {"pinned top and stretched vertically stays at the top right", {300, 180},
         ANCHOR_STRETCH_Y | ANCHOR_PIN_TOP, nullptr, {110, 60, 40, 20}},
        {"kept off the edges of a shrunk area", {100, 30}, 0, nullptr, {0, 0, 40, 20}},
        {"extra insets move and shrink it", {300, 180}, ANCHOR_STRETCH_X | ANCHOR_STRETCH_Y, extra,
         {11, 62, 136, 94}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(AnchorRect(c.client, kControl, kMargins, c.flags, c.extra), c.placed);
    }
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
