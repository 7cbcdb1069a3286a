// The seam through which peripherals get their panels. The core library
// knows no GUI toolkit: a panels module installs a provider, and every
// peripheral built afterwards with noPanel 0 asks it for its panel.
#pragma once

#include <ferrow/CWnd.h>
#include <ferrow/FerrowApi.h>
#include <ferrow/PeripheralPanel.h>

// Which peripheral asks; `peripheral` then points at an object of that class.
enum class PeripheralKind {
    EEPROM,     // Ferrow_EEPROM_c
    Serial,     // Ferrow_Serial_c
    N2KMon,     // Ferrow_N2K_Mon_c
    N2KGen,     // Ferrow_N2K_Gen_c
    ADC,        // Ferrow_ADC_c
    PWM,        // Ferrow_PWM_c
    GPIO,       // Ferrow_GPIO_c
    SPI,        // Ferrow_SPI_c
    I2C,        // Ferrow_I2C_c
    ICAP,       // Ferrow_ICAP_c, also for Ferrow_OCMP_c
};

class FERROW_API PanelProvider {
public:
    virtual ~PanelProvider();

    // The panel for a peripheral, hidden, as a child of `parent` (null: a
    // top-level panel), or null for none. With `modal` nonzero the provider
    // runs the panel modally, returns when the operator closes it, and
    // returns null: the peripheral then has no panel.
    virtual PeripheralPanel* CreatePanel(PeripheralKind kind, void* peripheral, CWnd* parent,
                                         int modal) = 0;

    // Installs the provider for peripherals built from now on (null removes
    // it); returns the previous one.
    static PanelProvider* Install(PanelProvider* provider);
    static PanelProvider* Installed();
};
