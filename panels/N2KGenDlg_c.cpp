#include <ferrow/panels/N2KGenDlg_c.h>

N2KGenDlg_c::N2KGenDlg_c(CWnd* parentWnd, Ferrow_c*)
    : PlaceholderDlg_c(kTemplateId, parentWnd, L"N2K Generator") {}
