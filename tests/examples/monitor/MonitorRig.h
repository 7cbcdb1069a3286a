// One demo device on a network of its own, driven as its developer drives it:
// its files in a fresh directory, manual time in 10 ms interrupts, the bench
// around it, its serial console read line by line and, on a virtual bus, a
// plain emulator as a second node that hears (with the time) what it sends.
#pragma once

#include "Bench.h"
#include "MonitorBoard.h"
#include "MonitorDevice.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/ferrow.h>

#include <gtest/gtest.h>

#include <unistd.h>

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
    unsigned long ms;  // the device's time when it went out
};

class MonitorRig {
public:
    // `network`: empty for a virtual bus of its own; `bus` shares one.
    explicit MonitorRig(const std::string& network = "", const std::string& logFile = "")
        : network_(network.empty() ? UniqueBus() : network) {
        std::string text =
            "GW_PORT_NAME=\"" + network_ + "\"\nEEPROM_NAME=\"" + Eeprom() + "\"\nAUTO_CONN=1\n";
        if (!logFile.empty()) text += "GW_LOG_FILE=\"" + logFile + "\"\n";
        TempDir::Write(dir.File("Ferrow.cfg"), text);
        if (network_.rfind("vbus", 0) == 0) {
            node_ = TestEmulator::OnBus(network_);
            EXPECT_EQ((*node_)->Connect(), 0);
        }
    }
    ~MonitorRig() { Shutdown(); }

    static std::string UniqueBus() {
        static std::atomic<unsigned> counter{0};
        return "vbus:monitor_" + std::to_string(::getpid()) + "_" + std::to_string(counter++);
    }
    const std::string& Network() const { return network_; }
    std::string Eeprom() const { return dir.File("Ferrow.hex"); }

    // Builds and starts a device on the rig's files; `prepare` runs before Start.
    void Boot(int pace = 0, bool manualTime = true,
              const std::function<void(Ferrow_c&)>& prepare = {}) {
        MonitorOptions options;
        eepromName_ = Eeprom();
        configName_ = dir.File("Ferrow.cfg");
        options.eepromFile = eepromName_.c_str();
        options.configFile = configName_.c_str();
        options.pace = pace;
        device = std::make_unique<MonitorDevice>(options);
        if (manualTime) Emu()->t_set_overwrite(1);
        if (prepare) prepare(*Emu());
        std::vector<std::string> words = {"ferrow_monitor_tests"};
        words.insert(words.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        EXPECT_EQ(device->Start(int(words.size()), argv.data()), 0);
        bench = std::make_unique<Bench>(*device);
        now_ = 0;
        Collect();
    }
    // Boots in manual time on calm readings and runs `ms`.
    void Start(unsigned long ms = 0, const std::function<void(Ferrow_c&)>& prepare = {}) {
        Boot(0, true, prepare);
        Calm();
        Step(ms);
    }
    void Shutdown() {
        bench.reset();
        device.reset();
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

    void Step(unsigned long ms) {
        for (unsigned long t = 0; t < ms; t += 10) {
            Emu()->t_interrupt_exec(10);
            now_ += 10;
            device->Loop();
            bench->Step();
            Collect();
        }
    }
    unsigned long Now() const { return now_; }

    // Steps until a message of `pgn` arrives; none after `limit` ms.
    std::optional<Heard> Next(uint32_t pgn, unsigned long limit = 2000) {
        for (unsigned long t = 0; t < limit; t += 10) {
            const std::size_t from = heard.size();
            Step(10);
            for (std::size_t i = from; i < heard.size(); ++i) {
                if (heard[i].msg.pgn == pgn) return heard[i];
            }
        }
        return std::nullopt;
    }

    // The messages of `pgn` sent in the `ms` after `act`.
    std::vector<Heard> Answers(uint32_t pgn, const std::function<void()>& act,
                               unsigned long ms = 30) {
        const unsigned long from = now_ + 10;
        act();
        Step(ms);
        return Of(pgn, from);
    }

    // What the node heard and the console printed since the last call.
    void Collect() {
        if (node_) {
            N2KMsg msg{};
            while ((*node_)->GetMsg(&msg) == N2K_OK) heard.push_back({msg, now_});
        }
        if (device) {
            char line[512];
            while (Emu()->serial->GetTXDataLine(line, sizeof line) > 0) {
                std::string text(line);
                text.erase(text.find_last_not_of("\r\n") + 1);  // npos + 1: all of it
                if (!text.empty()) console.push_back(text);
            }
        }
    }

    void Type(const std::string& text) {
        EXPECT_EQ(Emu()->serial->PutRX(reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size())),
                  static_cast<int>(text.size()));
    }
    bool Printed(const std::string& line) const {
        return std::find(console.begin(), console.end(), line) != console.end();
    }

    void Send(N2KMsg msg) { EXPECT_EQ((*node_)->PutMsg(&msg), N2K_OK); }

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

    // The settings record (the EEPROM's first ten bytes), written first when `image` is given,
    // seen through an EEPROM object of its own.
    std::vector<uint8_t> Record(std::vector<uint8_t> image = {}) const {
        const std::string config = dir.File("eeprom-tool.cfg");
        TempDir::Write(config, "EEPROM_NAME=\"" + Eeprom() + "\"\nAUTO_CONN=0\n");
        Ferrow_c emu(nullptr, nullptr, Eeprom().c_str(), config.c_str(), 0);
        Ferrow_EEPROM_c eeprom(&emu, 0, 256, 1);
        if (!image.empty()) eeprom.WN(0, image.data(), static_cast<unsigned short>(image.size()));
        image.resize(10);
        eeprom.RN(0, image.data(), 10);
        return image;
    }

    TempDir dir;
    // The command line after the program's name at the next Boot.
    std::vector<std::string> args = {"--unique", std::to_string(kUnique)};
    std::unique_ptr<MonitorDevice> device;
    std::unique_ptr<Bench> bench;
    std::vector<Heard> heard;
    std::vector<std::string> console;

private:
    std::string network_;
    std::string eepromName_;
    std::string configName_;
    std::unique_ptr<TestEmulator> node_;
    unsigned long now_ = 0;
};

// A 130316 from that temperature source.
inline Match TemperatureFrom(int source) {
    return [source](const N2KMsg& msg) { return msg.data[2] == source; };
}

}  // namespace monitor_test
