// PWM outputs: the output records, and the period and width operations that
// go through the conversions of PwmTiming.
#include <ferrow/Ferrow_PWM_c.h>

#include "peripherals/Peripheral.h"
#include "peripherals/PinTable.h"
#include "peripherals/TargetWord.h"
#include "peripherals/pwm/PwmTiming.h"

#include <cstdint>
#include <string>

using ferrow::peripherals::Peripheral;
using ferrow::peripherals::PinTable;
using ferrow::peripherals::TargetWord;
namespace pwm = ferrow::peripherals::pwm;

namespace {

struct PwmOutput {
    uint32_t number;
    uint8_t mode;  // AddPin's second argument: kept, never read
    uint32_t frequency = 0;
    uint32_t duty = 0;
    uint32_t delay = 0;
    uint8_t config = 1;
    uint8_t enabled = 1;
    std::string name{};
};

}  // namespace

struct Ferrow_PWM_c::Impl {
    Impl(Ferrow_c* emulator, Ferrow_PWM_c* self, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_PWM_c, &Ferrow_c::pwm>{},
               PeripheralKind::PWM, noPanel) {}

    Peripheral core;
    PinTable<PwmOutput> outputs{core};
};

Ferrow_PWM_c::Ferrow_PWM_c(Ferrow_c* emulator, int modal, unsigned long noPanel)
    : impl_(new Impl(emulator, this, noPanel)) {
    impl_->core.Enter(modal);
}

Ferrow_PWM_c::~Ferrow_PWM_c() {
    impl_->core.Retire();
    delete impl_;
}

int Ferrow_PWM_c::AddPin(unsigned long pin, unsigned char mode) {
    return impl_->outputs.Add(pin, mode);
}

int Ferrow_PWM_c::GetTotalPin() { return impl_->outputs.Count(); }
unsigned long Ferrow_PWM_c::ID2PN(int id) { return impl_->outputs.Number(id); }

int Ferrow_PWM_c::SetConfig(unsigned long pin, int config) {
    return impl_->outputs.Write(pin, &PwmOutput::config, config);
}

int Ferrow_PWM_c::GetConfig(unsigned long pin, int* config) {
    return impl_->outputs.Read(pin, &PwmOutput::config, config);
}

int Ferrow_PWM_c::SetFreq(unsigned long pin, unsigned long frequency) {
    return impl_->outputs.Write(pin, &PwmOutput::frequency, frequency);
}

int Ferrow_PWM_c::GetFreq(unsigned long pin, unsigned long* frequency) {
    return impl_->outputs.Read(pin, &PwmOutput::frequency, frequency);
}

int Ferrow_PWM_c::SetDuty(unsigned long pin, unsigned long duty) {
    return impl_->outputs.Write(pin, &PwmOutput::duty, duty);
}

int Ferrow_PWM_c::SetDutyDelay(unsigned long pin, unsigned long duty, unsigned long delay) {
    return impl_->outputs.With(pin, [&](PwmOutput& out) {
        out.duty = TargetWord(duty);
        out.delay = TargetWord(delay);
        return 0;
    });
}

int Ferrow_PWM_c::GetDuty(unsigned long pin, unsigned long* duty) {
    return impl_->outputs.Read(pin, &PwmOutput::duty, duty);
}

int Ferrow_PWM_c::SetPeriod(unsigned long pin, unsigned long period) {
    const auto hz = pwm::FrequencyFromPeriod(TargetWord(period));
    if (!hz) return -1;
    return impl_->outputs.Write(pin, &PwmOutput::frequency, *hz);
}

int Ferrow_PWM_c::GetPeriod(unsigned long pin, unsigned long* period) {
    return impl_->outputs.With(pin, [&](PwmOutput& out) {
        if (period == nullptr) return -1;
        *period = pwm::PeriodFromFrequency(out.frequency);
        return 0;
    });
}

int Ferrow_PWM_c::SetWidth(unsigned long pin, unsigned long width) {
    return impl_->outputs.With(pin, [&](PwmOutput& out) {
        const auto duty = pwm::DutyFromWidth(out.frequency, TargetWord(width));
        if (!duty) return -1;
        out.duty = *duty;
        return 0;
    });
}

int Ferrow_PWM_c::GetWidth(unsigned long pin, unsigned long* width) {
    return impl_->outputs.With(pin, [&](PwmOutput& out) {
        if (width == nullptr) return -1;
        *width = pwm::WidthFromDuty(out.frequency, out.duty);
        return 0;
    });
}

int Ferrow_PWM_c::Enable(unsigned long pin, int enable) {
    return impl_->outputs.Write(pin, &PwmOutput::enabled, enable);
}

int Ferrow_PWM_c::IsEnabled(unsigned long pin) {
    return impl_->outputs.With(pin, [](PwmOutput& out) { return int{out.enabled}; });
}

int Ferrow_PWM_c::SetName(unsigned long pin, const char* name) {
    return impl_->outputs.SetName(pin, name);
}

int Ferrow_PWM_c::GetName(unsigned long pin, char* name) {
    return impl_->outputs.GetName(pin, name);
}

void Ferrow_PWM_c::Start() { impl_->core.Start(); }
void Ferrow_PWM_c::Show() { impl_->core.Show(); }
void Ferrow_PWM_c::Hide() { impl_->core.Hide(); }
void Ferrow_PWM_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_PWM_c::IsVisible() { return impl_->core.IsVisible(); }
