// The ADC's panel: one row per channel by channel id over all groups, with
// its value, range and name; the slider drives the selected channel's value
// within the channel's range, and the trend strip plots it.
#pragma once

#include <ferrow/panels/Control01Dlg_c.h>

class Ferrow_ADC_c;

class FERROW_PANELS_API ADCDlg_c : public Control01Dlg_c {
public:
    ADCDlg_c(CWnd* parentWnd, Ferrow_ADC_c* adc);

    using Control01Dlg_c::Refresh;
    using Control01Dlg_c::SetRange;

    void FillList() override;
    void Refresh() override;
    void SetRange(int maximum, int minimum, float scale) override;
    void SetSliderValue(int value) override;
    void OnSliderValue(int value) override;

private:
    Ferrow_ADC_c* adc_;
};
