// The serial port as firmware and line see it: the receive callback, Init,
// rates, and a firmware thread transmitting while the line reads.
#include "peripherals/serial/SerialPortTable.h"
#include "tests/support/Eventually.h"

#include <ferrow/Ferrow_Serial_c.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

using ferrow::peripherals::SerialPortTable;
using ferrow::test::Eventually;

namespace {

Ferrow_Serial_c* port;
std::vector<std::string> received;  // what each callback read, with its handle
std::thread probe;
std::atomic<bool> through;

// Reads the ring at once, and asks for the device handle from another thread:
// both get through only if PutRX holds no lock around the callback. The test
// joins that thread once PutRX has returned.
void OnReceive(int handle) {
    unsigned char bytes[16];
    const int n = port->GetRX(bytes, sizeof bytes);
    through = false;
    probe = std::thread([] {
        port->GetHndl_dev();
        through = true;
    });
    const bool unlocked = Eventually([] { return through.load(); }, std::chrono::seconds(2));
    received.push_back(std::to_string(handle) + ":" + std::string(bytes, bytes + n) +
                       (unlocked ? "" : " (locked)"));
}

int Put(int (Ferrow_Serial_c::*put)(const unsigned char*, int), const std::string& text) {
    return (port->*put)(reinterpret_cast<const unsigned char*>(text.data()), int(text.size()));
}

}  // namespace

TEST(Ferrow_Serial_c, PutRXRaisesTheCallbackOnceWhichReadsTheBytesAtOnce) {
    Ferrow_Serial_c serial(nullptr, 0, 1);
    port = &serial;
    received.clear();
    serial.InitV2(OnReceive, 7);
    EXPECT_EQ(Put(&Ferrow_Serial_c::PutRX, "abc"), 3);
    probe.join();
    EXPECT_EQ(Put(&Ferrow_Serial_c::PutRX, std::string(65537, 'x')), -1);
    probe.join();
    serial.Disable();
    EXPECT_EQ(Put(&Ferrow_Serial_c::PutRX, "late"), 4);
    EXPECT_EQ(received, (std::vector<std::string>{"7:abc", "7:"}))
        << "a refused PutRX still raises it; none after Disable";
    unsigned char bytes[8];
    EXPECT_EQ(serial.GetRX(bytes, 8), 4);
}

TEST(Ferrow_Serial_c, InitEmptiesBothRingsAndSetsTheHandleAndOnlyStandardRatesAreKept) {
    Ferrow_Serial_c serial(nullptr, 0, 1);
    port = &serial;
    unsigned char bytes[8];
    EXPECT_EQ(serial.GetHndl_dev(), -1);
    serial.InitV2([](int) {}, 9);
    EXPECT_EQ(serial.GetHndl_dev(), 9);
    Put(&Ferrow_Serial_c::PutTX, "tx");
    Put(&Ferrow_Serial_c::PutRX, "rx");
    serial.Init(nullptr);
    EXPECT_EQ(serial.GetHndl_dev(), 0);
    EXPECT_EQ(serial.GetRX(bytes, 8) + serial.GetTX(bytes, 8), 0);

    for (unsigned long rate : {9600ul, 300ul}) serial.SetBaud(rate);
    EXPECT_EQ(SerialPortTable::At(serial.GetHndl())->baud, 9600u);
}

TEST(Ferrow_Serial_c, LinesWrittenByTheFirmwareThreadArriveOnceAndInOrder) {
    Ferrow_Serial_c serial(nullptr, 0, 1);
    port = &serial;
    constexpr int kLines = 100000;
    std::thread firmware([] {
        for (int i = 0; i < kLines; ++i) {
            const std::string line = "line " + std::to_string(i) + "\r";
            while (Put(&Ferrow_Serial_c::PutTX, line) == -1) std::this_thread::yield();
        }
    });
    int next = 0;
    bool inOrder = true;
    char buffer[64];
    Eventually([&] {
        while (inOrder && serial.GetTXDataLine(buffer, sizeof buffer) > 0) {
            inOrder = buffer == "line " + std::to_string(next++) + "\r";
        }
        return !inOrder || next == kLines;
    }, std::chrono::seconds(60));
    firmware.join();
    EXPECT_TRUE(inOrder) << "line " << next - 1 << " read as " << buffer;
    EXPECT_EQ(next, kLines);
    EXPECT_EQ(serial.GetTXDataPeek(buffer, 64), 0);
}
