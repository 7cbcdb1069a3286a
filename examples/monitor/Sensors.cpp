#include "Sensors.h"

#include <ferrow/Ferrow_ADC_c.h>
#include <ferrow/Ferrow_I2C_c.h>
#include <ferrow/Ferrow_ICAP_c.h>

#include <algorithm>
#include <cmath>

namespace monitor {

namespace {

constexpr int kChannels[] = {kAdcEngineRoom, kAdcSea, kAdcBattery};
constexpr const char* kChannelNames[] = {"ENGINE ROOM", "SEA", "BATTERY"};
constexpr uint32_t kZeroCelsiusMilliKelvin = 273150;
constexpr double kMilliKelvinPerSixteenth = 1000.0 / 16;
constexpr double kMaxQuarterRpm = 0xFFFD;

}  // namespace

void Sensors::Configure() {
    const int group = adc_.AddChannel(kAdcChannels, kAdcBits, kAdcQueue, 1, 0);
    for (int sub = 0; sub < kAdcChannels; ++sub) {
        adc_.SetConfig(group, sub, kAdcFullScale, 0);
        adc_.SetName(group, sub, kChannelNames[sub]);
        adc_.QSetup(kChannels[sub], kAdcWindow);
    }
    capture_ = icap_.AddPin(kPinEngine, kIcapRisingEdge, kIcapBits, kIcapQueue);
    icap_.SetName(capture_, "ENGINE PULSE");
}

void Sensors::Sample() {
    for (int channel : kChannels) {
        long value = 0;
        if (adc_.GetValue(channel, &value) != 0) continue;
        // A full queue drops its oldest sample: the window only needs the newest.
        if (adc_.QPut(channel, value) != 0) {
            adc_.QSkip(channel, 1);
            adc_.QPut(channel, value);
        }
    }
    const unsigned taken = samples_.load(std::memory_order_relaxed);
    if (taken < kSettledAfter) samples_.store(taken + 1, std::memory_order_release);
}

void Sensors::UpdateEngine(uint32_t nowMs) {
    unsigned long last = 0;
    unsigned long count = 0;
    if (capture_ < 0 || icap_.GetValue(capture_, &last, &count) != 0) return;
    if (count == lastCount_) {
        if (nowMs - lastEdgeMs_ >= kEngineStoppedMs) {
            quarterRpm_ = 0;
            stoppedAtCount_ = count;
        }
        return;
    }
    lastCount_ = count;
    lastEdgeMs_ = nowMs;
    // Reader onto the newest capture, which QGet returns first.
    icap_.QSkip(capture_, static_cast<int>(kIcapQueue));
    unsigned long edges[2] = {};
    if (count - stoppedAtCount_ < 2 || icap_.QGet(capture_, edges, nullptr, 2, 0) != 2) return;
    // Timer ticks are microseconds; the counter wraps at 2^32 and so does the difference.
    const uint32_t periodUs = static_cast<uint32_t>(edges[0] - edges[1]);
    if (periodUs == 0) return;
    const double quarterRpm = 4 * kMicrosPerMinute / periodUs;
    quarterRpm_ = static_cast<uint16_t>(std::lround(std::min(quarterRpm, kMaxQuarterRpm)));
}

bool Sensors::ReadCabin() {
    unsigned char raw[kSensorReadLength] = {};
    if (i2c_.RN(kI2cSensor, raw, kSensorReadLength, kSensorTemperatureRegister, 0) !=
        kSensorReadLength) {
        cabin_.reset();
        return false;
    }
    int word = raw[0] << 8 | raw[1];
    if (word & 0x8000) word -= 0x10000;
    // The low 4 bits are below the resolution; round towards minus infinity.
    const int sixteenths = (word - (word & 0xF)) / 16;
    cabin_ = static_cast<uint32_t>(kZeroCelsiusMilliKelvin +
                                   std::lround(sixteenths * kMilliKelvinPerSixteenth));
    return true;
}

uint16_t Sensors::BatteryCentivolts() const {
    const long millivolts = Average(kAdcBattery) * kBatteryMillivoltsPerCount;
    return static_cast<uint16_t>((millivolts + 5) / 10);
}

long Sensors::Average(int channel) const {
    long counts = 0;
    if (adc_.QGetAvg(channel, &counts) != 0) return 0;
    return std::clamp(counts, 0L, kAdcFullScale);
}

uint32_t Sensors::TemperatureOf(int channel) const {
    const long counts = Average(channel);
    return static_cast<uint32_t>(kTempZeroMilliKelvin +
                                 (counts * kTempSpanMilliKelvin + kAdcFullScale / 2) / kAdcFullScale);
}

}  // namespace monitor
