#include <ferrow/panels/CtrlAnchor.h>

#include <wx/window.h>

#include <algorithm>

namespace {

// One axis: a pinned edge keeps the near margin, a stretched control keeps
// both, and any other keeps the far margin with its own length.
void Place(int client, int length, int nearMargin, int farMargin, bool pin, bool stretch,
           int& position, int& newLength) {
    if (pin) {
        position = nearMargin;
        newLength = length;
    } else if (stretch) {
        position = nearMargin;
        newLength = client - nearMargin - farMargin;
    } else {
        position = client - farMargin - length;
        newLength = length;
    }
}

bool Created(const wxWindow* window) { return window != nullptr && window->GetHandle() != nullptr; }

}  // namespace

wxRect AnchorRect(const wxSize& client, const wxSize& control, const int* margins, unsigned flags,
                  const int* extra) {
    wxRect placed;
    Place(client.x, control.x, margins[0], margins[2], flags & ANCHOR_PIN_LEFT,
          flags & ANCHOR_STRETCH_X, placed.x, placed.width);
    Place(client.y, control.y, margins[1], margins[3], flags & ANCHOR_PIN_TOP,
          flags & ANCHOR_STRETCH_Y, placed.y, placed.height);
    if (extra != nullptr) {
        placed.x += extra[0];
        placed.y += extra[1];
        placed.width -= extra[0] + extra[2];
        placed.height -= extra[1] + extra[3];
    }
    placed.x = std::max(placed.x, 0);
    placed.y = std::max(placed.y, 0);
    return placed;
}

void SaveCtrlMargins(wxWindow* dialog, wxWindow* control, int* margins) {
    if (margins == nullptr || !Created(dialog) || !Created(control)) return;
    const wxSize client = dialog->GetClientSize();
    const wxRect rect = control->GetRect();
    margins[0] = rect.x;
    margins[1] = rect.y;
    margins[2] = client.x - rect.x - rect.width;
    margins[3] = client.y - rect.y - rect.height;
}

void AnchorCtrl(wxWindow* dialog, wxWindow* control, const int* margins, unsigned flags,
                const int* extra) {
    if (margins == nullptr || !Created(dialog) || !Created(control)) return;
    control->SetSize(AnchorRect(dialog->GetClientSize(), control->GetSize(), margins, flags, extra));
}
