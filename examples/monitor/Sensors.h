// The monitor's measurements: two temperatures and the battery voltage from
// averaged ADC samples, engine speed from the pulse captures, and the cabin
// temperature from the I2C sensor. Values are kept in the units the network
// sends: millikelvin, centivolts and quarter revolutions per minute.
#pragma once

#include "MonitorBoard.h"

#include <atomic>
#include <cstdint>
#include <optional>

class Ferrow_ADC_c;
class Ferrow_ICAP_c;
class Ferrow_I2C_c;

namespace monitor {

class Sensors {
public:
    Sensors(Ferrow_ADC_c& adc, Ferrow_ICAP_c& icap, Ferrow_I2C_c& i2c)
        : adc_(adc), icap_(icap), i2c_(i2c) {}

    // Declares the ADC channels and the capture pin.
    void Configure();

    // From the periodic interrupt: one sample of each input into its queue.
    void Sample();
    // The averaging window has filled since start: the averages mean something.
    bool Settled() const { return samples_.load(std::memory_order_acquire) >= kSettledAfter; }

    // From the loop: engine speed from the newest captures.
    void UpdateEngine(uint32_t nowMs);
    // Reads the cabin sensor; false (and no cabin value) when it does not answer.
    bool ReadCabin();

    uint32_t EngineRoomMilliKelvin() const { return TemperatureOf(kAdcEngineRoom); }
    uint32_t SeaMilliKelvin() const { return TemperatureOf(kAdcSea); }
    std::optional<uint32_t> CabinMilliKelvin() const { return cabin_; }
    uint16_t BatteryCentivolts() const;
    uint16_t EngineQuarterRpm() const { return quarterRpm_; }

private:
    static constexpr unsigned kSettledAfter = kAdcWindow;

    long Average(int channel) const;
    uint32_t TemperatureOf(int channel) const;

    Ferrow_ADC_c& adc_;
    Ferrow_ICAP_c& icap_;
    Ferrow_I2C_c& i2c_;
    int capture_ = -1;
    // Samples taken, counted up to kSettledAfter by the interrupt.
    std::atomic<unsigned> samples_{0};
    unsigned long lastCount_ = 0;
    // Capture count when the engine was last seen stopped: a speed needs two
    // edges after it.
    unsigned long stoppedAtCount_ = 0;
    uint32_t lastEdgeMs_ = 0;
    uint16_t quarterRpm_ = 0;
    std::optional<uint32_t> cabin_;
};

}  // namespace monitor
