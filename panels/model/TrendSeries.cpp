#include "panels/model/TrendSeries.h"

#include <algorithm>

namespace ferrow::panels {
namespace {

std::size_t CapacityFor(int periodMs) {
    const int64_t period = std::max(periodMs, 1);
    const int64_t samples = TrendSeries::kWindowMs / period + 1;
    return static_cast<std::size_t>(
        std::clamp<int64_t>(samples, 2, static_cast<int64_t>(TrendSeries::kMaxSamples)));
}

// n * (extent - 1) / whole, rounded to the nearest pixel; whole is above 0.
int Pixels(int64_t n, int extent, int64_t whole) {
    const int64_t steps = extent - 1;
    return static_cast<int>((2 * n * steps + whole) / (2 * whole));
}

}  // namespace

TrendSeries::TrendSeries(Style style, int periodMs)
    : style_(style), ring_(CapacityFor(periodMs)) {}

void TrendSeries::Add(int64_t ms, int64_t value) {
    if (count_ > 0 && ms < At(0).ms) return;
    ring_[next_] = {ms, value};
    next_ = (next_ + 1) % ring_.size();
    count_ = std::min(count_ + 1, ring_.size());
}

void TrendSeries::Clear() {
    next_ = 0;
    count_ = 0;
}

const TrendSeries::Sample& TrendSeries::At(std::size_t age) const {
    return ring_[(next_ + ring_.size() - 1 - age) % ring_.size()];
}

std::vector<TrendSeries::Sample> TrendSeries::InView() const {
    std::vector<Sample> view;
    if (count_ == 0) return view;
    const int64_t start = At(0).ms - kWindowMs;
    std::size_t age = 0;
    while (age < count_ && At(age).ms >= start) ++age;
    view.reserve(age);
    while (age > 0) view.push_back(At(--age));
    return view;
}

std::optional<TrendSeries::Span> TrendSeries::Scale() const {
    if (count_ == 0) return std::nullopt;
    if (style_ == Style::Logic) return Span{0, 1};
    const std::vector<Sample> view = InView();
    const auto [low, high] =
        std::minmax_element(view.begin(), view.end(),
                            [](const Sample& a, const Sample& b) { return a.value < b.value; });
    return Span{low->value, high->value};
}

int TrendSeries::Y(int64_t value, const Span& span, const Box& box) const {
    const int bottom = box.top + box.height - 1;
    if (style_ == Style::Logic) return value != 0 ? box.top : bottom;
    if (span.maximum == span.minimum) return box.top + (box.height - 1) / 2;
    return bottom - Pixels(value - span.minimum, box.height, span.maximum - span.minimum);
}

std::vector<TrendSeries::Point> TrendSeries::Plot(const Box& box) const {
    std::vector<Point> points;
    const std::optional<Span> span = Scale();
    if (!span || box.width <= 0 || box.height <= 0) return points;
    const std::vector<Sample> view = InView();
    const int64_t start = view.back().ms - kWindowMs;
    // A run at one height is one segment: its middle points are dropped.
    const auto add = [&points](Point p) {
        const std::size_t n = points.size();
        if (n > 0 && points[n - 1].x == p.x && points[n - 1].y == p.y) return;
        if (n > 1 && points[n - 1].y == p.y && points[n - 2].y == p.y) {
            points[n - 1].x = p.x;
        } else {
            points.push_back(p);
        }
    };
    for (const Sample& sample : view) {
        const int x = box.left + Pixels(sample.ms - start, box.width, kWindowMs);
        const int y = Y(sample.value, *span, box);
        if (style_ == Style::Logic && !points.empty()) add({x, points.back().y});
        add({x, y});
    }
    return points;
}

}  // namespace ferrow::panels
