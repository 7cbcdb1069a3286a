// Makes the panel of each kind of peripheral as a dialog of this module.
#pragma once

#include "panels/PanelHandle.h"

#include <ferrow/PanelProvider.h>

#include <functional>

namespace ferrow::panels {

class WxPanelProvider : public PanelProvider {
public:
    // Process-wide; lives until the process ends.
    static WxPanelProvider& Instance();

    // A modal panel runs on the GUI thread; a caller on another thread waits
    // for the operator to close it, so the GUI thread must not be waiting
    // for that caller meanwhile.
    PeripheralPanel* CreatePanel(PeripheralKind kind, void* peripheral, CWnd* parent,
                                 int modal) override;

    // GUI thread: `observer` runs whenever a panel window comes or goes;
    // empty for none.
    void SetObserver(std::function<void()> observer);

private:
    WxPanelProvider() = default;

    // Null for a kind without a panel here.
    static PanelHandle::Maker MakerFor(PeripheralKind kind, void* peripheral, CWnd* parent);
    static void RunModal(const PanelHandle::Maker& make);
    void PanelsChanged();

    std::function<void()> observer_;  // GUI thread only
};

}  // namespace ferrow::panels
