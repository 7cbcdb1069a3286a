#include <ferrow/panels/I2CDlg_c.h>

I2CDlg_c::I2CDlg_c(CWnd* parentWnd, Ferrow_I2C_c*)
    : PlaceholderDlg_c(kTemplateId, parentWnd, L"I2C") {}
