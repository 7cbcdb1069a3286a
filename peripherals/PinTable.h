// The pins of a peripheral that the firmware addresses by the device's own
// pin number and the panels walk by id, the index in creation order. Every
// operation opens the call frame and holds the peripheral's lock for its
// whole length, so the firmware and the panel may share the records.
#pragma once

#include "peripherals/Peripheral.h"
#include "peripherals/TargetWord.h"
#include "platform/CallFrame.h"

#include <climits>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

namespace ferrow::peripherals {

// Pin: an aggregate whose first member is `uint32_t number` and which has a
// `std::string name`.
template <class Pin>
class PinTable {
public:
    // What an id that names no pin translates to; no 32-bit pin number is it.
    static constexpr unsigned long kNoPin = ULONG_MAX;

    explicit PinTable(Peripheral& core) : core_(core) {}

    // `rest` initialises the members after the number. Returns the new id.
    template <class... Rest>
    int Add(unsigned long number, Rest&&... rest) {
        platform::CallFrame frame;
        std::lock_guard<std::recursive_mutex> lock(core_.Lock());
        pins_.push_back(Pin{TargetWord(number), std::forward<Rest>(rest)...});
        return static_cast<int>(pins_.size() - 1);
    }

    int Count() {
        platform::CallFrame frame;
        std::lock_guard<std::recursive_mutex> lock(core_.Lock());
        return static_cast<int>(pins_.size());
    }

    unsigned long Number(int id) {
        platform::CallFrame frame;
        std::lock_guard<std::recursive_mutex> lock(core_.Lock());
        if (id < 0 || static_cast<size_t>(id) >= pins_.size()) return kNoPin;
        return pins_[static_cast<size_t>(id)].number;
    }

    // op(pin) on the first pin with that number, under the lock; -1 when
    // there is none.
    template <class Op>
    int With(unsigned long number, Op&& op) {
        return core_.WithRecord(
            [&]() -> Pin* {
                for (Pin& pin : pins_) {
                    if (pin.number == TargetWord(number)) return &pin;
                }
                return nullptr;
            },
            op);
    }

    // The conversion to the field's type keeps the low bits, as the device's
    // narrower registers do.
    template <class Field, class Value>
    int Write(unsigned long number, Field Pin::*field, Value value) {
        return With(number, [&](Pin& pin) {
            pin.*field = static_cast<Field>(value);
            return 0;
        });
    }

    template <class Field, class Out>
    int Read(unsigned long number, Field Pin::*field, Out* out) {
        return With(number, [&](Pin& pin) {
            if (out == nullptr) return -1;
            *out = static_cast<Out>(pin.*field);
            return 0;
        });
    }

    int SetName(unsigned long number, const char* name) {
        return With(number, [&](Pin& pin) { return Peripheral::StoreName(pin.name, name); });
    }

    int GetName(unsigned long number, char* buffer) {
        return With(number, [&](Pin& pin) { return Peripheral::CopyNameOut(pin.name, buffer); });
    }

private:
    Peripheral& core_;
    std::vector<Pin> pins_;  // guarded by core_.Lock()
};

}  // namespace ferrow::peripherals
