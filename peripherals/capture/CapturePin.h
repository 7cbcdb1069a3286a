// One input-capture pin: the last captured timer value, masked to the
// timer's width, how many captures arrived, and the queue of captured values
// with the same ring as the ADC's sample queue. Not locked itself.
#pragma once

#include "peripherals/SampleRing.h"
#include "peripherals/TargetWord.h"

#include <cstdint>
#include <string>

namespace ferrow::peripherals {

struct CapturePin {
    CapturePin(uint32_t pinNumber, uint8_t configuration, uint8_t bits, uint32_t queueLength)
        : pinNumber(pinNumber), configuration(configuration), mask(MaskFor(bits)), ring(queueLength) {}

    // A timer of 32 bits or more keeps the whole 32-bit value.
    static uint32_t MaskFor(uint8_t bits) { return bits >= 32 ? 0xFFFFFFFFu : (uint32_t(1) << bits) - 1; }

    void Capture(unsigned long captured) {
        value = TargetWord(captured) & mask;
        ++count;
    }

    // A capture that is also queued; false (nothing counted) when the queue is full.
    bool Put(unsigned long captured) {
        if (ring.Full()) return false;
        Capture(captured);
        ring.Put(value);
        return true;
    }

    uint32_t pinNumber;
    uint8_t configuration;
    uint32_t mask;
    uint32_t value = 0;
    uint32_t count = 0;  // wraps at 2^32 like the target's counter
    std::string name;
    SampleRing<uint32_t> ring;
};

}  // namespace ferrow::peripherals
