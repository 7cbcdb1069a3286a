// The host of a firmware that has no GUI of its own: it starts the toolkit,
// opens the window that parents every panel, and runs the event loop.
//
//     int main(int argc, char** argv) {
//         FerrowHost host(argc, argv, "My device");
//         Ferrow_c emu(host.Window(), nullptr, nullptr, nullptr, 0);
//         Ferrow_ADC_c adc(&emu, 0, 0);
//         ...
//         emu.Start(argc, argv);
//         return host.Run();
//     }
//
// Declare the host first, so that the peripherals and the emulator are
// destroyed before it. Without a display (no DISPLAY or WAYLAND_DISPLAY, or
// the toolkit cannot start) Window() is null, nothing is installed, the
// emulator runs without panels and with its own timer thread, and Run waits
// for SIGINT, SIGTERM or Quit: the same firmware runs unchanged.
#pragma once

#include <ferrow/CWnd.h>
#include <ferrow/panels/PanelsApi.h>

#include <memory>

class FERROW_PANELS_API FerrowHost {
public:
    // On the thread that will run the event loop. One host per process at a
    // time: a second throws std::logic_error, as does a host made after
    // FerrowPanels_Install. The toolkit may take its own options out of
    // argc and argv.
    FerrowHost(int& argc, char** argv, const char* title);
    // Uninstalls what it installed, runs the panel work still queued, closes
    // the window and, if it started the toolkit, shuts it down.
    ~FerrowHost();
    FerrowHost(const FerrowHost&) = delete;
    FerrowHost& operator=(const FerrowHost&) = delete;

    // The host window for the emulator, or null without a display.
    HWND Window() const;
    // Shows the window and runs the event loop until the window is closed,
    // Quit is called, or SIGINT / SIGTERM arrives; without a display, waits
    // for the last two. Returns 0.
    int Run();
    // Any thread: ends Run, or makes the next Run return at once.
    void Quit();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
