// A panel with no peripheral state to show: an OK and a Cancel button on a
// 186 x 90 dialog-unit template. OK, Cancel and the close box all hide it.
#pragma once

#include <ferrow/panels/FloatingDlg_c.h>

#include <wx/string.h>

class FERROW_PANELS_API PlaceholderDlg_c : public FloatingDlg_c {
public:
    PlaceholderDlg_c(unsigned int templateId, CWnd* parentWnd, const wchar_t* caption);

    // Creates the window hidden, without a refresh thread. 0 or -1.
    int Create();
    using FloatingDlg_c::Create;

protected:
    void OnInitDialog() override;

private:
    wxString caption_;
};
