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

    // Whether a slider from position `low` to `high` can take ticks every
    // `frequency`: the toolkit steps an int from low by the frequency while
    // it is below high, and that step must not pass the largest int (near
    // the ends of the 32-bit range it would wrap and never end).
    static bool TicksFit(int low, int high, int frequency) {
        if (frequency <= 0) return false;
        const long long span = static_cast<long long>(high) - low;
        const long long steps = span <= 0 ? 1 : (span + frequency - 1) / frequency;
        return low + steps * frequency <= INT_MAX;
    }
};

}  // namespace ferrow::panels
