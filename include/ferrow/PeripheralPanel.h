// The operator panel of one peripheral, as the peripheral sees it. Panels are
// made by a panel provider (see PanelProvider.h); without one a peripheral
// has no panel and its panel operations do nothing.
#pragma once

#include <ferrow/FerrowApi.h>

class FERROW_API PeripheralPanel {
public:
    virtual ~PeripheralPanel();

    // Shows and activates the panel; the first time beside the host window.
    virtual void Show() = 0;
    virtual void Hide() = 0;
    // Moves the top-left corner to screen position (x, y).
    virtual void Move(int x, int y) = 0;
    virtual int IsVisible() = 0;
    // Lists the peripheral's channels and starts refreshing them.
    virtual void Start() = 0;
};
