#include "EnginePulseSimulator.h"

#include "MonitorBoard.h"

#include <ferrow/Ferrow_ICAP_c.h>

#include <cmath>

using namespace monitor;

namespace {

// Longer periods would not survive the timer's wrap-around.
constexpr double kMaxPeriodUs = 0x7FFFFFFF;

}  // namespace

void EnginePulseSimulator::SetRpm(double rpm) { rpm_.store(rpm > 0 ? rpm : 0.0); }

void EnginePulseSimulator::Emit(Ferrow_ICAP_c& icap, int capture, uint32_t nowUs) {
    const double rpm = rpm_.load();
    const double periodUs = rpm > 0 ? kMicrosPerMinute / rpm : 0;
    if (periodUs < 1 || periodUs > kMaxPeriodUs) {
        turning_ = false;
        return;
    }
    const uint32_t period = static_cast<uint32_t>(std::lround(periodUs));
    if (!turning_) {
        turning_ = true;
        nextEdgeUs_ = nowUs + period;
        return;
    }
    const uint32_t late = nowUs - nextEdgeUs_;
    if (static_cast<int32_t>(late) < 0) return;
    const uint32_t due = late / period + 1;
    if (due > kIcapQueue) nextEdgeUs_ += (due - kIcapQueue) * period;
    for (; static_cast<int32_t>(nowUs - nextEdgeUs_) >= 0; nextEdgeUs_ += period) {
        // A full capture queue loses its oldest edge, as the hardware's would.
        if (icap.QPut(capture, nextEdgeUs_) != 0) {
            icap.QSkip(capture, 1);
            icap.QPut(capture, nextEdgeUs_);
        }
    }
}
