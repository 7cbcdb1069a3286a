// The panel of a Ferrow_N2K_Gen_c, captioned "N2K Generator". The generator
// has nothing to show, so its panel only offers OK and Cancel.
#pragma once

#include <ferrow/panels/PlaceholderDlg_c.h>

class Ferrow_c;

class FERROW_PANELS_API N2KGenDlg_c : public PlaceholderDlg_c {
public:
    static constexpr unsigned int kTemplateId = 11001;

    // The panel shows no emulator state, so it keeps no pointer to it.
    N2KGenDlg_c(CWnd* parentWnd, Ferrow_c* emulator);
};
