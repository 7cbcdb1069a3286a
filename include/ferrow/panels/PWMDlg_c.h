// The PWM panel: one row per output by pin index, with its frequency and
// duty (shown in thousandths: 50000 reads 50.000000, or the raw value in
// hexadecimal), polarity configuration and name; the slider sets the
// selected output's duty from 0 to 100000, and the trend strip plots it.
// Frequency and duty are unsigned: decimal text never turns negative.
#pragma once

#include <ferrow/panels/Control01Dlg_c.h>

class Ferrow_PWM_c;

class FERROW_PANELS_API PWMDlg_c : public Control01Dlg_c {
public:
    PWMDlg_c(CWnd* parentWnd, Ferrow_PWM_c* pwm);

    using Control01Dlg_c::FormatValue;
    using Control01Dlg_c::Refresh;
    using Control01Dlg_c::SetRange;

    void FillList() override;
    void Refresh() override;
    int FormatValue(int value, wchar_t* buffer, int size, int hex) override;
    void SetRange(int maximum, int minimum, float scale) override;
    void SetSliderValue(int value) override;
    void OnSliderValue(int value) override;

protected:
    bool ParseValue(const wxString& text, long long& shown) override;

private:
    Ferrow_PWM_c* pwm_;
};
