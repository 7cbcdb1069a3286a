// The input-capture panel (also of output compare): one row per pin handle
// with the last captured value and the name. It only watches: the slider
// has no range of its own and moving it changes nothing.
#pragma once

#include <ferrow/panels/Control01Dlg_c.h>

class Ferrow_ICAP_c;

class FERROW_PANELS_API ICAPDlg_c : public Control01Dlg_c {
public:
    ICAPDlg_c(CWnd* parentWnd, Ferrow_ICAP_c* icap);

    using Control01Dlg_c::FormatValue;
    using Control01Dlg_c::Refresh;
    using Control01Dlg_c::SetRange;

    void FillList() override;
    void Refresh() override;
    // Captured values are unsigned: decimal text never turns negative.
    int FormatValue(int value, wchar_t* buffer, int size, int hex) override;
    void SetRange(int maximum, int minimum, float scale) override;
    void SetSliderValue(int value) override;
    void OnSliderValue(int value) override;

private:
    Ferrow_ICAP_c* icap_;
};
