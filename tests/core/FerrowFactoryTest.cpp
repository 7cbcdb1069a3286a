#include "tests/support/FakePanelProvider.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/ferrow.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <vector>

using ferrow::test::FakePanelProvider;
using ferrow::test::TempDir;

namespace {

std::atomic<int> g_mains{0};
std::atomic<int> g_inits{0};
void* g_initObject = nullptr;
void Main() { ++g_mains; }
void Loop() {}
void MainObj(void*) { ++g_mains; }
void LoopObj(void*) {}
int InitObj(void* obj) {
    g_initObject = obj;
    ++g_inits;
    return 0;
}

// The firmware owns what the factory made: delete each by its kind.
void DeletePeripheral(PeripheralKind kind, void* p) {
    switch (kind) {
        case PeripheralKind::N2KMon: delete static_cast<Ferrow_N2K_Mon_c*>(p); break;
        case PeripheralKind::N2KGen: delete static_cast<Ferrow_N2K_Gen_c*>(p); break;
        case PeripheralKind::Serial: delete static_cast<Ferrow_Serial_c*>(p); break;
        case PeripheralKind::ADC: delete static_cast<Ferrow_ADC_c*>(p); break;
        case PeripheralKind::GPIO: delete static_cast<Ferrow_GPIO_c*>(p); break;
        case PeripheralKind::EEPROM: delete static_cast<Ferrow_EEPROM_c*>(p); break;
        case PeripheralKind::PWM: delete static_cast<Ferrow_PWM_c*>(p); break;
        case PeripheralKind::SPI: delete static_cast<Ferrow_SPI_c*>(p); break;
        case PeripheralKind::I2C: delete static_cast<Ferrow_I2C_c*>(p); break;
        case PeripheralKind::ICAP: delete static_cast<Ferrow_ICAP_c*>(p); break;
    }
}

}  // namespace

TEST(FerrowFactory, EveryBitCreatesItsPeripheralInOrderWithAPanelUnderTheParent) {
    TempDir dir;
    const std::string config = dir.File("Ferrow.cfg");
    if (!ferrow::test::kTestNetwork.empty()) TempDir::Write(config, ferrow::test::kTestNetwork);
    const std::string eeprom = dir.File("dev.hex");
    FakePanelProvider provider;
    HWND window = reinterpret_cast<HWND>(0x5000);
    std::unique_ptr<Ferrow_c> emu(create_Ferrow_pObj(window, nullptr, eeprom.c_str(), config.c_str(),
                                                     FERROW_CFG_GATEWAY, 0xFFFFFFFFul, MainObj,
                                                     LoopObj, 10, InitObj, 256));
    const PeripheralKind order[] = {
        PeripheralKind::N2KMon, PeripheralKind::N2KGen, PeripheralKind::Serial,
        PeripheralKind::ADC,    PeripheralKind::GPIO,   PeripheralKind::EEPROM,
        PeripheralKind::PWM,    PeripheralKind::SPI,    PeripheralKind::I2C,
        PeripheralKind::ICAP,   PeripheralKind::ICAP};
    ASSERT_EQ(provider.requests.size(), std::size(order));
    for (size_t i = 0; i < std::size(order); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(provider.requests[i].kind, order[i]);
        EXPECT_EQ(provider.requests[i].parent, CWnd::FromHandle(window));
    }
    EXPECT_EQ(emu->ownConfig, 1) << "the factory ignores its flags";
    EXPECT_EQ(emu->n2kMon, provider.requests[0].peripheral);
    EXPECT_EQ(emu->eeprom, provider.requests[5].peripheral);
    EXPECT_EQ(emu->icap, provider.requests[9].peripheral) << "input capture, not output compare";
    EXPECT_NE(dynamic_cast<Ferrow_OCMP_c*>(static_cast<Ferrow_ICAP_c*>(provider.requests[10].peripheral)),
              nullptr);

    // Start starts the ADC, GPIO and PWM panels, in that order, then main.
    emu->SetAutoConnect(1);
    g_mains = 0;
    g_inits = 0;
    ASSERT_EQ(emu->Start(), 0);
    EXPECT_EQ(provider.log, (std::vector<std::string>{"start 4", "start 6", "start 5"}));
    EXPECT_EQ(g_mains, 1);
    EXPECT_EQ(g_inits, 1);
    EXPECT_EQ(g_initObject, emu.get());
    EXPECT_EQ(emu->Stop(), 0);

    for (auto& request : provider.requests) DeletePeripheral(request.kind, request.peripheral);
    EXPECT_EQ(emu->adc, nullptr);
    EXPECT_EQ(emu->icap, nullptr);
}

TEST(FerrowFactory, NoBitsGiveABareWorkingEmulator) {
    TempDir dir;
    const std::string config = dir.File("Ferrow.cfg");
    std::unique_ptr<Ferrow_c> emu(create_Ferrow(nullptr, nullptr, nullptr, config.c_str(), 0, 0,
                                                Main, Loop, 0, nullptr, 0));
    const void* slots[] = {emu->eeprom, emu->serial, emu->n2kMon, emu->n2kGen, emu->adc,
                           emu->pwm,    emu->gpio,   emu->spi,    emu->i2c,    emu->icap};
    for (const void* slot : slots) EXPECT_EQ(slot, nullptr);
    emu->SetAutoConnect(0);
    g_mains = 0;
    ASSERT_EQ(emu->Start(), 0);
    EXPECT_EQ(g_mains, 0) << "a zero pace left the functions unregistered";
    N2KMsg msg{};
    EXPECT_EQ(emu->PutMsg(&msg), N2K_NOT_CONNECTED);
    EXPECT_EQ(emu->GetMsg(&msg), N2K_NOT_CONNECTED);
    EXPECT_EQ(emu->Stop(), 0);
}
