#include "panels/TrendStrip.h"

#include <wx/dcbuffer.h>
#include <wx/settings.h>

#include <algorithm>
#include <vector>

namespace ferrow::panels {
namespace {

constexpr int kPadding = 3;

}  // namespace

TrendStrip::TrendStrip(wxWindow* parent, wxWindowID id, TrendSeries::Style style, Label label)
    : wxWindow(parent, id, wxDefaultPosition, wxDefaultSize,
               wxBORDER_THEME | wxFULL_REPAINT_ON_RESIZE),
      style_(style),
      series_(style, 50),
      label_(std::move(label)) {
    SetBackgroundStyle(wxBG_STYLE_PAINT);
    Bind(wxEVT_PAINT, &TrendStrip::OnPaint, this);
}

void TrendStrip::SetPeriod(int periodMs) {
    series_ = TrendSeries(style_, periodMs);
    Refresh();
}

void TrendStrip::Add(int64_t ms, int64_t value) {
    series_.Add(ms, value);
    Refresh();
}

void TrendStrip::Clear() {
    series_.Clear();
    Refresh();
}

wxColour TrendStrip::TraceColour() { return wxColour(0, 90, 200); }

void TrendStrip::OnPaint(wxPaintEvent&) {
    wxAutoBufferedPaintDC dc(this);
    dc.SetBackground(wxBrush(wxSystemSettings::GetColour(wxSYS_COLOUR_LISTBOX)));
    dc.Clear();
    const auto scale = series_.Scale();
    if (!scale) return;

    dc.SetFont(GetFont());
    dc.SetTextForeground(wxSystemSettings::GetColour(wxSYS_COLOUR_LISTBOXTEXT));
    const wxString top = label_(scale->maximum);
    const wxString bottom = label_(scale->minimum);
    const wxSize topSize = dc.GetTextExtent(top);
    const wxSize bottomSize = dc.GetTextExtent(bottom);
    const wxSize area = GetClientSize();
    dc.DrawText(top, kPadding, 0);
    dc.DrawText(bottom, kPadding, area.y - bottomSize.y);

    const int left = 2 * kPadding + std::max(topSize.x, bottomSize.x);
    const TrendSeries::Box box{left, kPadding, area.x - left - kPadding, area.y - 2 * kPadding};
    const std::vector<TrendSeries::Point> trace = series_.Plot(box);
    if (trace.empty()) return;
    std::vector<wxPoint> points;
    points.reserve(trace.size());
    for (const TrendSeries::Point& p : trace) points.emplace_back(p.x, p.y);
    dc.SetPen(wxPen(TraceColour(), 2));
    if (points.size() == 1) points.emplace_back(points[0].x + 1, points[0].y);
    dc.DrawLines(static_cast<int>(points.size()), points.data());
}

}  // namespace ferrow::panels
