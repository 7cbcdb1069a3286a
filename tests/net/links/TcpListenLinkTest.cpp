// Our device as the gateway: clients on loopback exchange frames with it and
// with each other, come and go, cannot upset it with what they send, and
// cannot hold it up by not reading. What every link owes is checked by the
// link contract.
#include "net/formats/RawLineFormat.h"
#include "net/links/TcpClientLink.h"
#include "net/links/TcpListenLink.h"
#include "tests/net/links/SocketLinkRig.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <ctime>
#endif

namespace {

using ferrow::net::CanFrame;
using ferrow::net::RawLineFormat;
using ferrow::net::Socket;
using ferrow::net::TcpClientLink;
using ferrow::net::TcpListenLink;
using namespace ferrow::test;

// RAW lines as chart software and gateways exchange them.
struct ListenLinkTest : ::testing::Test {
    void SetUp() override {
        std::string error;
        ASSERT_EQ(server.Open(error), 0) << error;
    }

    // A client link, open, once the server has accepted it.
    std::unique_ptr<TcpClientLink> Join() {
        auto client = std::make_unique<TcpClientLink>(
            kLoopback, server.Port(),
            std::make_unique<RawLineFormat>(RawLineFormat::Form::ToGateway));
        std::string error;
        const std::size_t before = server.ClientCount();
        EXPECT_EQ(client->Open(error), 0) << error;
        EXPECT_TRUE(Eventually([&] { return server.ClientCount() == before + 1; }));
        return client;
    }

    ManualClock clock;
    TcpListenLink server{0, std::make_unique<RawLineFormat>(), clock.Clock()};
};

TEST_F(ListenLinkTest, ClientsHearEachOtherAndOurDeviceButNotThemselvesAsTheyComeAndGo) {
    auto a = Join();
    auto b = Join();
    ASSERT_TRUE(a->Send(FrameOf(0x100, 1)));
    EXPECT_EQ(NextFrame(server), FrameOf(0x100, 1));
    EXPECT_EQ(NextFrame(*b), FrameOf(0x100, 1));

    b->Close();
    ASSERT_TRUE(Eventually([&] { return server.ClientCount() == 1; }));
    auto arrives = Join();
    ASSERT_TRUE(server.Send(FrameOf(0x200, 2)));
    EXPECT_EQ(NextFrame(*a), FrameOf(0x200, 2));
    EXPECT_EQ(NextFrame(*arrives), FrameOf(0x200, 2));
    CanFrame own;
    EXPECT_FALSE(a->Receive(own));
}

TEST_F(ListenLinkTest, ClientsBeyondTheLimitAreTurnedAway) {
    std::vector<Socket> raw;
    for (std::size_t i = 0; i < TcpListenLink::kMaxClients + 2; ++i) {
        raw.push_back(RawConnect(server.Port()));
    }
    EXPECT_TRUE(Eventually([&] { return server.ClientCount() == TcpListenLink::kMaxClients; }));
    char byte = 0;
    EXPECT_EQ(RawReceive(raw.back(), &byte, 1), 0);
}

// Whatever ends its lines and whatever direction they say, a client's frames
// are its own traffic; garbage and overlong lines are counted and skipped,
// and a line cut by the client's leaving is no frame.
TEST_F(ListenLinkTest, TakesEveryFrameAClientSendsAndSkipsTheRest) {
    {
        const auto raw = RawConnect(server.Port());
        ASSERT_TRUE(RawSend(raw, "garbage\r00:00:01.000 T 00000101 01 5C 3D\r" +
                                     std::string(1 << 20, 'A') + "\n"));
        ASSERT_TRUE(RawSend(raw, "R 00000102 02 5C 3D\n\r\n00000103 03 5C 3D\r\n00000104 04"));
        EXPECT_EQ(NextFrame(server), FrameOf(0x101, 1));
        EXPECT_EQ(NextFrame(server), FrameOf(0x102, 2));
        EXPECT_EQ(NextFrame(server), FrameOf(0x103, 3));
    }
    EXPECT_TRUE(Eventually([&] { return server.ClientCount() == 0; }));
    CanFrame cut;
    EXPECT_FALSE(server.Receive(cut));
    EXPECT_EQ(server.GetCounters().badLines, 2u);
    EXPECT_TRUE(server.IsUp());
}

// A client that never reads: the lines meant for it are dropped and
// counted, the other client gets every frame in order, and once its queue
// has been full for the stall limit it is dropped.
TEST_F(ListenLinkTest, AClientThatStopsReadingLosesItsLinesThenItsSlotAndHoldsNoOneUp) {
    auto reader = Join();
    const Socket stalled = RawConnect(server.Port(), 4096);
    ASSERT_TRUE(stalled);
    ASSERT_TRUE(Eventually([&] { return server.ClientCount() == 2; }));

    uint32_t sent = 0;
    uint32_t heard = 0;
    const auto exchange = [&](uint32_t frames) {
        for (uint32_t end = sent + frames; sent < end; ++sent) {
            if (!Eventually([&] { return server.Send(FrameOf(sent, 1)); })) return false;
        }
        for (CanFrame frame; heard < sent; ++heard) {
            if (!Eventually([&] { return reader->Receive(frame); }) || frame != FrameOf(heard, 1)) {
                return false;
            }
        }
        return true;
    };
    ASSERT_TRUE(Eventually([&] { return exchange(200) && server.GetCounters().unsent > 0; },
                           std::chrono::seconds(30)));
    // Each round moves the clock past the limit and sends a line, which
    // wakes the link to look (a line the stalled client took meanwhile
    // starts its count again).
    ASSERT_TRUE(Eventually([&] {
        clock.Advance(TcpListenLink::kStallLimit);
        return exchange(1) && server.ClientCount() == 1;
    }));
    EXPECT_TRUE(exchange(200));
    FerrowGatewayStats stats{};
    server.AddStats(stats);
    EXPECT_EQ(stats.peerLosses, 1u);
    EXPECT_GT(stats.lostSends, 0u);
}

// Bound to loopback, it cannot be reached through this machine's other
// addresses; an address that is not this machine's is refused at Open.
TEST(ListenLinkAddress, ListensOnlyOnTheInterfaceAsked) {
    TcpListenLink loopback("127.0.0.1", 0, Hex());
    std::string error;
    ASSERT_EQ(loopback.Open(error), 0) << error;
    EXPECT_TRUE(RawConnect(loopback.Port()));
    for (uint32_t other : Socket::LocalAddresses()) {
        if (reinterpret_cast<const unsigned char*>(&other)[0] == 127) continue;
        EXPECT_FALSE(RawConnect({other, loopback.Port()}));
    }
    TcpListenLink elsewhere("192.0.2.254", 2600, Hex());
    EXPECT_EQ(elsewhere.Open(error), -1);
    EXPECT_EQ(error.rfind("Cannot listen on TCP port 2600 of 192.0.2.254: " +
                              SystemSaid("Cannot assign requested address"),
                          0),
              0u)
        << error;
}

#ifndef _WIN32

// With no descriptor left the waiting connection keeps the listener
// readable: the link must wait for descriptors, not spin, and take the
// connection once there are some. Run in a child process of its own, whose
// descriptor limit it lowers.
std::chrono::milliseconds ProcessCpuTime() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return std::chrono::milliseconds(t.tv_sec * 1000 + t.tv_nsec / 1000000);
}

void RunOutOfDescriptorsWithAConnectionWaiting() {
    TcpListenLink server{0, Hex()};
    std::string error;
    if (server.Open(error) != 0) _exit(2);
    const rlimit limit{256, 256};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) _exit(3);
    std::vector<int> filler;
    for (int fd; (fd = open("/dev/null", O_RDONLY)) >= 0;) filler.push_back(fd);
    // The one descriptor left over, so that the connection waits for the
    // listener with none.
    close(filler.back());
    filler.pop_back();
    const Socket client = RawConnect(server.Port());
    if (!client) _exit(4);
    const auto before = ProcessCpuTime();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    if (ProcessCpuTime() - before > std::chrono::milliseconds(60)) _exit(5);
    if (server.ClientCount() != 0) _exit(6);
    for (int fd : filler) close(fd);
    _exit(Eventually([&] { return server.ClientCount() == 1; }) ? 0 : 7);
}

TEST(ListenLinkDescriptors, WaitsWithoutSpinningWhenThereAreNoneLeft) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RunOutOfDescriptorsWithAConnectionWaiting(), ::testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
