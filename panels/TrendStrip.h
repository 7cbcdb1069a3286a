// The small plot under a channel panel's list: the selected channel's value
// over the last minute (TrendSeries), labelled with the largest value in view
// at the top and the smallest at the bottom, in the panel's number format.
#pragma once

#include "panels/model/TrendSeries.h"

#include <wx/string.h>
#include <wx/window.h>

#include <cstdint>
#include <functional>

class wxPaintEvent;

namespace ferrow::panels {

class TrendStrip : public wxWindow {
public:
    using Label = std::function<wxString(int64_t value)>;

    TrendStrip(wxWindow* parent, wxWindowID id, TrendSeries::Style style, Label label);

    // Starts an empty series sized for samples every `periodMs`.
    void SetPeriod(int periodMs);
    void Add(int64_t ms, int64_t value);
    void Clear();

    const TrendSeries& Series() const { return series_; }
    // The colour of the trace.
    static wxColour TraceColour();

private:
    void OnPaint(wxPaintEvent& event);

    TrendSeries::Style style_;
    TrendSeries series_;
    Label label_;
};

}  // namespace ferrow::panels
