// An emulator whose configuration file lives in a directory of its own,
// optionally written beforehand (for example to choose its network).
#pragma once

#include "tests/support/TempDir.h"

#include <ferrow/Ferrow_c.h>

#include <memory>
#include <string>

namespace ferrow::test {

#ifdef _WIN32
// There the default port name, COM5, is a serial port: tests stay on the
// virtual bus, which is the default elsewhere.
inline const std::string kTestNetwork = "GW_PORT_NAME=\"vbus\"\n";
#else
inline const std::string kTestNetwork;
#endif

struct TestEmulator {
    explicit TestEmulator(void* gatewayArg = nullptr, unsigned long flags = 0,
                          const char* eepromName = nullptr,
                          const std::string& configText = kTestNetwork)
        : config(dir.File("Ferrow.cfg")) {
        if (!configText.empty()) TempDir::Write(config, configText);
        emu = std::make_unique<Ferrow_c>(nullptr, gatewayArg, eepromName, config.c_str(), flags);
    }

    // An emulator on the virtual bus of that name, connecting at Start.
    static std::unique_ptr<TestEmulator> OnBus(const std::string& bus) {
        return std::make_unique<TestEmulator>(nullptr, 0, nullptr,
                                              "GW_PORT_NAME=\"" + bus + "\"\n");
    }

    Ferrow_c* operator->() { return emu.get(); }
    Ferrow_c& operator*() { return *emu; }

    TempDir dir;
    std::string config;
    std::unique_ptr<Ferrow_c> emu;
};

}  // namespace ferrow::test
