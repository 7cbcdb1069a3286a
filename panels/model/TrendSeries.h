// The last minute of one channel's value, as the trend strip under a channel
// panel's list draws it. The panel feeds one sample per display period; the
// samples live in a ring sized once for a minute at that period, so memory
// never grows, and a sample older than the minute before the newest is not
// drawn. The newest sample stands at the right edge of the box, a minute
// earlier at the left.
//
// A line trace scales the samples in view between their own smallest and
// largest value, which the strip labels; a logic trace is a pin's level: 0 at
// the bottom, anything else at the top, drawn as steps that hold each level
// until the next sample.
//
// Not locked: the panel's thread alone uses it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace ferrow::panels {

class TrendSeries {
public:
    static constexpr int64_t kWindowMs = 60000;
    // A display period shorter than 15 ms covers less than the minute.
    static constexpr std::size_t kMaxSamples = 4001;

    enum class Style { Line, Logic };
    struct Sample {
        int64_t ms;
        int64_t value;
    };
    struct Point {
        int x;
        int y;
        bool operator==(const Point& other) const { return x == other.x && y == other.y; }
    };
    struct Box {
        int left;
        int top;
        int width;
        int height;
    };
    struct Span {
        int64_t minimum;
        int64_t maximum;
    };

    TrendSeries(Style style, int periodMs);

    // Samples must come in time order; one older than the newest is dropped.
    void Add(int64_t ms, int64_t value);
    void Clear();

    std::size_t Capacity() const { return ring_.size(); }
    // The samples in view, oldest first.
    std::vector<Sample> InView() const;
    // The values at the bottom and top of the box: the smallest and largest
    // in view for a line, 0 and 1 for a logic trace; none while empty.
    std::optional<Span> Scale() const;
    // The trace in pixels inside `box`, to be joined by straight lines: a
    // point per sample for a line, a step (level held, then the change) per
    // sample for a logic trace; a level run is one segment. Empty for an
    // empty series or a box without area.
    std::vector<Point> Plot(const Box& box) const;

private:
    const Sample& At(std::size_t age) const;
    int Y(int64_t value, const Span& span, const Box& box) const;

    Style style_;
    std::vector<Sample> ring_;
    std::size_t next_ = 0;
    std::size_t count_ = 0;
};

}  // namespace ferrow::panels
