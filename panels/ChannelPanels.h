// The channel panels by peripheral kind, for the panel provider.
#pragma once

#include <ferrow/CWnd.h>
#include <ferrow/PanelProvider.h>

class FloatingDlg_c;

namespace ferrow::panels {

// A new ADC, GPIO, PWM or ICAP panel for `peripheral`, its window not yet
// created; null for any other kind.
FloatingDlg_c* MakeChannelPanel(PeripheralKind kind, void* peripheral, CWnd* parent);

}  // namespace ferrow::panels
