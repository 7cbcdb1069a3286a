// Window arithmetic of an ADC channel's sample queue: a sliding window when
// it fits the ring, block accumulation when it does not.
#include "peripherals/adc/AdcChannel.h"

#include <limits>

namespace ferrow::peripherals {
namespace {

int32_t WrapAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

int32_t WrapSub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

bool Fits32(long value) {
    return value >= std::numeric_limits<int32_t>::min() && value <= std::numeric_limits<int32_t>::max();
}

}  // namespace

AdcChannel::AdcChannel(SampleFormat format, uint32_t queueLength)
    : format_(format),
      maximum_(format.Maximum()),
      minimum_(format.Minimum()),
      ring_(queueLength),
      window_(queueLength) {
    EstablishWindow();
}

bool AdcChannel::SetRange(long maximum, long minimum) {
    if (maximum <= minimum || !Fits32(maximum) || !Fits32(minimum)) return false;
    maximum_ = static_cast<int32_t>(maximum);
    minimum_ = static_cast<int32_t>(minimum);
    return true;
}

bool AdcChannel::SetValueInRange(long value) {
    if (value > maximum_ || value < minimum_) return false;
    value_ = static_cast<int32_t>(value);
    return true;
}

int32_t AdcChannel::Clamp(long value) const {
    if (value > maximum_) return maximum_;
    if (value < minimum_) return minimum_;
    return static_cast<int32_t>(value);
}

bool AdcChannel::Setup(uint32_t windowLength) {
    if (windowLength == 0) return false;
    window_ = windowLength;
    EstablishWindow();
    return true;
}

void AdcChannel::Reset() {
    ring_.Reset();
    ClearSums();
    // The window's oldest slot sits N slots before the writer, now at 0.
    if (!BlockMode()) windowPos_ = ring_.Length() - window_;
}

void AdcChannel::ClearSums() {
    sum_ = 0;
    sumSquares_ = 0;
    blockSum_ = 0;
    blockSquares_ = 0;
    windowPos_ = 0;
}

void AdcChannel::EstablishWindow() {
    ClearSums();
    const uint32_t q = ring_.Length();
    if (window_ == 0 || BlockMode()) return;
    for (uint32_t back = 1; back <= window_; ++back) {
        const int32_t sample = ring_.Before(back);
        sum_ = WrapAdd(sum_, sample);
        sumSquares_ += format_.DeviationSquare(sample);
    }
    windowPos_ = (ring_.WritePosition() + q - window_) % q;
}

bool AdcChannel::Put(long raw) {
    const int32_t sample = Clamp(raw);
    if (ring_.Full()) return false;
    if (BlockMode()) {
        blockSum_ = WrapAdd(blockSum_, sample);
        blockSquares_ += format_.DeviationSquare(sample);
        if (++windowPos_ == window_) {
            sum_ = blockSum_;
            sumSquares_ = blockSquares_;
            blockSum_ = 0;
            blockSquares_ = 0;
            windowPos_ = 0;
        }
    } else {
        // With N = Q the leaving sample sits in the slot about to be overwritten.
        const int32_t leaving = ring_.At(windowPos_);
        sum_ = WrapAdd(WrapSub(sum_, leaving), sample);
        sumSquares_ += format_.DeviationSquare(sample) - format_.DeviationSquare(leaving);
        windowPos_ = windowPos_ + 1 == ring_.Length() ? 0 : windowPos_ + 1;
    }
    value_ = sample;
    ring_.Put(sample);
    return true;
}

std::optional<uint32_t> AdcChannel::AverageAs(Repr mode) const {
    if (window_ == 0) return std::nullopt;
    return format_.Convert(RoundedAverage(sum_, window_), mode);
}

int32_t AdcChannel::RoundedAverage(int32_t sum, uint32_t n) {
    const int64_t half = n / 2;
    return static_cast<int32_t>((sum + (sum >= 0 ? half : -half)) / static_cast<int64_t>(n));
}

}  // namespace ferrow::peripherals
