#include <ferrow/panels/EEPROMDlg_c.h>

EEPROMDlg_c::EEPROMDlg_c(CWnd* parentWnd, Ferrow_EEPROM_c*)
    : PlaceholderDlg_c(kTemplateId, parentWnd, L"EEPROM") {}
