// The virtual bus seen through gateways: who receives what, in which order,
// what a CAN network would carry and how, who counts what a full queue
// drops, and traffic from several threads at once. What every transport
// owes is checked by the link contract.
#include "net/vbus/VirtualBus.h"
#include "net/vbus/VirtualBusTransport.h"
#include "buffers/ChunkedBytes.h"
#include "tests/net/GatewayRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <thread>
#include <vector>

namespace {

using ferrow::net::FrameLog;
using ferrow::net::VirtualBus;
using ferrow::test::GatewayRig;
using ferrow::test::Numbered;
using ferrow::test::SeqOf;
using Got = std::vector<std::pair<int, uint32_t>>;

// Everything waiting at `gateway`, as (source, seq) pairs.
Got Drain(Brovik_c& gateway) {
    Got got;
    N2KMsg msg{};
    while (gateway.GetMsg(&msg) == N2K_OK) got.emplace_back(msg.addressA, SeqOf(msg));
    return got;
}

TEST(VirtualBus, EachGatewayReceivesTheOthersMessagesInOrderAndNeverItsOwn) {
    GatewayRig rig;
    auto gw = rig.ConnectedOn<3>("vbus:three");
    auto [other] = rig.ConnectedOn<1>("vbus:elsewhere");
    for (uint32_t round = 0; round < 3; ++round) {
        for (uint8_t node = 0; node < 3; ++node) {
            N2KMsg msg = Numbered(node, 10 * node + round);
            ASSERT_EQ(gw[node]->PutMsg(&msg), N2K_OK);
        }
    }
    EXPECT_EQ(Drain(*gw[0]), (Got{{1, 10}, {2, 20}, {1, 11}, {2, 21}, {1, 12}, {2, 22}}));
    EXPECT_EQ(Drain(*gw[1]), (Got{{0, 0}, {2, 20}, {0, 1}, {2, 21}, {0, 2}, {2, 22}}));
    EXPECT_EQ(Drain(*gw[2]), (Got{{0, 0}, {1, 10}, {0, 1}, {1, 11}, {0, 2}, {1, 12}}));
    EXPECT_EQ(Drain(*other), Got{}) << "another bus name is another network";
}

// Only the receiver counts what its full queue dropped, and the count
// outlives its connection: a node on a cable does not learn that another
// missed a frame. Leaving drops the queue, and is no drop itself.
TEST(VirtualBus, LeavingDropsTheQueueAndNothingMoreArrivesButTheCountOfDropsStays) {
    GatewayRig rig;
    auto [sender, leaver] = rig.ConnectedOn<2>("vbus:leave");
    auto put = [&sender = sender](uint32_t seq) {
        N2KMsg msg = Numbered(1, seq);
        return sender->PutMsg(&msg);
    };
    const uint32_t flood = VirtualBus::kQueueLimit + 10;
    for (uint32_t seq = 0; seq < flood; ++seq) ASSERT_EQ(put(seq), N2K_OK);
    EXPECT_EQ(sender->DroppedCount(), 0u);
    ASSERT_EQ(leaver->DisConnect(), 0);
    EXPECT_EQ(leaver->DroppedCount(), 10u);
    ASSERT_EQ(put(flood), N2K_OK);
    ASSERT_EQ(leaver->Connect(), 0);
    ASSERT_EQ(put(flood + 1), N2K_OK);
    EXPECT_EQ(Drain(*leaver), (Got{{1, flood + 1}})) << "neither the queued nor the missed message";
    EXPECT_EQ(leaver->DroppedCount(), 10u);
}

// A receiver that fell behind until its queue was full gets its memory back
// as it catches up, the sending instants kept beside the records too, each
// still holding back its own message.
TEST(VirtualBus, AQueueThatWasFullGivesItsMemoryBackAsItEmpties) {
    VirtualBus bus;
    VirtualBus::Member from, to;
    bus.Join(from);
    bus.Join(to);
    for (uint32_t seq = 0; seq < VirtualBus::kQueueLimit + 1; ++seq) {
        bus.Send(from, Numbered(1, seq), {&bus, seq});
    }
    EXPECT_EQ(to.Dropped(), 1u);
    EXPECT_LT(to.ReservedBytes(), VirtualBus::kQueueLimit * 64) << "not 1,800 bytes a record";
    N2KMsg msg{};
    for (uint32_t seq = 0; seq < VirtualBus::kQueueLimit; ++seq) {
        ASSERT_FALSE(seq > 0 && to.Take(msg, {&bus, seq - 1})) << "each waits for its instant";
        ASSERT_TRUE(to.Take(msg, {&bus, seq}));
        ASSERT_EQ(SeqOf(msg), seq);
    }
    EXPECT_LE(to.ReservedBytes(), 2 * ferrow::buffers::ChunkedBytes::kChunk);
    bus.Leave(from);
    bus.Leave(to);
}

// Records arrive as sent, but for the transport, which is what a CAN network
// would carry them with, and the priority of one over ISO transport, whose
// frames go at 7. What no CAN framing holds is refused as the CAN path
// refuses it.
TEST(VirtualBus, CarriesWhatACanNetworkCarriesAsItWouldAndRefusesTheRest) {
    GatewayRig rig;
    auto [sender, receiver] = rig.ConnectedOn<2>("vbus:bytes");
    for (uint16_t length : {0, 8, 223, 1785}) {
        SCOPED_TRACE(length);
        N2KMsg sent = Numbered(0x23, 0, length);
        sent.pgn = 127245;  // rudder: single-frame, past 8 bytes ISO transport
        sent.priority = 2;
        sent.transport = 2;
        sent.addressB = 0x7E;
        for (unsigned i = 0; i < length; ++i) sent.data[i] = uint8_t(i * 7 + length);
        sent.timeStamp = 0xCAFE0000u + length;
        N2KMsg msg = sent;
        ASSERT_EQ(sender->PutMsg(&msg), N2K_OK);
        EXPECT_EQ(std::memcmp(&msg, &sent, sizeof msg), 0) << "the sender's record is unchanged";

        N2KMsg got;
        std::memset(&got, 0xEE, sizeof got);
        ASSERT_EQ(receiver->GetMsg(&got), N2K_OK);
        sent.transport = length <= 8 ? 1 : 3;
        if (length > 8) sent.priority = 7;
        EXPECT_EQ(std::memcmp(&got, &sent, offsetof(N2KMsg, data) + length), 0);
        EXPECT_EQ(got.timeStamp, sent.timeStamp);
        EXPECT_EQ(got.data[length], 0xEE) << "only `length` bytes are written";
    }
    N2KMsg tooLong = Numbered(0x23, 1, 1786), badPriority = Numbered(0x23, 2),
           badPgn = Numbered(0x23, 3);
    badPriority.priority = 8;
    badPgn.pgn = 59905;
    for (N2KMsg* bad : {&tooLong, &badPriority, &badPgn}) {
        EXPECT_EQ(sender->PutMsg(bad), N2K_BAD_MESSAGE) << SeqOf(*bad);
    }
    N2KMsg got{};
    EXPECT_EQ(receiver->GetMsg(&got), N2K_NO_MESSAGE);
}

// A closed member answers that it is not connected; what it counts is the
// CAN frames that would carry its messages, and a recording that fails.
TEST(VirtualBus, AClosedMemberIsNotConnectedAndAnOpenOneCountsFramesAsCanWould) {
    ferrow::net::VirtualBusTransport sender("stats", std::make_unique<FrameLog>("/dev/full"));
    ferrow::net::VirtualBusTransport receiver("stats");
    N2KMsg msg = Numbered(0x23, 0);
    EXPECT_EQ(sender.Send(msg), N2K_NOT_CONNECTED);
    EXPECT_EQ(sender.Fetch(msg), N2K_NOT_CONNECTED);
    ASSERT_EQ(sender.Open(), 0);
    ASSERT_EQ(receiver.Open(), 0);
    ::testing::internal::CaptureStderr();
    ASSERT_EQ(sender.Send(Numbered(0x23, 1, 223)), N2K_OK);
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.find("Gateway: Stopped recording CAN frames to \"/dev/full\""), 0u) << said;
    ASSERT_EQ(receiver.Send(Numbered(0x42, 2, 3)), N2K_OK);
    ASSERT_EQ(sender.Fetch(msg), N2K_OK);
    FerrowGatewayStats stats{};
    sender.AddStats(stats);
    EXPECT_EQ(stats.framesOut, 32u);
    EXPECT_EQ(stats.framesIn, 1u);
    EXPECT_EQ(stats.busBits, 33u * (67 + 64)) << "group function is a fast packet, padded";
    EXPECT_EQ(stats.recordingFailures, 1u);
    sender.Close();
    EXPECT_EQ(sender.Send(msg), N2K_NOT_CONNECTED);
    EXPECT_EQ(sender.Fetch(msg), N2K_NOT_CONNECTED);
}

// Two senders and a receiver that keeps up, while a fourth gateway joins and
// leaves over and over: the receiver loses nothing and sees each sender's
// messages in order, and every receiver sees the senders in the same order.
TEST(VirtualBus, ConcurrentTrafficWithChurnLosesNothingAndKeepsOrder) {
    GatewayRig rig;
    auto gw = rig.ConnectedOn<4>("vbus:churn");  // senders 0 and 1, receiver 2, witness 3
    auto churner = rig.Make("vbus:churn");
    constexpr uint32_t kEach = 20000;
    // Far below the queue limit, so that a receiver that keeps up never fills.
    constexpr uint32_t kInFlight = 500;
    constexpr uint8_t kChurner = 4;
    std::atomic<uint32_t> received[5] = {};
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};

    auto send = [&](uint8_t node) {
        for (uint32_t seq = 0; seq < kEach; ++seq) {
            while (seq - received[node] >= kInFlight && !done) std::this_thread::yield();
            N2KMsg msg = Numbered(node, seq, seq % 2 ? 8 : 223);
            failures += gw[node]->PutMsg(&msg) != N2K_OK;
        }
    };
    std::thread a(send, 0);
    std::thread b(send, 1);
    std::thread churn([&] {
        N2KMsg msg{};
        for (uint32_t seq = 0; !done;) {
            failures += churner->Connect() != 0;
            if (seq - received[kChurner] < kInFlight) {
                msg = Numbered(kChurner, seq++);
                failures += churner->PutMsg(&msg) != N2K_OK;
            }
            churner->GetMsg(&msg);
            failures += churner->DisConnect() != 0;
        }
    });

    Got order;
    uint32_t next[5] = {};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    N2KMsg msg{};
    while ((received[0] < kEach || received[1] < kEach) &&
           std::chrono::steady_clock::now() < deadline) {
        if (gw[2]->GetMsg(&msg) != N2K_OK) {
            std::this_thread::yield();
            continue;
        }
        const uint8_t node = msg.addressA;
        if (node != 0 && node != 1 && node != kChurner) {
            ++failures;
            continue;
        }
        failures += SeqOf(msg) != next[node]++;
        ++received[node];
        if (node != kChurner) order.emplace_back(node, SeqOf(msg));
    }
    done = true;
    a.join();
    b.join();
    churn.join();

    EXPECT_EQ(received[0], kEach);
    EXPECT_EQ(received[1], kEach);
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(gw[2]->DroppedCount(), 0u);
    // The witness never read: it holds the bus's first messages.
    Got witnessed = Drain(*gw[3]);
    witnessed.erase(std::remove_if(witnessed.begin(), witnessed.end(),
                                   [](auto& m) { return m.first == kChurner; }),
                    witnessed.end());
    witnessed.resize(std::min(witnessed.size(), order.size()));
    EXPECT_TRUE(std::equal(witnessed.begin(), witnessed.end(), order.begin()));
}

}  // namespace
