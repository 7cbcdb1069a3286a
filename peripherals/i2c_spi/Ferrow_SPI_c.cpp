// The SPI bus's pin list, addressed by pin number or by index through the
// pin table the pin-based peripherals share.
#include <ferrow/Ferrow_SPI_c.h>

#include "peripherals/Peripheral.h"
#include "peripherals/PinTable.h"

#include <cstdint>
#include <string>

using ferrow::peripherals::Peripheral;
using ferrow::peripherals::PinTable;

namespace {

struct SpiPin {
    uint32_t number;
    std::string name;
};

}  // namespace

struct Ferrow_SPI_c::Impl {
    Impl(Ferrow_c* emulator, Ferrow_SPI_c* self, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_SPI_c, &Ferrow_c::spi>{},
               PeripheralKind::SPI, noPanel) {}

    Peripheral core;
    PinTable<SpiPin> pins{core};
};

Ferrow_SPI_c::Ferrow_SPI_c(Ferrow_c* emulator, int modal, unsigned long noPanel)
    : impl_(new Impl(emulator, this, noPanel)) {
    impl_->core.Enter(modal);
}

Ferrow_SPI_c::~Ferrow_SPI_c() { delete impl_; }

int Ferrow_SPI_c::GetTotalPin() { return impl_->pins.Count(); }
unsigned long Ferrow_SPI_c::ID2PN(int id) { return impl_->pins.Number(id); }

int Ferrow_SPI_c::SetName(unsigned long pin, const char* name) {
    return impl_->pins.SetName(pin, name);
}

int Ferrow_SPI_c::GetName(unsigned long pin, char* buffer) {
    return impl_->pins.GetName(pin, buffer);
}

void Ferrow_SPI_c::Show() { impl_->core.Show(); }
void Ferrow_SPI_c::Hide() { impl_->core.Hide(); }
void Ferrow_SPI_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_SPI_c::IsVisible() { return impl_->core.IsVisible(); }
