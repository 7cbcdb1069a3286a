// What the emulator needs of a peripheral built for it: a way to tell it that
// the emulator has gone, since peripherals belong to the firmware and may
// outlive it. Keeps the core free of the peripherals' own headers.
#pragma once

namespace ferrow::core {

class AttachedPeripheral {
public:
    // Called once, by the emulator's destructor, under the emulator's lock.
    virtual void Detach() = 0;

protected:
    ~AttachedPeripheral() = default;
};

}  // namespace ferrow::core
