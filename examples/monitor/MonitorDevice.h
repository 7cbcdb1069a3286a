// The firmware of the temperature-and-battery monitor: an NMEA 2000 node
// that claims an address, reports two ADC temperatures, an I2C cabin
// temperature, the battery voltage and the engine speed, answers requests
// and group functions, and keeps its settings in EEPROM. Every timing comes
// from the emulator's time base and periodic interrupt, so time advanced by
// hand drives it completely. Any number of devices may live in one process,
// on their own threads or in one simulation's virtual time.
#pragma once

#include "AddressClaim.h"
#include "Console.h"
#include "Periodic.h"
#include "Sensors.h"
#include "Settings.h"

#include <ferrow/CWnd.h>
#include <ferrow/N2KStatus.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

class Ferrow_c;
class Ferrow_Sim_c;
struct N2KMsg;

struct MonitorOptions {
    HWND parent = nullptr;             // the host window, or null
    const char* eepromFile = nullptr;  // null: "Ferrow.hex" in the current directory
    const char* configFile = nullptr;  // null: "Ferrow.cfg"
    int pace = 5;                      // loop pace in ms; 0: no worker loop, the caller runs Loop()
    // Given, Start joins the device to this simulation, whose Start then
    // starts it; the pace must then be above 0.
    Ferrow_Sim_c* simulation = nullptr;
};

class MonitorDevice {
public:
    // The emulator with every peripheral but output compare.
    explicit MonitorDevice(const MonitorOptions& options);
    // Stops, silences the interrupt, deletes the peripherals, then the emulator.
    ~MonitorDevice();
    MonitorDevice(const MonitorDevice&) = delete;
    MonitorDevice& operator=(const MonitorDevice&) = delete;

    Ferrow_c* Emulator() const { return emu_; }
    // Runs the firmware's main, connects and claims an address. Of the
    // arguments it takes `--unique N` (or `--unique=N`): the NAME's unique
    // number, 1 to 2097151, stored as from the console; it ignores the rest.
    // In a simulation: 0 when it joined, -1 when the simulation refused it.
    int Start(int argc, char** argv);
    int Stop();
    // One pass of the firmware's main loop.
    void Loop();

    // The claimed address, 254 while there is none.
    unsigned char SourceAddress() const { return address_.load(); }
    // The address is held and the scheduled traffic has started from it;
    // false again while a new one is claimed. From any thread.
    bool Settled() const { return trafficStarted_.load(std::memory_order_relaxed); }
    // Passes of the main loop so far, from any thread: cheap enough to poll.
    uint64_t LoopCount() const { return loops_.load(std::memory_order_relaxed); }
    unsigned char Instance() const { return instance_.load(); }

private:
    static Ferrow_c* Create(const MonitorOptions& options);
    static void MainEntry(void* emu);
    static void LoopEntry(void* emu);
    static int AppInitEntry(void* emu);
    static void TickEntry(void* emu);

    void TakeArguments(int argc, char** argv);
    void Main();
    int AppInit();
    // The periodic interrupt: samples inputs and debounces the button.
    void Tick();

    void ServiceButton();
    void ServiceAlarm();
    void Receive(uint32_t nowMs);
    void OnAddressClaim(const N2KMsg& msg, uint32_t nowMs);
    void OnIsoRequest(const N2KMsg& msg);
    void OnGroupFunction(const N2KMsg& msg);
    void ServiceClaim(uint32_t nowMs);
    void SendPeriodic(uint32_t nowMs);
    // Sends the messages of `pgn` now, to `destination` where it is addressable.
    void SendNow(uint32_t pgn, uint8_t destination, int temperatureSource = -1);
    // The claim owed, if any; one that the network refuses stays owed.
    void SendOwedClaim(uint32_t nowMs);
    void SendTemperatures(uint8_t sid, int onlySource);
    N2KStatus Send(N2KMsg& msg);
    void SetInstance(uint8_t instance);
    void SetUniqueNumber(uint32_t number);
    void ApplyBacklight();
    void RunCommand(char* line);
    // The console's bench commands.
    void SetBenchInput(char* argument);
    void PressButton();
    void ReleaseButton(uint32_t nowMs);
    void PrintStatus();

    uint8_t NextSid();

    const int pace_;
    Ferrow_Sim_c* const simulation_;
    Ferrow_c* const emu_;
    // The firmware's main context: main, application init and loop take it;
    // the interrupt never does.
    std::mutex mutex_;
    monitor::Settings settings_;
    monitor::Console console_;
    monitor::Sensors sensors_;
    monitor::AddressClaim claim_;
    // From the command line, for main: a number, or a bad one to report.
    std::optional<uint32_t> uniqueArgument_;
    std::optional<std::string> badUniqueArgument_;
    bool mainRan_ = false;
    std::atomic<bool> trafficStarted_{false};
    bool alarm_ = false;
    uint8_t sid_ = 0;
    uint8_t heartbeatSequence_ = 0;
    monitor::Periodic engineTimer_;
    monitor::Periodic batteryTimer_;
    monitor::Periodic temperatureTimer_;
    monitor::Periodic heartbeatTimer_;

    // Interrupt side: consecutive pressed readings, and presses for the loop.
    int pressedTicks_ = 0;
    std::atomic<unsigned> presses_{0};
    unsigned pressesServed_ = 0;
    // When the console's press lets go.
    std::optional<uint32_t> releaseButtonAtMs_;

    std::atomic<unsigned char> address_;
    std::atomic<uint64_t> loops_{0};
    std::atomic<unsigned char> instance_{0};
};
