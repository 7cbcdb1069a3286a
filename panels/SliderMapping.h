// A vertical slider's position for a value, and back. Positions are negated
// values, so that the larger value stands higher: a range maximum..minimum
// spans positions -maximum (top) to -minimum (bottom). The most negative
// 32-bit value has no negation and takes the nearest one.
#pragma once

#include <climits>

namespace ferrow::panels {

class SliderMapping {
public:
    static int Position(int value) { return value == INT_MIN ? INT_MAX : -value; }
    static int Value(int position) { return Position(position); }

    // One tick per unit up to a span of 20, else 20 ticks over the span.
    static int TickFrequency(int maximum, int minimum) {
        const long long span = static_cast<long long>(maximum) - minimum;
        return span <= 20 ? 1 : static_cast<int>(span / 20);
    }
};

}  // namespace ferrow::panels
