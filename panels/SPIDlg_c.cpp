#include <ferrow/panels/SPIDlg_c.h>

SPIDlg_c::SPIDlg_c(CWnd* parentWnd, Ferrow_SPI_c*)
    : PlaceholderDlg_c(kTemplateId, parentWnd, L"SPI") {}
