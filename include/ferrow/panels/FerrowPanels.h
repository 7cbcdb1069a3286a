// Panels for a firmware that runs its own wxApp (FerrowHost does all this for
// a firmware that does not). Call FerrowPanels_Install on the GUI thread
// once the toolkit has started and before the emulator and its peripherals
// are built:
//
//     bool MyApp::OnInit() {
//         frame = new MyFrame();
//         FerrowPanels_Install(frame);
//         emu = new Ferrow_c(FerrowPanels_Handle(frame), nullptr, nullptr, nullptr, 0);
//         adc = new Ferrow_ADC_c(emu, 0, 0);
//         ...
//     }
//     int MyApp::OnExit() {  // peripherals and emulator first
//         delete adc;
//         delete emu;
//         FerrowPanels_Uninstall();
//         ...
//     }
//
// It installs the panel provider (peripherals built afterwards with noPanel
// 0 get panels), timers on the GUI thread for the emulator's periodic
// interrupt, and message boxes and the bell for the library's messages.
#pragma once

#include <ferrow/CWnd.h>
#include <ferrow/panels/PanelsApi.h>

class wxWindow;

// `host` bounds the installation: destroying it uninstalls. False when
// `host` is null, the toolkit has not started, the caller is not on the GUI
// thread, or panels are installed already (by a FerrowHost, say).
FERROW_PANELS_API bool FerrowPanels_Install(wxWindow* host);

// GUI thread. Undoes FerrowPanels_Install: the periodic timers stop, and
// peripherals built afterwards get no panel. Panels already made stay until
// their peripherals go. The places the panels had are forgotten: panels of a
// later installation open beside its host. Destroy the emulators before
// calling it.
FERROW_PANELS_API void FerrowPanels_Uninstall();

// The handle of a window, for the emulator's constructor or the factories.
FERROW_PANELS_API HWND FerrowPanels_Handle(wxWindow* window);
