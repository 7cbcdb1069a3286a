// One ADC channel: its current result and range, and its sample queue with
// running sums over a window of the newest samples, so that puts and
// statistics cost the same whatever the window. Not locked itself: the ADC
// object serialises every call under its lock.
#pragma once

#include "peripherals/adc/SampleFormat.h"
#include "peripherals/SampleRing.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ferrow::peripherals {

class AdcChannel {
public:
    // Range of the format, value 0, window over the whole (all zero) queue.
    AdcChannel(SampleFormat format, uint32_t queueLength);

    int32_t Maximum() const { return maximum_; }
    int32_t Minimum() const { return minimum_; }
    // Refused (false) unless maximum > minimum and both fit 32 bits.
    bool SetRange(long maximum, long minimum);

    int32_t Value() const { return value_; }
    uint32_t ValueAs(Repr mode) const { return format_.Convert(value_, mode); }
    // Refused (false) when outside the range.
    bool SetValueInRange(long value);
    void SetValueClamped(long value) { value_ = Clamp(value); }

    std::string name;

    // A window of 0 is refused (false).
    bool Setup(uint32_t windowLength);
    // Empties the queue; the window, the stored samples and the current value
    // stay. The sums restart from 0 until Setup sums the stored window again.
    void Reset();
    // Clamps the sample into the range; false when the queue is full.
    bool Put(long sample);

    // Up to n samples newest first (see SampleRing::Read); before the first
    // put, the current value as stored in out[0] and 0 samples.
    template <class Out>
    int Read(Out* out, int n, bool advance, Repr mode) {
        if (ring_.Empty()) {
            out[0] = Widen<Out>(static_cast<uint32_t>(value_));
            return 0;
        }
        return ring_.Read(out, n, advance,
                          [this, mode](int32_t v) { return Widen<Out>(format_.Convert(v, mode)); });
    }
    int Skip(int n) { return ring_.Skip(n); }
    uint32_t ReadWraps() const { return ring_.ReadWraps(); }
    uint32_t ReadPosition() const { return ring_.ReadPosition(); }

    // None for a window of 0.
    std::optional<uint32_t> AverageAs(Repr mode) const;
    uint32_t SumAs(Repr mode) const { return format_.ConvertSum(sum_, window_, mode); }
    uint64_t SumOfSquares() const { return sumSquares_; }

    // sum / n rounded half away from zero; n > 0.
    static int32_t RoundedAverage(int32_t sum, uint32_t n);

private:
    bool BlockMode() const { return window_ > ring_.Length(); }
    int32_t Clamp(long value) const;
    // The sums, the block and the window position back to 0.
    void ClearSums();
    // Sums of the window as the store holds it; block accumulation restarts.
    void EstablishWindow();

    SampleFormat format_;
    int32_t maximum_;
    int32_t minimum_;
    int32_t value_ = 0;
    SampleRing<int32_t> ring_;
    uint32_t window_;          // N: the newest samples the sums cover
    int32_t sum_ = 0;          // wraps at 2^32
    uint64_t sumSquares_ = 0;  // of deviations from mid-scale
    int32_t blockSum_ = 0;     // N > Q only: the block being collected
    uint64_t blockSquares_ = 0;
    // N <= Q: slot of the oldest sample in the window; N > Q: samples in the block.
    uint32_t windowPos_ = 0;
};

}  // namespace ferrow::peripherals
