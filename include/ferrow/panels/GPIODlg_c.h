// The GPIO panel: one row per pin by pin index, with the levels at the pin
// and in the register, the direction and the name, always in decimal; the
// slider sets the selected pin's level, 0 or 1, and the trend strip traces it.
#pragma once

#include <ferrow/panels/Control01Dlg_c.h>

class Ferrow_GPIO_c;

class FERROW_PANELS_API GPIODlg_c : public Control01Dlg_c {
public:
    GPIODlg_c(CWnd* parentWnd, Ferrow_GPIO_c* gpio);

    using Control01Dlg_c::Refresh;
    using Control01Dlg_c::SetRange;

    void FillList() override;
    void Refresh() override;
    void SetRange(int maximum, int minimum, float scale) override;
    void SetSliderValue(int value) override;
    void OnSliderValue(int value) override;

private:
    Ferrow_GPIO_c* gpio_;
};
