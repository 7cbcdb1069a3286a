// The I2C bus's dispatch to its slaves, which use the bus while they run,
// and the SPI bus's empty pin list.
#include "tests/support/Eventually.h"

#include <ferrow/Ferrow_I2C_c.h>
#include <ferrow/Ferrow_SPI_c.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

using ferrow::test::Eventually;

namespace {

std::string seen;
int PlainRead(unsigned char* buffer, unsigned short length, int a, int b) {
    buffer[length - 1] = 'r';
    seen = std::to_string(length) + " " + std::to_string(a) + " " + std::to_string(b);
    return 100;
}

// Uses the bus from another thread while the slave runs: that thread gets
// through only if no lock is held. The test joins it once the call returned.
std::thread probe;
std::atomic<bool> through;
int ProbingWrite(void* bus, unsigned char*, unsigned short, int, int) {
    through = false;
    probe = std::thread([bus] { through = static_cast<Ferrow_I2C_c*>(bus)->SA2Dat(0x60); });
    return Eventually([] { return through.load(); }, std::chrono::seconds(2)) ? 300 : 0;
}
void ProbingInit(void* bus, int arg) { seen = std::to_string(arg + ProbingWrite(bus, 0, 0, 0, 0)); }

}  // namespace

TEST(Ferrow_I2C_c, TransfersReachTheFirstSlaveAtTheAddressUnlockedElseFailWithMinusOneOrTwo) {
    Ferrow_I2C_c bus(nullptr, 0, 1);
    EXPECT_EQ(bus.AddSlave(0x50, PlainRead, nullptr, "eeprom"), 0);
    EXPECT_EQ(bus.AddSlave(0x50, Ferrow_I2C_c::SlaveFn{}, nullptr, nullptr), 1);
    EXPECT_EQ(bus.AddSlave(0x60, nullptr, ProbingWrite, "dac"), 2);
    unsigned char buffer[16] = {};
    struct Row { bool write; unsigned short address; int result; };
    const Row rows[] = {{false, 0x50, 100}, {true, 0x50, -2}, {false, 0x51, -1},
                        {true, 0x60, 300},  {false, 0x60, -2}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << (row.write ? "WN " : "RN ") << row.address);
        EXPECT_EQ(row.write ? bus.WN(row.address, buffer, 16, 7, -8)
                            : bus.RN(row.address, buffer, 16, 7, -8),
                  row.result);
        if (probe.joinable()) probe.join();
    }
    EXPECT_EQ(seen, "16 7 -8");
    EXPECT_EQ(buffer[15], 'r') << "the slave fills the caller's own buffer";
    EXPECT_EQ(bus.SA2Dat(0x10050), nullptr) << "only 16-bit addresses match";

    bus.Init(3);
    EXPECT_EQ(seen, "16 7 -8") << "no init function yet";
    bus.AssignInit(ProbingInit);
    bus.Init(3);
    probe.join();
    EXPECT_EQ(seen, "303") << "called with 3, and no lock held";
}

TEST(Ferrow_SPI_c, HasNoPinsSoEveryPinLookupFails) {
    Ferrow_SPI_c spi(nullptr, 0, 1);
    char name[8];
    EXPECT_EQ(spi.GetTotalPin(), 0);
    EXPECT_EQ(spi.ID2PN(0), static_cast<unsigned long>(-1));
    EXPECT_EQ(spi.GetName(0, name), -1);
}
