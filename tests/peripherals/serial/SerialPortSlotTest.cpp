// The process's 256 port slots running out. Its own executable: slots taken
// here are never given back, and the other serial tests need some.
#include "tests/support/TestEmulator.h"

#include <ferrow/Ferrow_Serial_c.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

int calls = 0;
void OnReceive() { ++calls; }

}  // namespace

TEST(SerialPortSlots, PortsBeyondTheLastSlotWorkWithoutRings) {
    ferrow::test::TestEmulator emu;
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(std::make_unique<Ferrow_Serial_c>(emu.emu.get(), 0, 1)->GetHndl(), i);
    }
    Ferrow_Serial_c late(emu.emu.get(), 0, 1);
    EXPECT_EQ(late.GetHndl(), -1) << "slots of destroyed ports stay taken";
    unsigned char byte = 'a';
    char text[4];
    late.Init(OnReceive);
    late.SetBaud(9600);
    late.FlushRX();
    EXPECT_EQ(late.GetHndl_dev(), 0);
    EXPECT_EQ(late.PutRX(&byte, 1), -1);
    EXPECT_EQ(calls, 1) << "the callback is raised all the same";
    EXPECT_EQ(late.GetRX(&byte, 1), 0);
    EXPECT_EQ(late.PutTX(&byte, 1) + late.GetTX(&byte, 1) + late.GetTXDataSkip(1), -3);
    EXPECT_EQ(late.GetTXDataLine(text, 4) + late.GetTXDataPeek(text, 4), -2);
}
