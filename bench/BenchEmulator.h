// An emulator for a benchmark: its files in a folder of its own under the
// temporary directory, its configuration written afresh, and no connection
// at Start, so that only what the benchmark drives is measured.
#pragma once

#include <ferrow/Ferrow_c.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

inline std::filesystem::path BenchFolder(const std::string& name) {
    const auto dir = std::filesystem::temp_directory_path() / ("ferrow_bench_" + name);
    std::filesystem::create_directories(dir);
    return dir;
}

// `config`: the lines of its Ferrow.cfg; `eeprom`: its image file, or null
// for the default.
inline std::unique_ptr<Ferrow_c> BenchEmulator(const std::string& name,
                                               const std::string& config = "",
                                               const char* eeprom = nullptr) {
    const std::string cfg = (BenchFolder(name) / "Ferrow.cfg").string();
    std::ofstream(cfg) << config;
    auto emu = std::make_unique<Ferrow_c>(nullptr, nullptr, eeprom, cfg.c_str(), 0);
    emu->SetAutoConnect(0);
    return emu;
}

inline double SecondsBetween(std::chrono::steady_clock::time_point from,
                             std::chrono::steady_clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}
