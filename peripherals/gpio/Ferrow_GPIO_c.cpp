// General-purpose pins: the pin records and the tie between the level at a
// pin and its data register.
#include <ferrow/Ferrow_GPIO_c.h>

#include "peripherals/Peripheral.h"
#include "peripherals/PinTable.h"

#include <cstdint>
#include <string>

using ferrow::peripherals::Peripheral;
using ferrow::peripherals::PinTable;

namespace {

constexpr uint8_t kInput = 0;
constexpr uint8_t kOutput = 1;

struct GpioPin {
    uint32_t number;
    uint8_t direction = kInput;
    uint8_t level = 0;
    uint8_t reg = 0;
    std::string name{};
};

// An input latches what is applied to the pin; an output drives the pin from
// its register. The direction only matters at the write: changing it later
// copies nothing.
int ApplyToPin(GpioPin& pin, int value) {
    pin.level = static_cast<uint8_t>(value);
    if (pin.direction == kInput) pin.reg = pin.level;
    return 0;
}

int WriteRegister(GpioPin& pin, int value) {
    pin.reg = static_cast<uint8_t>(value);
    if (pin.direction == kOutput) pin.level = pin.reg;
    return 0;
}

}  // namespace

struct Ferrow_GPIO_c::Impl {
    Impl(Ferrow_c* emulator, Ferrow_GPIO_c* self, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_GPIO_c, &Ferrow_c::gpio>{},
               PeripheralKind::GPIO, noPanel) {}

    Peripheral core;
    PinTable<GpioPin> pins{core};
};

Ferrow_GPIO_c::Ferrow_GPIO_c(Ferrow_c* emulator, int modal, unsigned long noPanel)
    : impl_(new Impl(emulator, this, noPanel)) {
    impl_->core.Enter(modal);
}

Ferrow_GPIO_c::~Ferrow_GPIO_c() {
    impl_->core.Retire();
    delete impl_;
}

int Ferrow_GPIO_c::AddPin(unsigned long pin) { return impl_->pins.Add(pin); }
int Ferrow_GPIO_c::GetTotalPin() { return impl_->pins.Count(); }
unsigned long Ferrow_GPIO_c::ID2PN(int id) { return impl_->pins.Number(id); }

int Ferrow_GPIO_c::SetDir(unsigned long pin, int direction) {
    return impl_->pins.Write(pin, &GpioPin::direction, direction);
}

int Ferrow_GPIO_c::GetDir(unsigned long pin, int* direction) {
    return impl_->pins.Read(pin, &GpioPin::direction, direction);
}

int Ferrow_GPIO_c::SetValPin(unsigned long pin, int value) {
    return impl_->pins.With(pin, [value](GpioPin& p) { return ApplyToPin(p, value); });
}

int Ferrow_GPIO_c::SetValReg(unsigned long pin, int value) {
    return impl_->pins.With(pin, [value](GpioPin& p) { return WriteRegister(p, value); });
}

int Ferrow_GPIO_c::GetValPin(unsigned long pin, int* value) {
    return impl_->pins.Read(pin, &GpioPin::level, value);
}

int Ferrow_GPIO_c::GetValReg(unsigned long pin, int* value) {
    return impl_->pins.Read(pin, &GpioPin::reg, value);
}

int Ferrow_GPIO_c::SetName(unsigned long pin, const char* name) {
    return impl_->pins.SetName(pin, name);
}

int Ferrow_GPIO_c::GetName(unsigned long pin, char* name) { return impl_->pins.GetName(pin, name); }

void Ferrow_GPIO_c::Start() { impl_->core.Start(); }
void Ferrow_GPIO_c::Show() { impl_->core.Show(); }
void Ferrow_GPIO_c::Hide() { impl_->core.Hide(); }
void Ferrow_GPIO_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_GPIO_c::IsVisible() { return impl_->core.IsVisible(); }
