// The panel of a Ferrow_I2C_c, captioned "I2C".
#pragma once

#include <ferrow/panels/PlaceholderDlg_c.h>

class Ferrow_I2C_c;

class FERROW_PANELS_API I2CDlg_c : public PlaceholderDlg_c {
public:
    static constexpr unsigned int kTemplateId = 31002;

    // The panel shows no bus state, so it keeps no pointer to it.
    I2CDlg_c(CWnd* parentWnd, Ferrow_I2C_c* peripheral);
};
