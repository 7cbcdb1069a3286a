// One call that builds an emulator, registers the firmware's functions and
// creates the peripherals a bit mask selects, each with its panel. The
// factory keeps nothing: the emulator's slots hold the first peripheral of
// each kind, and the peripherals belong to the firmware, which deletes them
// (through the slots) before or after the emulator.
#pragma once

#include <ferrow/CWnd.h>
#include <ferrow/FerrowApi.h>

class Ferrow_c;

// Peripherals, created in this order.
constexpr unsigned long FERROW_N2K_MON = 0x1;
constexpr unsigned long FERROW_N2K_GEN = 0x2;
constexpr unsigned long FERROW_SERIAL = 0x4;
constexpr unsigned long FERROW_ADC = 0x8;
constexpr unsigned long FERROW_GPIO = 0x10;
constexpr unsigned long FERROW_EEPROM = 0x20;
constexpr unsigned long FERROW_PWM = 0x40;
constexpr unsigned long FERROW_SPI = 0x80;
constexpr unsigned long FERROW_I2C = 0x100;
constexpr unsigned long FERROW_ICAP = 0x200;
// Created unregistered when FERROW_ICAP is set too: the input-capture slot is
// taken, so only the firmware's own pointer reaches it (it has none here).
constexpr unsigned long FERROW_OCMP = 0x400;

// `flags` is ignored: a factory's emulator always keeps its settings in
// CFG_File. A pace of 0 or below leaves the loop unregistered; a null
// appInitFn is not registered.
FERROW_API Ferrow_c* create_Ferrow(HWND parent, void* gatewayArg, const char* eepromFileName,
                                   const char* configFileName, unsigned long flags,
                                   unsigned long peripheralMask, void (*mainFn)(void),
                                   void (*loopFn)(void), int pace, int (*appInitFn)(void),
                                   unsigned long eepromSize);
FERROW_API Ferrow_c* create_Ferrow_pObj(HWND parent, void* gatewayArg, const char* eepromFileName,
                                        const char* configFileName, unsigned long flags,
                                        unsigned long peripheralMask, void (*mainFn)(void*),
                                        void (*loopFn)(void*), int pace,
                                        int (*appInitFn)(void*), unsigned long eepromSize);
