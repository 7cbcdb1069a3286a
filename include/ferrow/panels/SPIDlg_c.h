// The panel of a Ferrow_SPI_c, captioned "SPI".
#pragma once

#include <ferrow/panels/PlaceholderDlg_c.h>

class Ferrow_SPI_c;

class FERROW_PANELS_API SPIDlg_c : public PlaceholderDlg_c {
public:
    static constexpr unsigned int kTemplateId = 11007;

    // The panel shows no bus state, so it keeps no pointer to it.
    SPIDlg_c(CWnd* parentWnd, Ferrow_SPI_c* peripheral);
};
