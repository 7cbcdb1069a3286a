// An emulator for the worker and timer benchmarks: its configuration file in
// a folder of its own under the temporary directory, and no connection at
// Start, so that only the worker and the timer are measured.
#pragma once

#include <ferrow/Ferrow_c.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

inline std::unique_ptr<Ferrow_c> BenchEmulator(const std::string& name) {
    const auto dir = std::filesystem::temp_directory_path() / ("ferrow_bench_" + name);
    std::filesystem::create_directories(dir);
    const std::string cfg = (dir / "Ferrow.cfg").string();
    auto emu = std::make_unique<Ferrow_c>(nullptr, nullptr, nullptr, cfg.c_str(), 0);
    emu->SetAutoConnect(0);
    return emu;
}

inline double SecondsBetween(std::chrono::steady_clock::time_point from,
                             std::chrono::steady_clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}
