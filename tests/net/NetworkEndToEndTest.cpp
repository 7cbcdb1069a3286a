// Two emulated devices on a real network of sockets: one is the gateway
// (tcp-listen), the other its client; the gateway's device records what it
// sends, and a third device replays that recording as its network.
#include "tests/support/Eventually.h"
#include "tests/support/FreeLoopbackPort.h"
#include "tests/support/TestEmulator.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

using ferrow::test::Eventually;
using ferrow::test::FreeLoopbackPort;
using ferrow::test::TempDir;
using ferrow::test::TestEmulator;

namespace {

std::unique_ptr<TestEmulator> Device(const std::string& config) {
    return std::make_unique<TestEmulator>(nullptr, 0, nullptr, config);
}

N2KMsg Broadcast(uint32_t pgn, uint8_t transport, uint8_t source, uint16_t length) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = 6;
    msg.transport = transport;
    msg.addressA = source;
    msg.addressB = 255;
    msg.length = length;
    for (int i = 0; i < msg.length; ++i) msg.data[i] = uint8_t(0x20 + i % 90);
    return msg;
}

N2KMsg ProductInformation() { return Broadcast(126996, 2, 0x23, 134); }

bool SameMessage(const N2KMsg& a, const N2KMsg& b) {
    return a.pgn == b.pgn && a.priority == b.priority && a.addressA == b.addressA &&
           a.addressB == b.addressB && a.length == b.length &&
           std::equal(a.data, a.data + a.length, b.data);
}

}  // namespace

TEST(NetworkEndToEnd, ADeviceReachesAnotherThroughTcpAndARecordingReplaysIt) {
    TempDir dir;
    const std::string log = dir.File("trip.log");
    const std::string port = std::to_string(FreeLoopbackPort());
    auto gateway = Device("GW_PORT_NAME=\"tcp-listen:" + port + ":candump\"\nGW_LOG_FILE=\"" + log +
                          "\"\n");
    auto client = Device("GW_PORT_NAME=\"tcp:127.0.0.1:" + port + ":candump\"\n");
    ASSERT_EQ((*gateway)->Connect(), 0);
    ASSERT_EQ((*client)->Connect(), 0);
    EXPECT_NE((*client)->IsConnected(), 0);

    // The client hears the device once its connection has been accepted.
    const N2KMsg sent = ProductInformation();
    N2KMsg got{};
    ASSERT_TRUE(Eventually([&] {
        N2KMsg msg = sent;
        (*gateway)->PutMsg(&msg);
        return (*client)->GetMsg(&got) == N2K_OK;
    }));
    EXPECT_TRUE(SameMessage(sent, got));
    EXPECT_EQ(got.transport, 2);
    (*gateway)->DisConnect();
    EXPECT_EQ((*gateway)->IsConnected(), 0);

    // Every fast-packet frame the gateway sent is in the log, and replaying
    // it gives the message back.
    auto replay = Device("GW_PORT_NAME=\"file:" + log + ":fast\"\n");
    ASSERT_EQ((*replay)->Connect(), 0);
    N2KMsg replayed{};
    ASSERT_TRUE(Eventually([&] { return (*replay)->GetMsg(&replayed) == N2K_OK; }));
    EXPECT_TRUE(SameMessage(sent, replayed));
}

// The virtual bus carries whole messages; its recording holds the frames that
// would carry them, both ways, and replays as the same messages in order.
TEST(NetworkEndToEnd, AVirtualBusIsRecordedAsFramesThatReplay) {
    TempDir dir;
    const std::string log = dir.File("bus.log");
    auto recorder = Device("GW_PORT_NAME=\"vbus:recorded\"\nGW_LOG_FILE=\"" + log + "\"\n");
    auto other = Device("GW_PORT_NAME=\"vbus:recorded\"\n");
    ASSERT_EQ((*recorder)->Connect(), 0);
    ASSERT_EQ((*other)->Connect(), 0);

    N2KMsg sent = ProductInformation();
    ASSERT_EQ((*recorder)->PutMsg(&sent), N2K_OK);
    N2KMsg heard = Broadcast(127508, 1, 0x42, 8);
    ASSERT_EQ((*other)->PutMsg(&heard), N2K_OK);
    N2KMsg got{};
    ASSERT_EQ((*recorder)->GetMsg(&got), N2K_OK);
    (*recorder)->DisConnect();

    std::ifstream file(log);
    int lines = 0;
    for (std::string line; std::getline(file, line);) ++lines;
    // 134 bytes take 20 fast-packet frames; the battery status one.
    EXPECT_EQ(lines, 21);
    auto replay = Device("GW_PORT_NAME=\"file:" + log + ":fast\"\n");
    ASSERT_EQ((*replay)->Connect(), 0);
    for (const N2KMsg& expected : {sent, heard}) {
        N2KMsg replayed{};
        ASSERT_TRUE(Eventually([&] { return (*replay)->GetMsg(&replayed) == N2K_OK; }));
        EXPECT_TRUE(SameMessage(expected, replayed)) << replayed.pgn;
    }
}

TEST(NetworkEndToEnd, UnreachableNetworksFailConnectWithoutHanging) {
    const std::string port = std::to_string(FreeLoopbackPort());
    auto refused = Device("GW_PORT_NAME=\"tcp:127.0.0.1:" + port + "\"\n");
    EXPECT_LT((*refused)->Connect(), 0);
    EXPECT_EQ((*refused)->IsConnected(), 0);
    auto missing = Device("GW_PORT_NAME=\"file:/nonexistent/trip.log\"\n");
    EXPECT_LT((*missing)->Connect(), 0);
    auto malformed = Device("GW_PORT_NAME=\"tcp:nowhere\"\n");
    EXPECT_LT((*malformed)->Connect(), 0);
}
