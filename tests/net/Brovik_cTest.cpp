// The gateway object: its statuses, its connection value, and connecting and
// disconnecting while another thread moves messages through it.
#include "tests/net/GatewayRig.h"
#include "tests/support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using ferrow::test::GatewayRig;
using ferrow::test::Numbered;

TEST(BrovikGateway, StatusesFollowTheRecordAndTheConnection) {
    GatewayRig rig;
    auto [gateway, peer] = rig.ConnectedOn<2>("vbus:statuses");
    N2KMsg msg = Numbered(1, 7);
    N2KMsg oversize = Numbered(1, 8);
    oversize.length = N2KMsg::kMaxData + 1;
    EXPECT_EQ(gateway->PutMsg(nullptr), N2K_BAD_MESSAGE);
    EXPECT_EQ(gateway->GetMsg(nullptr), N2K_BAD_MESSAGE);
    EXPECT_EQ(gateway->PutMsg(&oversize), N2K_BAD_MESSAGE);
    EXPECT_EQ(peer->GetMsg(&msg), N2K_NO_MESSAGE) << "nothing refused reached the bus";

    // Nothing waiting: the record is not written.
    N2KMsg untouched;
    std::memset(&untouched, 0xA5, sizeof untouched);
    const N2KMsg before = untouched;
    EXPECT_EQ(gateway->GetMsg(&untouched), N2K_NO_MESSAGE);
    EXPECT_EQ(std::memcmp(&untouched, &before, sizeof before), 0);

    EXPECT_EQ(gateway->Connect(), 0) << "already connected";
    ASSERT_EQ(peer->PutMsg(&msg), N2K_OK);
    EXPECT_EQ(gateway->GetMsg(&msg), N2K_OK);
    EXPECT_EQ(gateway->GetMsg(&msg), N2K_NO_MESSAGE) << "joined the bus once, so one copy";

    EXPECT_EQ(gateway->DisConnect(), 0);
    EXPECT_EQ(gateway->DisConnect(), 0) << "already disconnected";
    EXPECT_EQ(gateway->connected, 0);
    EXPECT_EQ(gateway->PutMsg(&msg), N2K_NOT_CONNECTED);
    EXPECT_EQ(gateway->GetMsg(&msg), N2K_NOT_CONNECTED);
    EXPECT_EQ(gateway->PutMsg(&oversize), N2K_BAD_MESSAGE) << "the record is judged first";
}

TEST(BrovikGateway, ConnectionValueIsPositiveDistinctAndStable) {
    GatewayRig rig;
    auto first = rig.Make("vbus:values");
    auto second = rig.Make("vbus:values");
    const int value = first->connectionValue;
    EXPECT_GT(value, 0);
    EXPECT_GT(second->connectionValue, 0);
    EXPECT_NE(second->connectionValue, value);
    ASSERT_EQ(first->Connect(), 0);
    ASSERT_EQ(first->DisConnect(), 0);
    EXPECT_EQ(first->connectionValue, value);
}

TEST(BrovikGateway, GatewaysOnTheDefaultPortShareOneBus) {
    GatewayRig rig;
    auto [first, second] = rig.ConnectedOn<2>("COM5");
    N2KMsg msg = Numbered(1, 42);
    ASSERT_EQ(first->PutMsg(&msg), N2K_OK);
    N2KMsg got{};
    ASSERT_EQ(second->GetMsg(&got), N2K_OK);
    EXPECT_EQ(ferrow::test::SeqOf(got), 42u);

    // Destroying a connected gateway takes it off the bus.
    second.reset();
    EXPECT_EQ(first->PutMsg(&msg), N2K_OK);
}

// The host connects and disconnects while the firmware's worker sends and
// polls: every call sees either the old state or the new one.
TEST(BrovikGateway, ConnectionChangesRaceSafelyWithMessages) {
    GatewayRig rig;
    auto gateway = rig.Make("vbus:race");
    auto [peer] = rig.ConnectedOn<1>("vbus:race");
    std::atomic<bool> done{false};
    std::atomic<int> unexpected{0};
    std::atomic<int> fetched{0};
    std::thread worker([&] {
        N2KMsg msg = Numbered(1, 0);
        while (!done) {
            const N2KStatus put = gateway->PutMsg(&msg);
            const N2KStatus get = gateway->GetMsg(&msg);
            fetched += get == N2K_OK;
            unexpected += put != N2K_OK && put != N2K_NOT_CONNECTED;
            unexpected += get == N2K_BAD_MESSAGE || get == N2K_TX_BUSY;
        }
    });
    std::thread peerSender([&, &peer = peer] {
        N2KMsg msg = Numbered(2, 0);
        while (!done) peer->PutMsg(&msg);
    });
    int failed = 0;
    for (int i = 0; i < 2000; ++i) failed += gateway->Connect() + gateway->DisConnect() != 0;
    failed += gateway->Connect() != 0;
    EXPECT_TRUE(ferrow::test::Eventually([&] { return fetched > 0; }));
    done = true;
    worker.join();
    peerSender.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(unexpected, 0);
}

}  // namespace
