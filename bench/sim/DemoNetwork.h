// Demo devices freshly flashed onto one bus, as a user builds a network of
// them in one process: each with an EEPROM file of its own that starts empty,
// so every device starts at the same address with a unique number of its
// own, scattered as drawn numbers are (so that the places devices move to
// collide as they would), and the address-claim fight is the same every run. On their own
// worker threads in real time, or all in one simulation's virtual time.
#pragma once

#include "../BenchEmulator.h"

#include "MonitorDevice.h"
#include "N2kPgn.h"

#include <ferrow/Ferrow_c.h>
#include <ferrow/Ferrow_Sim_c.h>
#include <ferrow/N2KMsg.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

class DemoNetwork {
public:
    // `port`: every device's GW_PORT_NAME. `simulation`: null for real time.
    // Files go to a folder named after `name` and this process, removed at
    // the end.
    DemoNetwork(const std::string& name, int count, const std::string& port,
                Ferrow_Sim_c* simulation = nullptr)
        : folder_(BenchFolder(name + "_" + std::to_string(::getpid()))) {
        std::error_code ignored;
        for (int i = 0; i < count; ++i) {
            const std::string stem = (folder_ / ("device" + std::to_string(i))).string();
            const std::string eeprom = stem + ".hex", config = stem + ".cfg";
            std::filesystem::remove(eeprom, ignored);
            std::ofstream(config) << "GW_PORT_NAME=\"" << port << "\"\nEEPROM_NAME=\"" << eeprom
                                  << "\"\nAUTO_CONN=1\n";
            MonitorOptions options;
            options.eepromFile = eeprom.c_str();
            options.configFile = config.c_str();
            options.simulation = simulation;
            devices_.push_back(std::make_unique<MonitorDevice>(options));
            sent_.push_back(std::make_unique<std::atomic<uint64_t>>(0));
            devices_.back()->Emulator()->AddPutMsgMonitor(sent_.back().get(), &Count);
        }
    }

    // The devices go first: their workers count what they send.
    ~DemoNetwork() {
        devices_.clear();
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    DemoNetwork(const DemoNetwork&) = delete;
    DemoNetwork& operator=(const DemoNetwork&) = delete;

    // Each device's Start with a unique number of its own: in real time its
    // worker starts; in a simulation it joins, for the simulation's Start.
    // False when one refused.
    bool Start() {
        bool ok = true;
        for (std::size_t i = 0; i < devices_.size(); ++i) {
            // An odd multiplier scatters the numbers over the 21 bits a NAME has.
            const uint32_t number = 1 + static_cast<uint32_t>((i + 1) * 0x9E3779B1u % 2097151u);
            std::string program = "bench", flag = "--unique", unique = std::to_string(number);
            char* argv[] = {program.data(), flag.data(), unique.data(), nullptr};
            if (devices_[i]->Start(3, argv) != 0) ok = false;
        }
        return ok;
    }

    std::size_t Size() const { return devices_.size(); }
    MonitorDevice& Device(std::size_t i) { return *devices_[i]; }

    // Messages the devices have put on the bus.
    uint64_t Sent() const {
        uint64_t sent = 0;
        for (const auto& count : sent_) sent += count->load(std::memory_order_relaxed);
        return sent;
    }

    // Every device holds an address, sends its traffic from it, and no two
    // hold the same one.
    bool Settled() const {
        for (const auto& device : devices_) {
            if (!device->Settled()) return false;
        }
        const auto addresses = Addresses();
        return addresses.size() == devices_.size() && !addresses.count(monitor::pgn::kNullAddress);
    }

    // Addresses held by more than one device.
    int Duplicates() const {
        int duplicates = 0;
        for (const auto& [address, holders] : Addresses()) {
            if (address != monitor::pgn::kNullAddress && holders > 1) ++duplicates;
        }
        return duplicates;
    }

    int WithoutAddress() const {
        const auto addresses = Addresses();
        const auto none = addresses.find(monitor::pgn::kNullAddress);
        return none == addresses.end() ? 0 : none->second;
    }

private:
    static int Count(void* sent, N2KMsg*) {
        static_cast<std::atomic<uint64_t>*>(sent)->fetch_add(1, std::memory_order_relaxed);
        return 0;
    }

    // Each address held, with how many devices hold it.
    std::map<uint8_t, int> Addresses() const {
        std::map<uint8_t, int> holders;
        for (const auto& device : devices_) ++holders[device->SourceAddress()];
        return holders;
    }

    std::filesystem::path folder_;
    std::vector<std::unique_ptr<MonitorDevice>> devices_;
    // Messages each device has put, counted on its worker.
    std::vector<std::unique_ptr<std::atomic<uint64_t>>> sent_;
};
