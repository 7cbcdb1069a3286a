// Keeping a resizable panel's controls in place: each moving control's
// distances from the client area's edges are saved once, and on every resize
// the control is placed again by its anchor flags.
#pragma once

#include <ferrow/panels/PanelsApi.h>

#include <wx/gdicmn.h>

class wxWindow;

// Anchor flags. Without STRETCH_X or PIN_LEFT a control keeps its distance
// from the right edge; without STRETCH_Y or PIN_TOP, from the bottom edge.
constexpr unsigned ANCHOR_STRETCH_X = 1;
constexpr unsigned ANCHOR_STRETCH_Y = 2;
constexpr unsigned ANCHOR_PIN_LEFT = 4;
constexpr unsigned ANCHOR_PIN_TOP = 8;

// Records the control's distances from the dialog's client area: margins[0]
// left, [1] top, [2] right, [3] bottom. Nothing happens when an argument is
// null or a window has not been created.
FERROW_PANELS_API void SaveCtrlMargins(wxWindow* dialog, wxWindow* control, int* margins);

// Places the control in the dialog's current client area by `flags` and the
// saved margins; `extra` (left, top, right, bottom insets) may be null.
// Nothing happens when another argument is null or a window has not been
// created.
FERROW_PANELS_API void AnchorCtrl(wxWindow* dialog, wxWindow* control, const int* margins,
                                  unsigned flags, const int* extra);

// The placement AnchorCtrl makes, as arithmetic alone: the control's new
// rectangle in a client area of `client` size, given its current size.
FERROW_PANELS_API wxRect AnchorRect(const wxSize& client, const wxSize& control,
                                    const int* margins, unsigned flags, const int* extra);
