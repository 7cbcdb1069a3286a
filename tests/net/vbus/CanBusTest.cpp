// The CAN-like bus: arbitration and the instants frames end, the same
// whatever order members run in at one virtual instant; a gateway held back
// by higher priorities, and the bus's load; time domains that do not mix;
// gateways on threads of their own in real time. What every link owes is
// checked by the link contract.
#include "net/TransportFactory.h"
#include "net/can/CanBitTiming.h"
#include "net/can/TransmitQueue.h"
#include "net/vbus/CanBusLink.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>
#include <thread>

namespace {

using ferrow::net::CanBitTiming;
using ferrow::net::CanBus;
using ferrow::net::CanBusLink;
using ferrow::net::GatewayTransport;
using ferrow::net::TransportForPort;
using ferrow::platform::VirtualClock;
using namespace ferrow::test;

// A frame as a receiver heard it, and when its last bit ended.
using Heard = std::pair<CanFrame, CanBus::Micros>;
using Log = std::vector<Heard>;

Log Drain(CanBusLink& link, Log log = {}) {
    Heard heard;
    while (link.Receive(heard.first, heard.second)) log.push_back(heard);
    return log;
}

CanBus::Micros Bits(const CanFrame& frame) {
    return CanBitTiming::WireBits(frame) * CanBitTiming::kMicrosPerBit;
}

// Links on one bus and one virtual clock, joined in the order made.
struct Members {
    Members(const std::string& bus, std::size_t count) {
        std::string error;
        for (std::size_t i = 0; i < count; ++i) {
            links.push_back(std::make_unique<CanBusLink>(bus, clock));
            EXPECT_EQ(links.back()->Open(error), 0) << error;
        }
    }
    CanBusLink& operator[](std::size_t i) { return *links[i]; }
    uint64_t BusErrors(std::size_t i) {
        FerrowGatewayStats stats{};
        links[i]->AddStats(stats);
        return stats.busErrors;
    }

    const std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    std::vector<std::unique_ptr<CanBusLink>> links;
};

TEST(CanBus, TheLowestIdentifierWaitingWhenTheWireFreesGoesNextAndEndsOnItsBitTime) {
    Members bus("arbitration", 5);  // the last one only listens
    const CanFrame low = Frame(0x08F00401, {1, 2, 3, 4, 5, 6, 7, 8}),
                   middle = Frame(0x0CF00402, {0, 0, 0, 0, 0, 0, 0, 0}),
                   high = Frame(0x1CF00403, {0xFF, 0xFF, 0xFF}), later = Frame(0x0CF00400, {0x55});
    ASSERT_TRUE(bus[0].Send(high) && bus[1].Send(low) && bus[2].Send(middle));
    EXPECT_EQ(Drain(bus[4]), Log{}) << "nothing has ended at the instant it was handed";
    // Two eight-byte frames take over a millisecond: `later`, handed at 1 ms,
    // competes when the wire frees and beats `high`, waiting since 0.
    ASSERT_GT(Bits(low) + Bits(middle), 1000u);
    bus.clock->Set(1);
    ASSERT_TRUE(bus[3].Send(later));
    const CanBus::Micros t1 = Bits(low), t2 = t1 + Bits(middle), t3 = t2 + Bits(later);
    EXPECT_EQ(Drain(bus[4]), (Log{{low, t1}}));
    bus.clock->Set(5);
    EXPECT_EQ(Drain(bus[4]), (Log{{middle, t2}, {later, t3}, {high, t3 + Bits(high)}}));
    EXPECT_EQ(Drain(bus[0]), (Log{{low, t1}, {middle, t2}, {later, t3}})) << "not its own";

    // Identical frames handed at once go as one frame; with other data, the
    // lower length code, then the lower data, wins, and each loser counts a
    // bus error and tries again.
    const CanFrame same = Frame(0x18EEFF23, {1, 2, 3}), x = Frame(0x0DF01023, {0x02}),
                   y = Frame(0x0DF01023, {0x00, 0x00}), z = Frame(0x0DF01023, {0x01});
    Drain(bus[1]);
    ASSERT_TRUE(bus[0].Send(same) && bus[1].Send(same));
    bus.clock->Set(6);
    EXPECT_EQ(Drain(bus[4]), (Log{{same, 5000 + Bits(same)}}));
    EXPECT_EQ(Drain(bus[0]).size() + Drain(bus[1]).size(), 0u);
    ASSERT_TRUE(bus[0].Send(x) && bus[1].Send(y) && bus[2].Send(z));
    bus.clock->Set(9);
    const CanBus::Micros zEnd = 6000 + Bits(z);
    EXPECT_EQ(Drain(bus[4]), (Log{{z, zEnd}, {x, zEnd + Bits(x)}, {y, zEnd + Bits(x) + Bits(y)}}));
    EXPECT_EQ(std::vector<uint64_t>({bus.BusErrors(0), bus.BusErrors(1), bus.BusErrors(2)}),
              (std::vector<uint64_t>{1, 2, 0}));
    EXPECT_EQ(bus[0].Bus()->Carried(), 8u);
}

// Four members hand frames of three identifiers, faster than the wire takes
// them; at each instant they run in the order given. What the listener
// hears, and what each sender was refused, is the result.
Log Scenario(const std::string& name, const std::vector<std::size_t>& order) {
    Members bus(name, 5);
    std::mt19937 random(1457);
    std::vector<Log> refused(4);
    for (uint64_t ms = 0; ms < 40; ++ms) {
        bus.clock->Set(ms);
        std::vector<Log> script(4);
        for (Log& frames : script) {
            for (unsigned n = random() % 4; n > 0; --n) {
                frames.push_back({Frame(0x09F00000 + random() % 3, {uint8_t(random() % 2)}), ms});
            }
        }
        for (std::size_t member : order) {
            for (const Heard& frame : script[member]) {
                if (!bus[member].Send(frame.first)) refused[member].push_back(frame);
            }
            Drain(bus[member]);
        }
    }
    bus.clock->Set(100);
    Log log = Drain(bus[4]);
    for (const Log& member : refused) log.insert(log.end(), member.begin(), member.end());
    return log;
}

TEST(CanBus, TheWireIsTheSameWhateverOrderMembersRunInAtAnInstant) {
    const Log log = Scenario("order0", {0, 1, 2, 3});
    EXPECT_GT(log.size(), 100u);
    EXPECT_EQ(Scenario("order1", {3, 1, 0, 2}), log);
    EXPECT_EQ(Scenario("order2", {2, 3, 1, 0}), log);
}

// A gateway's frames at priority 7 never win against a member flooding at
// priority 0: its link's buffer and its transmit queue fill, and then Send
// says N2K_TX_BUSY. Freed, everything it took follows in order. A gateway
// that never fetches drops what its link cannot hold; the figures of one
// that reads everything are the wire's exact bits. The wire, busy from 0
// past 1 s, is loaded 100% in the first second.
TEST(CanBus, AGatewayHeldBackByHigherPrioritiesIsBusyAndLosesNothing) {
    const auto clock = std::make_shared<VirtualClock>();
    const ferrow::platform::ProcessClock::Binding simulated(clock);
    CanBusLink flooder("held"), watcher("held");
    std::string error;
    ASSERT_EQ(flooder.Open(error) + watcher.Open(error), 0);
    const auto sender = TransportForPort({"vbus:held:can", "", 0});
    const auto idle = TransportForPort({"vbus:held:can", "", 0});
    ASSERT_EQ(sender->Open() + idle->Open(), 0);

    const CanFrame urgent = Frame(0x01F11299, {0, 1, 2, 3, 4, 5, 6, 7});
    N2KMsg msg = Counting(127250, 7, 0x30, 255, 1, 8), got{};
    const auto numbered = [&msg](uint32_t n) {
        std::memcpy(msg.data, &n, sizeof n);
        return msg;
    };
    uint32_t taken = 0;
    Log log;
    for (uint64_t ms = 0; ms <= 2000; ++ms) {
        clock->Set(ms);
        while (ms < 400 && flooder.Send(urgent)) {
        }
        while (ms == 0 && sender->Send(numbered(taken)) == N2K_OK) ++taken;
        if (ms < 400) {
            ASSERT_EQ(sender->Send(numbered(taken)), N2K_TX_BUSY) << ms;
        }
        while (sender->Fetch(got) == N2K_OK) ASSERT_EQ(got.addressA, 0x99);
        log = Drain(watcher, std::move(log));
        if (ms == 1000) {
            EXPECT_EQ(watcher.Bus()->Load(), 100.0);
        }
    }
    EXPECT_EQ(taken, ferrow::net::TransmitQueue::kCapacity + CanBus::kTransmitLimit);

    uint32_t next = 0;
    uint64_t bits = 0;
    CanBus::Micros end = 0;
    for (const auto& [frame, ended] : log) {
        ASSERT_EQ(ended, end + Bits(frame)) << "back to back";
        end = ended;
        bits += CanBitTiming::WireBits(frame);
        if (frame == urgent) {
            ASSERT_EQ(next, 0u) << "a priority 0 frame after the gateway's";
            continue;
        }
        CanFrame sent = Frame(0x1DF11230, {});
        sent.length = 8;
        std::memcpy(sent.data.data(), numbered(next++).data, sent.length);
        ASSERT_EQ(frame, sent);
    }
    EXPECT_EQ(next, taken);
    EXPECT_DOUBLE_EQ(watcher.Bus()->Load(), (end - 1e6) / 1e4);
    FerrowGatewayStats stats{};
    sender->AddStats(stats);
    EXPECT_EQ(std::vector<uint64_t>({stats.framesOut, stats.busBits, stats.busErrors,
                                     stats.dropped}),
              std::vector<uint64_t>({taken, bits, 0, 0}));
    EXPECT_EQ(idle->Dropped(), log.size() - CanBus::kReceiveLimit);
    for (uint32_t n = 0; n < CanBus::kReceiveLimit; ++n) ASSERT_EQ(idle->Fetch(got), N2K_OK) << n;
    EXPECT_EQ(idle->Fetch(got), N2K_NO_MESSAGE);
}

TEST(CanBus, MembersOfAnotherTimeAreRefusedWithASentence) {
    CanBusLink simulated("times", std::make_shared<VirtualClock>()),
        other("times", std::make_shared<VirtualClock>()), wall("times", nullptr);
    const auto refusal = [](CanBusLink& link) {
        std::string error;
        return link.Open(error) < 0 ? error : "";
    };
    ASSERT_EQ(refusal(simulated), "");
    EXPECT_EQ(refusal(wall), "The CAN bus \"times\" keeps a simulation's virtual time: a gateway "
                             "in real time cannot join it.");
    EXPECT_EQ(refusal(other), "The CAN bus \"times\" keeps the virtual time of another "
                              "simulation: a gateway in this one cannot join it.");
    EXPECT_FALSE(wall.IsUp() || wall.Send(Frame(1, {})));
    // Once its members have left, a bus keeps the time of whoever joins next.
    simulated.Close();
    ASSERT_EQ(refusal(wall), "");
    EXPECT_EQ(refusal(simulated), "The CAN bus \"times\" keeps real time: a gateway in a "
                                  "simulation's virtual time cannot join it.");
}

// Three gateways on threads of their own, in real time, exchange single
// frames, fast packets and an ISO transport connection to the next one:
// each hears everything meant for it, every sender's messages in order.
TEST(CanBus, GatewaysOnThreadsOfTheirOwnLoseNothing) {
    constexpr uint8_t kMembers = 3;
    constexpr uint32_t kEach = 45;  // 40 single frames, 5 fast packets, then the connection
    const auto script = [](uint8_t member, uint32_t n) {
        const uint8_t from = 0x40 + member, to = 0x40 + (member + 1) % kMembers;
        N2KMsg msg = n < 40   ? Counting(127250, 2, from, 255, 1, 8)
                     : n < 45 ? Counting(129029, 3, from, 255, 2, 223)
                              : Counting(126208, 3, from, to, 2, 300);
        std::memcpy(msg.data, &n, sizeof n);
        return msg;
    };
    std::vector<std::unique_ptr<GatewayTransport>> gateways;
    for (uint8_t member = 0; member < kMembers; ++member) {
        gateways.push_back(TransportForPort({"vbus:threads:can", "", 0}));
        ASSERT_EQ(gateways.back()->Open(), 0);
        gateways.back()->SetDeviceAddress(0x40 + member);
    }
    std::atomic<int> finished{0};
    std::vector<std::vector<N2KMsg>> heard(kMembers);
    std::vector<std::thread> threads;
    for (uint8_t member = 0; member < kMembers; ++member) {
        threads.emplace_back([&, member] {
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
            uint32_t sent = 0;
            bool done = false;
            // Each keeps answering the others' connections until all are done.
            while (finished < kMembers && std::chrono::steady_clock::now() < deadline) {
                if (sent <= kEach && gateways[member]->Send(script(member, sent)) == N2K_OK) ++sent;
                N2KMsg msg{};
                while (gateways[member]->Fetch(msg) == N2K_OK) heard[member].push_back(msg);
                if (!done && sent > kEach && heard[member].size() >= (kMembers - 1) * kEach + 1) {
                    done = true;
                    ++finished;
                }
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (uint8_t member = 0; member < kMembers; ++member) {
        std::vector<uint32_t> next(kMembers, 0);
        for (const N2KMsg& msg : heard[member]) {
            const uint8_t from = msg.addressA - 0x40;
            ASSERT_LT(from, kMembers);
            const N2KMsg want = script(from, next[from]++);
            ASSERT_TRUE(msg.pgn == want.pgn && msg.length == want.length &&
                        std::memcmp(msg.data, want.data, msg.length) == 0)
                << int(member) << " heard " << msg.pgn << " from " << int(from);
        }
        const uint8_t before = (member + kMembers - 1) % kMembers;
        for (uint8_t from = 0; from < kMembers; ++from) {
            EXPECT_EQ(next[from], from == member ? 0 : from == before ? kEach + 1 : kEach)
                << int(member) << " from " << int(from);
        }
        FerrowGatewayStats stats{};
        gateways[member]->AddStats(stats);
        EXPECT_EQ(stats.dropped + stats.lostSends + stats.transportTimeouts + stats.transportAborts,
                  0u);
    }
}

}  // namespace
