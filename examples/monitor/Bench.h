// Bench side: what surrounds the monitor on the test bench. Two ADC channels
// of its own (engine speed and cabin temperature) are the operator's knobs;
// each Step brings a moved knob to its simulator, or a knob up to date with
// a simulator changed in code, and lets the engine emit its due pulses.
#pragma once

#include "EnginePulseSimulator.h"
#include "TemperatureSensorSlave.h"

class Ferrow_c;
class MonitorDevice;

class Bench {
public:
    // After the device's Start: its ADC and capture pin exist by then.
    explicit Bench(MonitorDevice& device);
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    void Step();

    TemperatureSensorSlave& Sensor() { return sensor_; }
    EnginePulseSimulator& Engine() { return engine_; }

private:
    // True, with the value in `last`, when the operator moved the knob.
    bool Moved(int channel, long& last);
    void Follow(int channel, long& last, double value);

    Ferrow_c& emu_;
    TemperatureSensorSlave sensor_;
    EnginePulseSimulator engine_;
    int rpmChannel_;
    int cabinChannel_;
    int capture_;
    long lastRpm_ = 0;
    long lastCabin_ = 0;
};
