// The factories: an emulator with its firmware functions and the peripherals
// of a bit mask, created in bit order.
#include <ferrow/FerrowFactory.h>

#include <ferrow/Ferrow_ADC_c.h>
#include <ferrow/Ferrow_EEPROM_c.h>
#include <ferrow/Ferrow_GPIO_c.h>
#include <ferrow/Ferrow_I2C_c.h>
#include <ferrow/Ferrow_ICAP_c.h>
#include <ferrow/Ferrow_N2K_Gen_c.h>
#include <ferrow/Ferrow_N2K_Mon_c.h>
#include <ferrow/Ferrow_OCMP_c.h>
#include <ferrow/Ferrow_PWM_c.h>
#include <ferrow/Ferrow_SPI_c.h>
#include <ferrow/Ferrow_Serial_c.h>
#include <ferrow/Ferrow_c.h>

namespace {

// The monitor's stores and the generator's queue, in messages.
constexpr unsigned long kMessageCapacity = 1024;

// Each peripheral registers itself in its slot; the objects belong to the
// firmware from here on.
void CreatePeripherals(Ferrow_c* emu, unsigned long mask, unsigned long eepromSize) {
    if (mask & FERROW_N2K_MON) new Ferrow_N2K_Mon_c(emu, 0, kMessageCapacity, 0);
    if (mask & FERROW_N2K_GEN) new Ferrow_N2K_Gen_c(emu, 0, kMessageCapacity, 0);
    if (mask & FERROW_SERIAL) new Ferrow_Serial_c(emu, 0, 0);
    if (mask & FERROW_ADC) new Ferrow_ADC_c(emu, 0, 0);
    if (mask & FERROW_GPIO) new Ferrow_GPIO_c(emu, 0, 0);
    if (mask & FERROW_EEPROM) new Ferrow_EEPROM_c(emu, 0, eepromSize, 0);
    if (mask & FERROW_PWM) new Ferrow_PWM_c(emu, 0, 0);
    if (mask & FERROW_SPI) new Ferrow_SPI_c(emu, 0, 0);
    if (mask & FERROW_I2C) new Ferrow_I2C_c(emu, 0, 0);
    if (mask & FERROW_ICAP) new Ferrow_ICAP_c(emu, 0, 0);
    if (mask & FERROW_OCMP) new Ferrow_OCMP_c(emu, 0, 0);
}

template <typename Main, typename Loop, typename Init>
Ferrow_c* Create(HWND parent, void* gatewayArg, const char* eepromFileName,
                 const char* configFileName, unsigned long mask, Main mainFn, Loop loopFn,
                 int pace, Init appInitFn, unsigned long eepromSize) {
    auto* emu = new Ferrow_c(parent, gatewayArg, eepromFileName, configFileName, 0);
    emu->SetDeviceFunction(mainFn, loopFn, pace);
    emu->SetAppInitFunction(appInitFn);
    CreatePeripherals(emu, mask, eepromSize);
    return emu;
}

}  // namespace

Ferrow_c* create_Ferrow(HWND parent, void* gatewayArg, const char* eepromFileName,
                        const char* configFileName, unsigned long, unsigned long peripheralMask,
                        void (*mainFn)(void), void (*loopFn)(void), int pace,
                        int (*appInitFn)(void), unsigned long eepromSize) {
    return Create(parent, gatewayArg, eepromFileName, configFileName, peripheralMask, mainFn,
                  loopFn, pace, appInitFn, eepromSize);
}

Ferrow_c* create_Ferrow_pObj(HWND parent, void* gatewayArg, const char* eepromFileName,
                             const char* configFileName, unsigned long,
                             unsigned long peripheralMask, void (*mainFn)(void*),
                             void (*loopFn)(void*), int pace, int (*appInitFn)(void*),
                             unsigned long eepromSize) {
    return Create(parent, gatewayArg, eepromFileName, configFileName, peripheralMask, mainFn,
                  loopFn, pace, appInitFn, eepromSize);
}
