// Bench side: the cabin temperature sensor on the I2C bus. A 2-byte read of
// its temperature register gives 1/16 °C as 12-bit two's complement,
// left-justified, high byte first; it has nothing to write.
#pragma once

#include <atomic>

class Ferrow_I2C_c;

class TemperatureSensorSlave {
public:
    // The sensor's range.
    static constexpr double kMinCelsius = -128.0;
    static constexpr double kMaxCelsius = 127.9375;

    TemperatureSensorSlave() = default;
    // Off the bus: later reads at its address fail.
    ~TemperatureSensorSlave();
    TemperatureSensorSlave(const TemperatureSensorSlave&) = delete;
    TemperatureSensorSlave& operator=(const TemperatureSensorSlave&) = delete;

    // Puts the sensor on `bus` at its address; once per bus.
    void Attach(Ferrow_I2C_c& bus);

    // Clamped into the sensor's range; not a number reads as its minimum.
    void SetCelsius(double celsius);
    double Celsius() const { return celsius_.load(); }

    // The answer to a read of `length` bytes of `reg`: bytes given, or -1.
    int Read(unsigned char* buffer, unsigned short length, int reg) const;

private:
    static int ReadOnBus(void* bus, unsigned char* buffer, unsigned short length, int reg, int);

    std::atomic<double> celsius_{20.0};
};
