// An emulator whose configuration file lives in a directory of its own.
#pragma once

#include "tests/support/TempDir.h"

#include <ferrow/Ferrow_c.h>

#include <memory>

namespace ferrow::test {

struct TestEmulator {
    explicit TestEmulator(void* gatewayArg = nullptr, unsigned long flags = 0,
                          const char* eepromName = nullptr)
        : config(dir.File("Ferrow.cfg")),
          emu(std::make_unique<Ferrow_c>(nullptr, gatewayArg, eepromName, config.c_str(), flags)) {}

    Ferrow_c* operator->() { return emu.get(); }
    Ferrow_c& operator*() { return *emu; }

    TempDir dir;
    std::string config;
    std::unique_ptr<Ferrow_c> emu;
};

}  // namespace ferrow::test
