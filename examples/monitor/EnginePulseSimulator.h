// Bench side: the engine's speed pickup, one rising edge per revolution,
// captured by the input-capture pin against its 1 MHz timer.
#pragma once

#include <atomic>
#include <cstdint>

class Ferrow_ICAP_c;

class EnginePulseSimulator {
public:
    // Negative or not a number: stopped.
    void SetRpm(double rpm);
    double Rpm() const { return rpm_.load(); }

    // Captures every edge due by `nowUs` (the capture timer's reading) on
    // pin handle `capture`. After a long gap only the edges the capture
    // queue can hold are made.
    void Emit(Ferrow_ICAP_c& icap, int capture, uint32_t nowUs);

private:
    std::atomic<double> rpm_{0.0};
    bool turning_ = false;
    uint32_t nextEdgeUs_ = 0;
};
