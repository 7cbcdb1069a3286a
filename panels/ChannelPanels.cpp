#include "panels/ChannelPanels.h"

#include <ferrow/panels/ADCDlg_c.h>
#include <ferrow/panels/GPIODlg_c.h>
#include <ferrow/panels/ICAPDlg_c.h>
#include <ferrow/panels/PWMDlg_c.h>

namespace ferrow::panels {

FloatingDlg_c* MakeChannelPanel(PeripheralKind kind, void* peripheral, CWnd* parent) {
    switch (kind) {
        case PeripheralKind::ADC:
            return new ADCDlg_c(parent, static_cast<Ferrow_ADC_c*>(peripheral));
        case PeripheralKind::GPIO:
            return new GPIODlg_c(parent, static_cast<Ferrow_GPIO_c*>(peripheral));
        case PeripheralKind::PWM:
            return new PWMDlg_c(parent, static_cast<Ferrow_PWM_c*>(peripheral));
        case PeripheralKind::ICAP:
            return new ICAPDlg_c(parent, static_cast<Ferrow_ICAP_c*>(peripheral));
        default:
            return nullptr;
    }
}

}  // namespace ferrow::panels
