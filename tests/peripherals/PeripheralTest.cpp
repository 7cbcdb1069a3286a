// What every peripheral shares, shown on every kind: registration in the
// emulator's slot, panels from the installed provider, the name rule and
// 32-bit quantities; and, on the NMEA 2000 monitor and generator, panel calls
// and outliving the emulator.
#include "peripherals/Peripheral.h"
#include "peripherals/serial/SerialPortTable.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/FakePanelProvider.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Ferrow_ADC_c.h>
#include <ferrow/Ferrow_EEPROM_c.h>
#include <ferrow/Ferrow_GPIO_c.h>
#include <ferrow/Ferrow_I2C_c.h>
#include <ferrow/Ferrow_ICAP_c.h>
#include <ferrow/Ferrow_N2K_Gen_c.h>
#include <ferrow/Ferrow_N2K_Mon_c.h>
#include <ferrow/Ferrow_OCMP_c.h>
#include <ferrow/Ferrow_PWM_c.h>
#include <ferrow/Ferrow_SPI_c.h>
#include <ferrow/Ferrow_Serial_c.h>
#include <ferrow/PanelProvider.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using ferrow::peripherals::Peripheral;
using ferrow::peripherals::SerialPortTable;
using ferrow::test::CapturedMessages;
using ferrow::test::FakePanelProvider;
using ferrow::test::TestEmulator;

namespace {

struct KindRow {
    const char* name;
    PeripheralKind kind;
    std::function<std::shared_ptr<void>(Ferrow_c*, unsigned long noPanel)> make;
    std::function<const void*(const Ferrow_c&)> slot;
};

// A row for objects of class T that register in the emulator's member Slot;
// `size` is the constructor's size argument where it has one.
template <class T, auto Slot, class... Size>
KindRow Kind(const char* name, PeripheralKind kind, Size... size) {
    using Registered = std::remove_pointer_t<std::decay_t<decltype(std::declval<Ferrow_c&>().*Slot)>>;
    return {name, kind,
            [=](Ferrow_c* emu, unsigned long noPanel) -> std::shared_ptr<void> {
                return std::shared_ptr<Registered>(std::make_shared<T>(emu, 0, size..., noPanel));
            },
            [](const Ferrow_c& emu) -> const void* { return emu.*Slot; }};
}

}  // namespace

// Every kind, one row each: the first object takes the emulator's slot, a
// second leaves it alone, destroying the first empties it for the next, and
// the installed provider makes a panel of that kind unless none is wanted.
TEST(Peripheral, EveryKindTakesAnEmptySlotFreesItAndAsksForItsOwnPanel) {
    const KindRow rows[] = {
        Kind<Ferrow_ADC_c, &Ferrow_c::adc>("ADC", PeripheralKind::ADC),
        Kind<Ferrow_GPIO_c, &Ferrow_c::gpio>("GPIO", PeripheralKind::GPIO),
        Kind<Ferrow_PWM_c, &Ferrow_c::pwm>("PWM", PeripheralKind::PWM),
        Kind<Ferrow_ICAP_c, &Ferrow_c::icap>("ICAP", PeripheralKind::ICAP),
        Kind<Ferrow_OCMP_c, &Ferrow_c::icap>("OCMP, in the ICAP slot", PeripheralKind::ICAP),
        Kind<Ferrow_I2C_c, &Ferrow_c::i2c>("I2C", PeripheralKind::I2C),
        Kind<Ferrow_SPI_c, &Ferrow_c::spi>("SPI", PeripheralKind::SPI),
        Kind<Ferrow_EEPROM_c, &Ferrow_c::eeprom>("EEPROM", PeripheralKind::EEPROM, 64ul),
        Kind<Ferrow_Serial_c, &Ferrow_c::serial>("serial", PeripheralKind::Serial),
        Kind<Ferrow_N2K_Mon_c, &Ferrow_c::n2kMon>("N2K monitor", PeripheralKind::N2KMon, 4ul),
        Kind<Ferrow_N2K_Gen_c, &Ferrow_c::n2kGen>("N2K generator", PeripheralKind::N2KGen, 4ul),
    };
    TestEmulator emu;
    FakePanelProvider provider;
    for (const KindRow& row : rows) {
        SCOPED_TRACE(row.name);
        provider.requests.clear();
        auto first = row.make(emu.emu.get(), 0);
        auto second = row.make(emu.emu.get(), 1);
        EXPECT_EQ(row.slot(*emu), first.get());
        ASSERT_EQ(provider.requests.size(), 1u) << "none for the one without a panel";
        EXPECT_EQ(provider.requests[0].kind, row.kind);
        EXPECT_EQ(provider.requests[0].peripheral, first.get());
        second.reset();
        EXPECT_EQ(row.slot(*emu), first.get()) << "an unregistered one leaves the slot alone";
        first.reset();
        EXPECT_EQ(row.slot(*emu), nullptr) << "the emulator never reaches a destroyed one";
        auto third = row.make(emu.emu.get(), 1);
        EXPECT_EQ(row.slot(*emu), third.get());
    }
}

TEST(Peripheral, PanelCallsReachTheProvidersPanelAndAreHarmlessWithoutOne) {
    TestEmulator emu;
    Ferrow_N2K_Mon_c bare(emu.emu.get(), 0, 4, 0);
    bare.Show();
    bare.Move(1, 2);
    EXPECT_EQ(bare.IsVisible(), 0) << "no provider: no panel, harmless calls";

    FakePanelProvider provider;
    {
        Ferrow_N2K_Mon_c withPanel(emu.emu.get(), 0, 4, 0);
        ASSERT_EQ(provider.requests.size(), 1u);
        EXPECT_EQ(provider.requests[0].parent, nullptr) << "no host window: a top-level panel";
        EXPECT_EQ(withPanel.IsVisible(), 0) << "hidden until shown";
        withPanel.Show();
        EXPECT_EQ(withPanel.IsVisible(), 1);
        withPanel.Move(40, 60);
        withPanel.Hide();
        EXPECT_EQ(withPanel.IsVisible(), 0);
    }
    EXPECT_EQ(provider.log, (std::vector<std::string>{"move 40,60 2", "destroyed 2"}));

    provider.log.clear();
    provider.onModal = [&](void* peripheral) {
        char name[8] = "x";
        static_cast<Ferrow_N2K_Mon_c*>(peripheral)->GetName(name);
        provider.log.push_back(std::string("name '") + name + "'");
    };
    Ferrow_N2K_Mon_c modal(emu.emu.get(), 1, 4, 0);
    EXPECT_EQ(provider.log, (std::vector<std::string>{"name ''", "modal 2"}));
    modal.Show();
    EXPECT_EQ(modal.IsVisible(), 0) << "after a modal panel closes there is none";
}

// Every kind of name, one row each: the whole of a long name is kept as a
// private copy and comes back whole; a panel's bound cuts only what it reads.
TEST(Peripheral, EveryKindKeepsALongNameWholeAndRefusesNulls) {
    TestEmulator emu;
    Ferrow_ADC_c adc(nullptr, 0, 1);
    Ferrow_GPIO_c gpio(nullptr, 0, 1);
    Ferrow_PWM_c pwm(nullptr, 0, 1);
    Ferrow_ICAP_c icap(nullptr, 0, 1);
    Ferrow_OCMP_c ocmp(nullptr, 0, 1);
    Ferrow_I2C_c i2c(nullptr, 0, 1);
    Ferrow_EEPROM_c eeprom(nullptr, 0, 256, 1);
    Ferrow_Serial_c serial(nullptr, 0, 1);
    Ferrow_N2K_Mon_c mon(emu.emu.get(), 0, 4, 1);
    Ferrow_N2K_Gen_c gen(emu.emu.get(), 0, 4, 1);
    ASSERT_EQ(adc.AddChannel(2, 12, 4, 1, 0), 0);
    gpio.AddPin(0x12);
    pwm.AddPin(0x30, 0);
    icap.AddPin(0x21, 0, 16, 4);
    ocmp.AddPin(0x22, 0, 16, 4);

    struct Row {
        const char* kind;
        std::function<int(const char*)> set;
        std::function<int(char*)> get;
        bool lengths;  // the serial port's name operations return the length
    };
    const Row rows[] = {
        {"ADC by handle", [&](const char* n) { return adc.SetName(0, 1, n); },
         [&](char* b) { return adc.GetName(1, b); }, false},
        {"ADC by id", [&](const char* n) { return adc.SetName(0, n); },
         [&](char* b) { return adc.GetName(0, 0, b); }, false},
        {"GPIO", [&](const char* n) { return gpio.SetName(0x12, n); },
         [&](char* b) { return gpio.GetName(0x12, b); }, false},
        {"PWM", [&](const char* n) { return pwm.SetName(0x30, n); },
         [&](char* b) { return pwm.GetName(0x30, b); }, false},
        {"ICAP", [&](const char* n) { return icap.SetName(0, n); },
         [&](char* b) { return icap.GetName(0, b); }, false},
        {"OCMP", [&](const char* n) { return ocmp.SetName(0, n); },
         [&](char* b) { return ocmp.GetName(0, b); }, false},
        {"I2C bus", [&](const char* n) { return i2c.SetName(n); },
         [&](char* b) { return i2c.GetName(b); }, false},
        {"EEPROM", [&](const char* n) { return eeprom.SetName(n); },
         [&](char* b) { return eeprom.GetName(b); }, false},
        {"serial", [&](const char* n) { return serial.SetName(n); },
         [&](char* b) { return serial.GetName(b); }, true},
        {"N2K monitor", [&](const char* n) { return mon.SetName(n); },
         [&](char* b) { return mon.GetName(b); }, false},
        {"N2K generator", [&](const char* n) { return gen.SetName(n); },
         [&](char* b) { return gen.GetName(b); }, false},
    };
    std::string name(1000, 'n');
    name[0] = 'N';
    name.back() = 'E';
    const std::string kept = name;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.kind);
        const int whole = row.lengths ? 1000 : 0;
        char buffer[1100] = "x";
        EXPECT_EQ(row.get(buffer), 0);
        EXPECT_STREQ(buffer, "") << "no name yet";
        EXPECT_EQ(row.set(name.c_str()), whole);
        name[0] = 'Z';  // the object keeps its own copy
        EXPECT_EQ(row.get(buffer), whole);
        EXPECT_EQ(buffer, kept);
        name[0] = 'N';
        EXPECT_EQ(row.set(nullptr), -1);
        EXPECT_EQ(row.get(nullptr), -1);
        {
            const Peripheral::ShownNameBound bound(256);
            char shown[256];
            row.get(shown);
            EXPECT_EQ(shown, kept.substr(0, 255)) << "a panel's buffer shows the start";
        }
        EXPECT_EQ(row.get(buffer), whole) << "a refused name changes nothing, the bound is gone";
        EXPECT_EQ(buffer, kept);
    }
    ASSERT_EQ(i2c.AddSlave(0x50, Ferrow_I2C_c::SlaveFn{}, nullptr, name.c_str()), 0);
    EXPECT_EQ(i2c.SA2Dat(0x50)->name, kept) << "an I2C slave's name";
}

namespace {

// Puts taken before the first refusal, up to 20.
long PutsTaken(const std::function<int(long)>& put) {
    long taken = 0;
    while (taken < 20 && put(taken) == 0) ++taken;
    return taken;
}

}  // namespace

// Each row hands one operation a 32-bit quantity as `unsigned long` and
// reports what it made of it; 2^32 more must make the same, as on the target.
TEST(Peripheral, UnsignedLongQuantitiesWrapAt32Bits) {
    Ferrow_Serial_c serial(nullptr, 0, 1);
    struct Row {
        const char* operation;
        unsigned long low;
        long expected;
        std::function<long(unsigned long)> apply;
    };
    const Row rows[] = {
        {"a constructor's noPanel", 0, 1, [](unsigned long x) {
             FakePanelProvider provider;
             Ferrow_SPI_c spi(nullptr, 0, x);
             return long(provider.requests.size());
         }},
        {"ICAP AddPin's pin", 0x21, 0x21, [](unsigned long x) {
             Ferrow_ICAP_c icap(nullptr, 0, 1);
             const int h = icap.AddPin(x, 0, 16, 4);
             return h < 0 ? -1L : long(icap.hndl2PN(h));
         }},
        {"ICAP PN2hndl", 0x21, 1, [](unsigned long x) {
             Ferrow_ICAP_c icap(nullptr, 0, 1);
             icap.AddPin(0x20, 0, 16, 4);
             icap.AddPin(0x21, 0, 16, 4);
             return long(icap.PN2hndl(x));
         }},
        {"ICAP AddPin's queue length", 4, 3, [](unsigned long x) {
             Ferrow_ICAP_c icap(nullptr, 0, 1);
             icap.AddPin(0x21, 0, 16, x);
             return PutsTaken([&](long v) { return icap.QPut(0, v); });
         }},
        {"NMEA 2000 generator's store size", 4, 4, [](unsigned long x) {
             Ferrow_N2K_Gen_c gen(nullptr, 0, x, 1);
             return PutsTaken([&](long) { return gen.PutISORequest(60928, 0, 255, 0) == 1 ? 0 : -1; });
         }},
        {"ADC AddChannel's queue length", 8, 7, [](unsigned long x) {
             Ferrow_ADC_c adc(nullptr, 0, 1);
             adc.AddChannel(1, 12, x, 1, 0);
             return PutsTaken([&](long v) { return adc.QPut(0, v); });
         }},
        {"ADC QSetup", 2, 6 + 7, [](unsigned long x) {
             Ferrow_ADC_c adc(nullptr, 0, 1);
             adc.AddChannel(1, 12, 8, 1, 0);
             for (long v = 1; v <= 7; ++v) adc.QPut(0, v);
             long sum = -1;
             return adc.QSetup(0, x) == 0 && adc.QGetSum(0, &sum) == 0 ? sum : -1L;
         }},
        {"GPIO AddPin", 0x12, 0x12, [](unsigned long x) {
             Ferrow_GPIO_c gpio(nullptr, 0, 1);
             gpio.AddPin(x);
             return long(gpio.ID2PN(0));
         }},
        {"PWM SetDutyDelay", 250000, 250000, [](unsigned long x) {
             Ferrow_PWM_c pwm(nullptr, 0, 1);
             pwm.AddPin(0x30, 0);
             unsigned long duty = 0;
             pwm.SetDutyDelay(0x30, x, 0);
             pwm.GetDuty(0x30, &duty);
             return long(duty);
         }},
        {"serial SetBaud", 115200, 115200, [&](unsigned long x) {
             serial.SetBaud(9600);
             serial.SetBaud(x);
             return long(SerialPortTable::At(serial.GetHndl())->baud);
         }},
        {"EEPROM size (refusals)", 16, 0, [](unsigned long x) {
             CapturedMessages refusals;
             Ferrow_EEPROM_c eeprom(nullptr, 0, x, 1);
             return long(refusals.Shown().size());
         }},
        {"I2C SA2Dat", 0x50, 1, [](unsigned long x) {
             Ferrow_I2C_c i2c(nullptr, 0, 1);
             i2c.AddSlave(0x50, Ferrow_I2C_c::SlaveFn{}, nullptr, nullptr);
             return long(i2c.SA2Dat(x) != nullptr);
         }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.operation);
        EXPECT_EQ(row.apply(row.low), row.expected);
        EXPECT_EQ(row.apply(row.low + static_cast<unsigned long>(1ull << 32)), row.expected) << "2^32 more";
    }
}

TEST(Peripheral, APeripheralMayOutliveItsEmulator) {
    auto emu = std::make_unique<TestEmulator>();
    Ferrow_N2K_Gen_c gen(emu->emu.get(), 0, 4, 1);
    Ferrow_N2K_Mon_c mon(emu->emu.get(), 0, 4, 1);
    emu.reset();
    N2KMsg msg{};
    msg.pgn = 59904;
    EXPECT_EQ(gen.PutMsg(&msg, 1), 1) << "queued; there is no gateway left to send to";
    EXPECT_EQ(mon.SetName("after"), 0);
}
