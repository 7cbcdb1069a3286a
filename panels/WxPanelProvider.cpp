#include "panels/WxPanelProvider.h"

#include "panels/ChannelPanels.h"
#include "panels/GuiThread.h"
#include "peripherals/Peripheral.h"

#include <ferrow/panels/EEPROMDlg_c.h>
#include <ferrow/panels/I2CDlg_c.h>
#include <ferrow/panels/N2KGenDlg_c.h>
#include <ferrow/panels/N2KMonDlg_c.h>
#include <ferrow/panels/SPIDlg_c.h>
#include <ferrow/panels/SerialDlg_c.h>

#include <future>
#include <memory>

namespace ferrow::panels {

WxPanelProvider& WxPanelProvider::Instance() {
    static WxPanelProvider* instance = new WxPanelProvider();
    return *instance;
}

PanelHandle::Maker WxPanelProvider::MakerFor(PeripheralKind kind, void* peripheral,
                                             CWnd* parent) {
    switch (kind) {
        case PeripheralKind::ADC:
        case PeripheralKind::GPIO:
        case PeripheralKind::PWM:
        case PeripheralKind::ICAP:
            return [=] { return MakeChannelPanel(kind, peripheral, parent); };
        case PeripheralKind::I2C:
            return [=] { return new I2CDlg_c(parent, static_cast<Ferrow_I2C_c*>(peripheral)); };
        case PeripheralKind::SPI:
            return [=] { return new SPIDlg_c(parent, static_cast<Ferrow_SPI_c*>(peripheral)); };
        case PeripheralKind::EEPROM:
            return [=] {
                return new EEPROMDlg_c(parent, static_cast<Ferrow_EEPROM_c*>(peripheral));
            };
        case PeripheralKind::Serial:
            return [=] {
                return new SerialDlg_c(parent, static_cast<Ferrow_Serial_c*>(peripheral));
            };
        case PeripheralKind::N2KMon:
            return [=] {
                return new N2KMonDlg_c(parent, static_cast<Ferrow_N2K_Mon_c*>(peripheral));
            };
        case PeripheralKind::N2KGen:
            return [=] {
                return new N2KGenDlg_c(parent, static_cast<Ferrow_N2K_Gen_c*>(peripheral));
            };
    }
    return nullptr;
}

PeripheralPanel* WxPanelProvider::CreatePanel(PeripheralKind kind, void* peripheral, CWnd* parent,
                                              int modal) {
    PanelHandle::Maker make = MakerFor(kind, peripheral, parent);
    if (!make) return nullptr;
    if (modal != 0) {
        RunModal(make);
        return nullptr;
    }
    return new PanelHandle(std::move(make), [this] { PanelsChanged(); });
}

void WxPanelProvider::RunModal(const PanelHandle::Maker& make) {
    const auto run = [make] {
        std::unique_ptr<FloatingDlg_c> dialog(make());
        if (dialog && dialog->Create(nullptr, 10) == 0) dialog->ShowModal();
    };
    if (GuiThread::IsCurrent()) {
        run();
        return;
    }
    auto closed = std::make_shared<std::promise<void>>();
    if (GuiThread::Post([run, closed] {
            run();
            closed->set_value();
        })) {
        closed->get_future().wait();
    }
}

void WxPanelProvider::SetObserver(std::function<void()> observer) {
    observer_ = std::move(observer);
}

void WxPanelProvider::PanelsChanged() {
    if (observer_) observer_();
}

}  // namespace ferrow::panels
