// The gateway object: its statuses, its connection value, the transport its
// factory gives it, and connecting and disconnecting while another thread
// moves messages through it.
#include "tests/net/GatewayRig.h"
#include "tests/support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <thread>
#include <vector>

namespace {

using ferrow::net::GatewayTransport;
using ferrow::net::TransportRequest;
using ferrow::test::GatewayRig;
using ferrow::test::Numbered;
using ferrow::test::SeqOf;

// The far side of the transports a test's factory makes: what each
// connection asked for, sent and closed, and what it will receive.
struct FakeNetwork {
    std::vector<TransportRequest> requests;
    int openResult = 0;
    bool up = true;
    bool busy = false;
    uint64_t droppedPerConnection = 0;
    std::deque<N2KMsg> incoming;
    std::vector<N2KMsg> sent;
    std::vector<uint8_t> deviceAddresses;
    int closed = 0;

    ferrow::net::TransportFactory Factory() {
        return [this](const TransportRequest& request) {
            requests.push_back(request);
            return std::make_unique<Transport>(*this);
        };
    }

    class Transport : public GatewayTransport {
    public:
        explicit Transport(FakeNetwork& network) : network_(network) {}
        int Open() override { return network_.openResult; }
        void Close() override { ++network_.closed; }
        N2KStatus Send(const N2KMsg& msg) override {
            if (!network_.up) return N2K_NOT_CONNECTED;
            if (network_.busy) return N2K_TX_BUSY;
            network_.sent.push_back(msg);
            return N2K_OK;
        }
        N2KStatus Fetch(N2KMsg& msg) override {
            if (network_.incoming.empty()) return N2K_NO_MESSAGE;
            msg = network_.incoming.front();
            network_.incoming.pop_front();
            return N2K_OK;
        }
        uint64_t Dropped() const override { return network_.droppedPerConnection; }
        bool IsUp() const override { return network_.up; }
        void SetDeviceAddress(uint8_t address) override { network_.deviceAddresses.push_back(address); }

    private:
        FakeNetwork& network_;
    };
};

// The factory, not the port name, decides: a name no transport knows
// reaches it untouched, with the log file and the search limit.
TEST(BrovikGateway, UsesTheTransportItsFactoryMakes) {
    GatewayRig rig;
    FakeNetwork network;
    auto gateway = rig.Make("tcp:nowhere", network.Factory());
    gateway->maxPortSearch = 7;

    network.openResult = -3;
    EXPECT_EQ(gateway->Connect(), -3);
    EXPECT_EQ(gateway->IsConnected(), 0);
    N2KMsg msg = Numbered(1, 5);
    EXPECT_EQ(gateway->PutMsg(&msg), N2K_NOT_CONNECTED) << "a refused transport is not kept";
    ASSERT_EQ(network.requests.size(), 1u);
    EXPECT_EQ(network.requests[0].portName, "tcp:nowhere");
    EXPECT_EQ(network.requests[0].logPath, "");
    EXPECT_EQ(network.requests[0].portSearchLimit, 7);

    network.openResult = 0;
    network.droppedPerConnection = 4;
    ASSERT_EQ(gateway->Connect(), 0);
    EXPECT_EQ(gateway->IsConnected(), 1);
    ASSERT_EQ(gateway->PutMsg(&msg), N2K_OK);
    N2KMsg foreign = Numbered(9, 6);
    ASSERT_EQ(gateway->PutOtherMsg(&foreign), N2K_OK);
    ASSERT_EQ(network.sent.size(), 2u);
    EXPECT_EQ(SeqOf(network.sent[0]), 5u);
    EXPECT_EQ(network.deviceAddresses, std::vector<uint8_t>{1}) << "only our device's own message";
    network.busy = true;
    EXPECT_EQ(gateway->PutMsg(&msg), N2K_TX_BUSY);
    network.busy = false;
    network.incoming.push_back(Numbered(2, 9));
    N2KMsg got{};
    ASSERT_EQ(gateway->GetMsg(&got), N2K_OK);
    EXPECT_EQ(SeqOf(got), 9u);

    // The flag the emulator reads after PutMsg says what IsConnected says.
    network.up = false;
    EXPECT_EQ(gateway->PutMsg(&msg), N2K_NOT_CONNECTED);
    EXPECT_EQ(gateway->connected, 0);
    EXPECT_EQ(gateway->IsConnected(), 0) << "a network out of reach is told";
    network.up = true;
    EXPECT_EQ(gateway->IsConnected(), 1);

    // Counts add up over connections, each transport counted once.
    ASSERT_EQ(gateway->DisConnect(), 0);
    EXPECT_EQ(network.closed, 1);
    EXPECT_EQ(gateway->Stats().dropped, 4u);
    ASSERT_EQ(gateway->Connect(), 0);
    EXPECT_EQ(gateway->DroppedCount(), 8u);
    ASSERT_EQ(gateway->DisConnect(), 0);
    const FerrowGatewayStats stats = gateway->Stats();
    EXPECT_EQ(stats.dropped, 8u);
    EXPECT_EQ(stats.messagesOut, 2u);
    EXPECT_EQ(stats.messagesIn, 1u);
    EXPECT_EQ(stats.refused, 1u) << "the busy one: not being connected is no error";
    EXPECT_EQ(stats.connected, 0);

    auto none = rig.Make("vbus", [](const TransportRequest&) { return nullptr; });
    EXPECT_EQ(none->Connect(), -1) << "a factory that makes nothing fails the connection";
}

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
#ifdef _WIN32
    GTEST_SKIP() << "COM5 is a serial port on Windows, not the default bus";
#endif
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

// Making a connection can take seconds (a name to resolve, a gateway slow to
// answer): the worker's messages never wait for it, and a DisConnect that
// comes meanwhile wins.
TEST(BrovikGateway, MessagesNeverWaitForAConnectionBeingMade) {
    GatewayRig rig;
    std::atomic<bool> opening{false};
    std::atomic<bool> release{false};
    std::atomic<int> closed{0};
    struct SlowTransport : GatewayTransport {
        SlowTransport(std::atomic<bool>& opening, std::atomic<bool>& release, std::atomic<int>& closed)
            : opening(opening), release(release), closed(closed) {}
        int Open() override {
            opening = true;
            while (!release) std::this_thread::yield();
            return 0;
        }
        void Close() override { ++closed; }
        N2KStatus Send(const N2KMsg&) override { return N2K_OK; }
        N2KStatus Fetch(N2KMsg&) override { return N2K_NO_MESSAGE; }
        uint64_t Dropped() const override { return 0; }
        std::atomic<bool>& opening;
        std::atomic<bool>& release;
        std::atomic<int>& closed;
    };
    auto gateway = rig.Make("tcp:slow", [&](const TransportRequest&) {
        return std::make_unique<SlowTransport>(opening, release, closed);
    });
    for (const bool disconnectMeanwhile : {true, false}) {
        opening = release = false;
        std::atomic<int> connected{1};
        std::thread host([&] { connected = gateway->Connect(); });
        ASSERT_TRUE(ferrow::test::Eventually([&] { return opening.load(); }));
        N2KMsg msg = Numbered(1, 1);
        EXPECT_EQ(gateway->PutMsg(&msg), N2K_NOT_CONNECTED);
        EXPECT_EQ(gateway->GetMsg(&msg), N2K_NOT_CONNECTED);
        EXPECT_EQ(gateway->IsConnected(), 0);
        if (disconnectMeanwhile) {
            EXPECT_EQ(gateway->DisConnect(), 0);
        }
        release = true;
        host.join();
        EXPECT_EQ(connected, disconnectMeanwhile ? -1 : 0);
        EXPECT_EQ(gateway->IsConnected(), disconnectMeanwhile ? 0 : 1);
        EXPECT_EQ(closed, 1) << "the connection made for nothing is closed";
    }
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
