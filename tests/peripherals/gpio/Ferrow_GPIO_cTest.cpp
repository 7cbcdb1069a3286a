// GPIO pins: addressing by number and id, the tie of pin and register by
// direction, refusals and names, and pins shared between the firmware's
// worker and the operator's thread.
#include "tests/support/Eventually.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Ferrow_GPIO_c.h>

#include <gtest/gtest.h>

#include <climits>
#include <iterator>

using ferrow::test::Eventually;
using ferrow::test::TestEmulator;

namespace {

using Getter = int (Ferrow_GPIO_c::*)(unsigned long, int*);

int Get(Ferrow_GPIO_c& gpio, Getter getter, unsigned long pin = 0x12) {
    int value = -7;
    EXPECT_EQ((gpio.*getter)(pin, &value), 0);
    return value;
}

void MirrorInputPlusOne(void* emulator) {
    Ferrow_GPIO_c* gpio = static_cast<Ferrow_c*>(emulator)->gpio;
    int in = 0;
    if (gpio->GetValReg(0x10, &in) == 0) gpio->SetValReg(0x20, in + 1);
}
void NoMain(void*) {}

}  // namespace

TEST(Gpio, PinsAreFoundByNumberOrIdAndTheFirstOfARepeatedNumberAnswers) {
    Ferrow_GPIO_c gpio(nullptr, 0, 1);
    gpio.AddPin(0x12);
    EXPECT_EQ(gpio.AddPin(0x13), 1);
    for (int id : {2, -1, INT_MIN}) EXPECT_EQ(gpio.ID2PN(id), ULONG_MAX) << id;
    gpio.SetValPin(0x12, 7);
    EXPECT_EQ(gpio.AddPin(0x12), 2);
    EXPECT_EQ(Get(gpio, &Ferrow_GPIO_c::GetValReg), 7) << "the later pin is not the one read";
    EXPECT_EQ(gpio.GetTotalPin(), 3);
}

TEST(Gpio, PinAndRegisterAreTiedByTheDirectionAtTheWrite) {
    struct Row { int dir, storedDir; bool toRegister; int value, level, reg; };
    const Row rows[] = {
        {0, 0, false, 0x3C5, 0xC5, 0xC5},     {0, 0, true, -59, 0x0A, 0xC5},
        {1, 1, false, -59, 0xC5, 0x0B},       {1, 1, true, 0x3C5, 0xC5, 0xC5},
        {2, 2, false, 0x3C5, 0xC5, 0x0B},     {2, 2, true, 0x3C5, 0x0A, 0xC5},
        {-1, 0xFF, false, 0x3C5, 0xC5, 0x0B}, {-1, 0xFF, true, 0x3C5, 0x0A, 0xC5},
        {0x101, 1, false, 0x3C5, 0xC5, 0x0B}, {0x100, 0, false, 0x3C5, 0xC5, 0xC5},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.dir) + (row.toRegister ? " SetValReg" : " SetValPin"));
        Ferrow_GPIO_c gpio(nullptr, 0, 1);
        gpio.AddPin(0x12);
        gpio.SetDir(0x12, 1);
        gpio.SetValPin(0x12, 0x0A);  // an output's pin alone
        gpio.SetDir(0x12, 0);
        gpio.SetValReg(0x12, 0x0B);  // an input's register alone
        ASSERT_EQ(gpio.SetDir(0x12, row.dir), 0);
        EXPECT_EQ(Get(gpio, &Ferrow_GPIO_c::GetDir), row.storedDir);
        EXPECT_EQ(Get(gpio, &Ferrow_GPIO_c::GetValPin), 0x0A) << "a new direction copies nothing";
        const auto set = row.toRegister ? &Ferrow_GPIO_c::SetValReg : &Ferrow_GPIO_c::SetValPin;
        EXPECT_EQ((gpio.*set)(0x12, row.value), 0);
        EXPECT_EQ(Get(gpio, &Ferrow_GPIO_c::GetValPin), row.level);
        EXPECT_EQ(Get(gpio, &Ferrow_GPIO_c::GetValReg), row.reg);
    }
}

TEST(Gpio, RefusedCallsChangeNothingAndEachPinKeepsItsOwnName) {
    Ferrow_GPIO_c gpio(nullptr, 0, 1);
    char name[16] = "x";
    gpio.AddPin(0x12);
    gpio.AddPin(0x13);
    gpio.SetValPin(0x12, 5);
    EXPECT_EQ(gpio.SetName(0x12, "relay"), 0);
    const int results[] = {gpio.SetValPin(0x99, 1), gpio.SetValReg(0x99, 1),
                           gpio.GetValReg(0x12, nullptr), gpio.SetName(0x12, nullptr),
                           gpio.GetName(0x99, name)};
    for (size_t i = 0; i < std::size(results); ++i) EXPECT_EQ(results[i], -1) << "call " << i;
    EXPECT_EQ(Get(gpio, &Ferrow_GPIO_c::GetValPin), 5);
    EXPECT_EQ(gpio.GetName(0x12, name), 0);
    EXPECT_STREQ(name, "relay");
    EXPECT_EQ(gpio.GetName(0x13, name), 0);
    EXPECT_STREQ(name, "") << "no name yet";
}

TEST(GpioThreads, TheFirmwareLoopSeesTheOperatorsInputAndDrivesItsOutput) {
    TestEmulator emu;
    Ferrow_GPIO_c gpio(emu.emu.get(), 0, 1);
    gpio.AddPin(0x10);
    gpio.AddPin(0x20);
    gpio.SetDir(0x20, 1);
    emu->SetAutoConnect(0);
    emu->SetDeviceFunction(NoMain, MirrorInputPlusOne, 1);
    ASSERT_EQ(emu->Start(), 0);
    for (int level : {1, 0, 1}) {
        gpio.SetValPin(0x10, level);
        EXPECT_TRUE(Eventually([&] {
            return Get(gpio, &Ferrow_GPIO_c::GetValPin, 0x20) == level + 1;
        })) << level;
    }
    EXPECT_EQ(emu->Stop(), 0);
}
