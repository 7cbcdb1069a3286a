// Demo devices on a network of their own, in virtual time: each with its
// files in a fresh directory, its bench and its serial console read line by
// line, all in one simulation; on the bus a plain emulator in the same
// simulation is the tool that hears (at the instant they were sent) the
// messages and sends its own.
#pragma once

#include "Bench.h"
#include "MonitorBoard.h"
#include "MonitorDevice.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/ferrow.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace monitor_test {

using ferrow::test::TempDir;
using ferrow::test::TestEmulator;
using Match = std::function<bool(const N2KMsg&)>;

constexpr int kPace = 5;  // the demo's loop pace, ms
constexpr uint8_t kGlobal = 255;
constexpr uint8_t kDefaultAddress = 35;
constexpr uint8_t kCannotClaim = 254;
constexpr uint8_t kTool = 0x50;  // the node that requests and commands in these tests
constexpr uint32_t kUnique = 4660;  // the NAME's unique number the rig gives on the command line
constexpr uint32_t kUniqueMask = 0x1FFFFF;
constexpr uint32_t kClaimPgn = 60928;
constexpr uint32_t kIsoRequestPgn = 59904;
constexpr uint32_t kIsoAckPgn = 59392;
constexpr uint32_t kGroupFunctionPgn = 126208;
constexpr uint32_t kPgnListPgn = 126464;
constexpr uint32_t kProductInfoPgn = 126996;
constexpr uint32_t kHeartbeatPgn = 126993;
constexpr uint32_t kTemperaturePgn = 130316;
constexpr uint32_t kBatteryPgn = 127508;
constexpr uint32_t kEnginePgn = 127488;
// 130316 temperature sources.
constexpr int kSourceSea = 0;
constexpr int kSourceInside = 2;
constexpr int kSourceEngineRoom = 3;

// ADC counts that convert to exact tenths (273 counts are 11 degrees C).
constexpr long kCounts26C = 1638;
constexpr long kCounts15C = 1365;
constexpr long kCounts12V6 = 2520;

// Little-endian unsigned field of `bytes` bytes at `at`.
inline uint64_t Le(const N2KMsg& msg, int at, int bytes) {
    uint64_t value = 0;
    for (int i = bytes - 1; i >= 0; --i) value = value << 8 | msg.data[at + i];
    return value;
}

// A message as another node sends it (transport 1 single frame, 2 fast packet).
inline N2KMsg Message(uint32_t pgn, uint8_t priority, uint8_t from, uint8_t to, uint8_t transport,
                      const std::vector<uint8_t>& data) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = priority;
    msg.addressA = from;
    msg.addressB = to;
    msg.transport = transport;
    msg.length = uint16_t(data.size());
    std::copy(data.begin(), data.end(), msg.data);
    return msg;
}

inline N2KMsg Claim(uint8_t address, uint64_t name) {
    std::vector<uint8_t> bytes;
    for (int i = 0; i < 8; ++i) bytes.push_back(uint8_t(name >> (8 * i)));
    return Message(kClaimPgn, 6, address, kGlobal, 1, bytes);
}

// A settings record: its bytes and the checksum that makes them all sum to 0.
inline std::vector<uint8_t> Sealed(std::vector<uint8_t> bytes) {
    unsigned sum = 0;
    for (uint8_t b : bytes) sum += b;
    bytes.push_back(uint8_t(0x100 - (sum & 0xFF)));
    return bytes;
}
inline std::vector<uint8_t> Settings(int address, int instance, int backlight,
                                     uint32_t unique = kUnique) {
    return Sealed({'F', 'M', 2, uint8_t(address), uint8_t(instance), uint8_t(backlight),
                   uint8_t(unique), uint8_t(unique >> 8), uint8_t(unique >> 16)});
}
// The unique number a record holds.
inline uint32_t UniqueIn(const std::vector<uint8_t>& record) {
    return record.size() < 9 ? 0 : record[6] | record[7] << 8 | record[8] << 16;
}

struct Heard {
    N2KMsg msg;
    unsigned long ms;  // the virtual instant it went out
};

// One demo device: its files, its command line, and while booted the device,
// its bench and what its console printed.
class Unit {
public:
    Unit(const std::string& network, const std::string& logFile)
        : eeprom_(dir.File("Ferrow.hex")), config_(dir.File("Ferrow.cfg")) {
        std::string text =
            "GW_PORT_NAME=\"" + network + "\"\nEEPROM_NAME=\"" + eeprom_ + "\"\nAUTO_CONN=1\n";
        if (!logFile.empty()) text += "GW_LOG_FILE=\"" + logFile + "\"\n";
        TempDir::Write(config_, text);
    }

    // Builds the device and starts it: in `sim`, which then starts it, or
    // without one on threads of its own.
    void Build(Ferrow_Sim_c* sim, const std::function<void(Unit&)>& prepare) {
        console.clear();
        MonitorOptions options;
        options.eepromFile = eeprom_.c_str();
        options.configFile = config_.c_str();
        options.pace = kPace;
        options.simulation = sim;
        device = std::make_unique<MonitorDevice>(options);
        if (prepare) prepare(*this);
        std::vector<std::string> words = {"ferrow_monitor_tests"};
        words.insert(words.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        EXPECT_EQ(device->Start(int(words.size()), argv.data()), 0);
    }
    Ferrow_c* Emu() const { return device->Emulator(); }

    void SetInputs(long engineRoom, long sea, long battery, long cabin, long rpm) {
        SetAdc(monitor::kAdcEngineRoom, engineRoom);
        SetAdc(monitor::kAdcSea, sea);
        SetAdc(monitor::kAdcBattery, battery);
        SetAdc(monitor::kAdcBenchCabin, cabin);
        SetAdc(monitor::kAdcBenchRpm, rpm);
    }
    // Ordinary readings: nothing alarming, every value exact in tenths.
    void Calm() { SetInputs(kCounts26C, kCounts15C, kCounts12V6, 215, 1500); }
    void SetAdc(int id, long value) { EXPECT_EQ(Emu()->adc->SetValue(id, value), 0) << id; }

    // The backlight's duty in 0.001 %.
    unsigned long Backlight() const {
        unsigned long duty = 1;
        EXPECT_EQ(Emu()->pwm->GetDuty(monitor::kPinBacklight, &duty), 0);
        return duty;
    }
    int Led() const {
        int led = -1;
        EXPECT_EQ(Emu()->gpio->GetValPin(monitor::kPinLed, &led), 0);
        return led;
    }

    void Type(const std::string& text) {
        EXPECT_EQ(Emu()->serial->PutRX(reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size())),
                  static_cast<int>(text.size()));
    }
    void CollectConsole() {
        char line[512];
        while (device && Emu()->serial->GetTXDataLine(line, sizeof line) > 0) {
            std::string text(line);
            text.erase(text.find_last_not_of("\r\n") + 1);  // npos + 1: all of it
            if (!text.empty()) console.push_back(text);
        }
    }
    bool Printed(const std::string& line) const {
        return std::find(console.begin(), console.end(), line) != console.end();
    }

    // The settings record (the EEPROM's first ten bytes), written first when `image` is given,
    // seen through an EEPROM object of its own.
    std::vector<uint8_t> Record(std::vector<uint8_t> image = {}) const {
        const std::string config = dir.File("eeprom-tool.cfg");
        TempDir::Write(config, "EEPROM_NAME=\"" + eeprom_ + "\"\nAUTO_CONN=0\n");
        Ferrow_c emu(nullptr, nullptr, eeprom_.c_str(), config.c_str(), 0);
        Ferrow_EEPROM_c eeprom(&emu, 0, 256, 1);
        if (!image.empty()) eeprom.WN(0, image.data(), static_cast<unsigned short>(image.size()));
        image.resize(10);
        eeprom.RN(0, image.data(), 10);
        return image;
    }

    TempDir dir;
    // The command line after the program's name at the next boot.
    std::vector<std::string> args = {"--unique", std::to_string(kUnique)};
    std::unique_ptr<MonitorDevice> device;
    std::unique_ptr<Bench> bench;
    std::vector<std::string> console;

private:
    const std::string eeprom_;
    const std::string config_;
};

class MonitorRig {
public:
    // `devices` units on a virtual bus of their own, with `canBus` a CAN bus;
    // with `logFile` the first records its traffic there.
    explicit MonitorRig(std::size_t devices = 1, const std::string& logFile = "",
                        bool canBus = false)
        : network_("vbus:monitor_" + std::to_string(ferrow::test::ProcessId()) + "_" +
                   std::to_string(buses_++) + (canBus ? ":can" : "")),
          // Connected by the simulation it joins, so that it keeps its time,
          // as a CAN bus requires of every member.
          node_(std::make_unique<TestEmulator>(
              nullptr, 0, nullptr, "GW_PORT_NAME=\"" + network_ + "\"\nAUTO_CONN=1\n")) {
        for (std::size_t i = 0; i < devices; ++i) {
            units_.push_back(std::make_unique<Unit>(network_, i == 0 ? logFile : ""));
        }
    }
    ~MonitorRig() { Shutdown(); }

    Unit& operator[](std::size_t i) { return *units_[i]; }
    std::size_t Size() const { return units_.size(); }

    // Every unit in a new simulation at virtual time 0, the benches stepped
    // after every instant; `prepare` runs on each before Start.
    void Boot(const std::function<void(Unit&)>& prepare = {}) {
        Shutdown();
        heard.clear();
        sim_ = std::make_unique<Ferrow_Sim_c>();
        EXPECT_EQ(sim_->Add(node_->emu.get()), 0);
        for (auto& unit : units_) unit->Build(sim_.get(), prepare);
        sim_->SetStepFunction(&StepEntry, this);
        EXPECT_EQ(sim_->Start(0, nullptr), 0);
        for (auto& unit : units_) unit->bench = std::make_unique<Bench>(*unit->device);
        Collect();
    }
    // Boots on calm readings and runs `ms`.
    void Start(unsigned long ms = 0, const std::function<void(Unit&)>& prepare = {}) {
        Boot(prepare);
        for (auto& unit : units_) unit->Calm();
        Run(ms);
    }
    // Every unit in real time, on its emulator's worker and timer; the caller
    // steps the benches.
    void BootOnThreads() {
        Shutdown();
        EXPECT_EQ((*node_)->Connect(), 0);
        for (auto& unit : units_) {
            unit->Build(nullptr, {});
            unit->bench = std::make_unique<Bench>(*unit->device);
        }
    }
    void Shutdown() {
        for (auto& unit : units_) unit->bench.reset();
        sim_.reset();
        for (auto& unit : units_) unit->device.reset();
    }

    void Run(unsigned long ms) {
        EXPECT_EQ(sim_->Run(ms), 0);
        Collect();
    }
    // Runs until `done`, checked after every instant; false when it still
    // fails `limit` ms on.
    bool RunUntil(std::function<bool()> done, unsigned long limit) {
        const auto check = [](void* arg) {
            return (*static_cast<std::function<bool()>*>(arg))() ? 1 : 0;
        };
        const bool held = sim_->RunUntil(check, &done, limit) == 0;
        Collect();
        return held;
    }
    unsigned long Now() const { return sim_ ? sim_->Now() : 0; }

    // Runs until a message of `pgn` arrives; none after `limit` ms.
    std::optional<Heard> Next(uint32_t pgn, unsigned long limit = 2000) {
        std::size_t from = heard.size();
        std::optional<Heard> found;
        RunUntil(
            [&] {
                for (; !found && from < heard.size(); ++from) {
                    if (heard[from].msg.pgn == pgn) found = heard[from];
                }
                return found.has_value();
            },
            limit);
        return found;
    }

    // The messages of `pgn` sent in the `ms` after `act`.
    std::vector<Heard> Answers(uint32_t pgn, const std::function<void()>& act,
                               unsigned long ms = 30) {
        const unsigned long from = Now() + 1;
        act();
        Run(ms);
        return Of(pgn, from);
    }

    // What the tool heard and the consoles printed since the last call.
    void Collect() {
        Hear(Now());
        for (auto& unit : units_) unit->CollectConsole();
    }

    void Send(N2KMsg msg) { EXPECT_EQ(Offer(msg), N2K_OK); }
    // The status too: a CAN bus's queue may be full.
    N2KStatus Offer(N2KMsg msg) { return (*node_)->PutMsg(&msg); }

    // Messages heard of `pgn` from `since` on that `match` (if given) accepts.
    std::vector<Heard> Of(uint32_t pgn, unsigned long since = 0, const Match& match = {}) const {
        std::vector<Heard> found;
        for (const Heard& h : heard) {
            if (h.msg.pgn == pgn && h.ms >= since && (!match || match(h.msg))) found.push_back(h);
        }
        return found;
    }
    // The newest such message; fails the test when there is none.
    N2KMsg Last(uint32_t pgn, unsigned long since = 0, const Match& match = {}) const {
        const std::vector<Heard> found = Of(pgn, since, match);
        EXPECT_FALSE(found.empty()) << "no " << pgn << " heard since " << since << " ms";
        return found.empty() ? N2KMsg{} : found.back().msg;
    }

    std::vector<Heard> heard;
    // Given, takes every message heard in place of `heard`.
    std::function<void(const Heard&)> hear;

private:
    static void StepEntry(void* rig, unsigned long nowMs) {
        static_cast<MonitorRig*>(rig)->Step(nowMs);
    }
    void Step(unsigned long nowMs) {
        for (auto& unit : units_) unit->bench->Step();
        Hear(nowMs);
    }
    void Hear(unsigned long nowMs) {
        Heard h{};
        while ((*node_)->GetMsg(&h.msg) == N2K_OK) {
            h.ms = nowMs;
            if (hear) {
                hear(h);
            } else {
                heard.push_back(h);
            }
        }
    }

    static inline std::atomic<unsigned> buses_{0};
    std::string network_;
    std::unique_ptr<TestEmulator> node_;
    std::vector<std::unique_ptr<Unit>> units_;
    std::unique_ptr<Ferrow_Sim_c> sim_;
};

// A 130316 from that temperature source.
inline Match TemperatureFrom(int source) {
    return [source](const N2KMsg& msg) { return msg.data[2] == source; };
}

}  // namespace monitor_test
