// A firmware with its panels: a potentiometer on an ADC channel sets the duty
// of a PWM output, a pin lights when the value passes half scale, and the
// periodic interrupt stamps an input-capture pin. Move the ADC slider and
// watch the others follow. Without a display the same firmware runs headless
// until Ctrl-C.
#include <ferrow/ferrow.h>
#include <ferrow/panels/FerrowHost.h>

#include <cstdio>

namespace {

constexpr unsigned long kLedPin = 5;
constexpr unsigned long kPwmPin = 9;
constexpr unsigned long kCapturePin = 2;
constexpr long kPotMax = 1023;
// The PWM duty is in thousandths of a per cent: 100000 is 100 %.
constexpr long kFullDuty = 100000;

struct Device {
    Ferrow_c* emu;
    Ferrow_ADC_c* adc;
    Ferrow_GPIO_c* gpio;
    Ferrow_PWM_c* pwm;
    Ferrow_ICAP_c* icap;
    int pot;
    int capture;
};

Device* g_device = nullptr;

void DeviceMain(void* obj, int, char**) {
    auto* emu = static_cast<Ferrow_c*>(obj);
    emu->t_init(1, 100);
    emu->t_interrupt_set([](void* emulator) {
        g_device->icap->QPut(g_device->capture, static_cast<Ferrow_c*>(emulator)->t_get_1ms());
    });
}

void DeviceLoop(void*) {
    Device& d = *g_device;
    long value = 0;
    if (d.adc->GetValue(d.pot, &value) != 0) return;
    d.pwm->SetDuty(kPwmPin, static_cast<unsigned long>(value * kFullDuty / kPotMax));
    d.gpio->SetValReg(kLedPin, value > kPotMax / 2 ? 1 : 0);
}

}  // namespace

int main(int argc, char** argv) {
    FerrowHost host(argc, argv, "Ferrow panels demo");
    Ferrow_c emu(host.Window(), nullptr, nullptr, nullptr, 0);

    Ferrow_ADC_c adc(&emu, 0, 0);
    Ferrow_GPIO_c gpio(&emu, 0, 0);
    Ferrow_PWM_c pwm(&emu, 0, 0);
    Ferrow_ICAP_c icap(&emu, 0, 0);
    Device device{&emu, &adc, &gpio, &pwm, &icap, 0, 0};
    g_device = &device;

    const int group = adc.AddChannel(1, 10, 16, 1, 0);
    adc.SetConfig(group, 0, kPotMax, 0);
    adc.SetName(group, 0, "POT");
    device.pot = adc.GetTotalChannel(-1) - 1;
    gpio.AddPin(kLedPin);
    gpio.SetDir(kLedPin, 1);
    gpio.SetName(kLedPin, "LED");
    pwm.AddPin(kPwmPin, 0);
    pwm.SetFreq(kPwmPin, 1000);
    device.capture = icap.AddPin(kCapturePin, 0, 16, 64);

    // The demo needs no network. Set after the panels are made: they load
    // the configuration file again, AUTO_CONN with it.
    emu.SetAutoConnect(0);
    emu.SetDeviceFunction(DeviceMain, DeviceLoop, 20);
    emu.Start(argc, argv);
    icap.Start();
    // The other panels open from the host window's list.
    adc.Show();
    std::printf(host.Window() ? "close the host window to stop\n"
                              : "no display: running headless; Ctrl-C to stop\n");
    // Seen at once also through a pipe.
    std::fflush(stdout);

    const int result = host.Run();
    // The loop and the interrupt use the peripherals, which go first.
    emu.Stop();
    emu.t_disable_int();
    return result;
}
