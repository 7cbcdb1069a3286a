// The demo: the temperature-and-battery monitor firmware on its bench. With a
// display, the host window lists every panel: drive the inputs from the ADC
// panel (the bench knobs too), press the button on the GPIO panel, type
// console commands into the serial panel and watch the traffic on the NMEA
// 2000 monitor. Without one, it runs headless: it prints the console's lines
// and a summary a second (the traffic and the gateway's figures), takes
// console commands typed on standard input, and runs until Ctrl-C, ending
// with a last summary; typed `decode on` prints every message sent and
// received as a line of JSON, its fields decoded, until `decode off`.
// `--unique N` gives the device the NAME's unique number N (1 to 2097151)
// and stores it; without it a device keeps the one it drew at its first
// start.
#include "Bench.h"
#include "MonitorBoard.h"
#include "MonitorDevice.h"
#include "Summary.h"

#include <ferrow/ferrow.h>
#ifdef FERROW_DEMO_PANELS
#include <ferrow/panels/FerrowHost.h>
#else
#include <csignal>
#endif

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#ifdef _WIN32
#include <cstdlib>
#else
#include <poll.h>
#include <unistd.h>
#endif

namespace {

using namespace monitor;
using Clock = std::chrono::steady_clock;

constexpr const char* kTitle = "Ferrow demo: temperature and battery monitor";
constexpr auto kBenchPeriod = std::chrono::milliseconds(kTickMs);
constexpr auto kDrainPeriod = std::chrono::milliseconds(100);
constexpr int kDrainsPerSummary = 10;

// Where the bench starts: a warm engine room, a cool sea, a charged battery,
// the engine at idle and a pleasant cabin.
void SetTheScene(Ferrow_ADC_c& adc) {
    adc.SetValue(kAdcEngineRoom, CountsForCelsius(55.0));
    adc.SetValue(kAdcSea, CountsForCelsius(18.0));
    adc.SetValue(kAdcBattery, CountsForVolts(12.6));
    adc.SetValue(kAdcBenchRpm, 800L);
    adc.SetValue(kAdcBenchCabin, 215L);
}

// Headless, standard input stands in for the serial panel's input line: each
// line typed reaches the console with the carriage return a terminal sends,
// unless it is one of the program's own commands (Summary::Command).
void ForwardLines(std::string& pending, Ferrow_Serial_c& serial, Summary& summary) {
    for (std::size_t end; (end = pending.find('\n')) != std::string::npos;) {
        std::string line = pending.substr(0, end);
        pending.erase(0, end + 1);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::string reply;
        if (summary.Command(line, reply)) {
            std::printf("%s\n", reply.c_str());
            std::fflush(stdout);
            continue;
        }
        line += '\r';
        serial.PutRX(reinterpret_cast<const unsigned char*>(line.data()),
                     static_cast<int>(line.size()));
    }
}

#ifdef _WIN32
// A console read takes no timeout, so this reader blocks until a line or the
// end of input, and the program ends without waiting for it.
void ForwardTypedLines(Ferrow_Serial_c& serial, Summary& summary, const std::atomic<bool>& stop) {
    std::string pending;
    char chunk[256];
    while (!stop && std::fgets(chunk, sizeof chunk, stdin) != nullptr) {
        pending += chunk;
        ForwardLines(pending, serial, summary);
    }
}
#else
// Polled, so that it ends with the program; it also ends at end of input.
void ForwardTypedLines(Ferrow_Serial_c& serial, Summary& summary, const std::atomic<bool>& stop) {
    std::string pending;
    char chunk[256];
    while (!stop) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (poll(&input, 1, 100) <= 0) continue;
        const ssize_t n = read(STDIN_FILENO, chunk, sizeof chunk);
        if (n <= 0) return;
        pending.append(chunk, static_cast<std::size_t>(n));
        ForwardLines(pending, serial, summary);
    }
}
#endif

#if defined(_WIN32) && !defined(FERROW_DEMO_PANELS)
// Without the panels library, Ctrl-C (or Ctrl-Break) ends the program: the
// console's handler only raises this flag, which the main thread watches.
std::atomic<bool> g_stopAsked{false};
void AskToStop(int) { g_stopAsked = true; }
#elif !defined(FERROW_DEMO_PANELS)
// Without the panels library, Ctrl-C and SIGTERM are awaited here. Blocked
// before any thread starts, so that every thread leaves them to sigwait.
sigset_t BlockStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}
#endif

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
#ifdef FERROW_DEMO_PANELS
    FerrowHost host(argc, argv, kTitle);
    const HWND window = host.Window();
#elif defined(_WIN32)
    std::signal(SIGINT, AskToStop);
    std::signal(SIGBREAK, AskToStop);
    const HWND window = nullptr;
#else
    const sigset_t stopSignals = BlockStopSignals();
    const HWND window = nullptr;
#endif

    MonitorOptions options;
    options.parent = window;
    MonitorDevice device(options);
    if (device.Start(argc, argv) != 0) {
        std::fprintf(stderr, "the monitor started without its network; see Ferrow.cfg\n");
    }
    Bench bench(device);
    Ferrow_c& emu = *device.Emulator();
    // The panels list the channels and pins that exist now.
    emu.adc->Start();
    emu.gpio->Start();
    emu.pwm->Start();
    emu.icap->Start();
    SetTheScene(*emu.adc);

    std::atomic<bool> stop{false};
    std::thread benchThread([&] {
        for (auto next = Clock::now(); !stop; next += kBenchPeriod) {
            bench.Step();
            std::this_thread::sleep_until(next + kBenchPeriod);
        }
    });
    std::unique_ptr<Summary> summary;
    std::thread summaryThread;
    std::thread inputThread;
    if (window != nullptr) {
        emu.adc->Show();
        emu.serial->Show();
        std::printf("%s: close the host window to stop\n", kTitle);
    } else {
        std::printf("%s: no display, running headless; type console commands (help), "
                    "decode on|off for the messages as JSON; Ctrl-C to stop\n",
                    kTitle);
        summary = std::make_unique<Summary>(device);
        inputThread = std::thread([&] { ForwardTypedLines(*emu.serial, *summary, stop); });
        summaryThread = std::thread([&] {
            for (int drains = 1; !stop; ++drains) {
                std::this_thread::sleep_for(kDrainPeriod);
                std::fputs(summary->Drain().c_str(), stdout);
                if (drains % kDrainsPerSummary == 0) std::fputs(summary->Text().c_str(), stdout);
                // Line buffering is full buffering on Windows.
                std::fflush(stdout);
            }
        });
    }

#ifdef FERROW_DEMO_PANELS
    host.Run();
#elif defined(_WIN32)
    while (!g_stopAsked) std::this_thread::sleep_for(kDrainPeriod);
#else
    int signal = 0;
    sigwait(&stopSignals, &signal);
#endif
    stop = true;
    benchThread.join();
    if (summaryThread.joinable()) summaryThread.join();
#ifdef _WIN32
    // The reader may be waiting in a console read that nothing interrupts.
    if (inputThread.joinable()) inputThread.detach();
#else
    if (inputThread.joinable()) inputThread.join();
#endif
    const int stopped = device.Stop();
    // With the gateway closed, its figures are the run's totals.
    if (summary) std::fputs((summary->Drain() + summary->Text()).c_str(), stdout);
    std::printf("stopped\n");
    std::fflush(stdout);
#ifdef _WIN32
    // At once: an orderly exit would wait for the reader's hold on stdin.
    std::_Exit(stopped == 0 ? 0 : 1);
#else
    return stopped == 0 ? 0 : 1;
#endif
}
