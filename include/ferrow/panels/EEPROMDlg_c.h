// The panel of a Ferrow_EEPROM_c, captioned "EEPROM".
#pragma once

#include <ferrow/panels/PlaceholderDlg_c.h>

class Ferrow_EEPROM_c;

class FERROW_PANELS_API EEPROMDlg_c : public PlaceholderDlg_c {
public:
    static constexpr unsigned int kTemplateId = 11006;

    // The panel shows no memory state, so it keeps no pointer to it.
    EEPROMDlg_c(CWnd* parentWnd, Ferrow_EEPROM_c* peripheral);
};
