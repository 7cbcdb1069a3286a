// Our device as the gateway: clients on loopback exchange frames with it and
// with each other, come and go, and cannot upset it with what they send.
// What every link owes is checked by the link contract.
#include "net/links/TcpClientLink.h"
#include "net/links/TcpListenLink.h"
#include "tests/net/links/SocketLinkRig.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <thread>
#include <vector>

namespace {

using ferrow::net::TcpClientLink;
using ferrow::net::TcpListenLink;
using namespace ferrow::test;

struct ListenLinkTest : ::testing::Test {
    void SetUp() override {
        std::string error;
        ASSERT_EQ(server.Open(error), 0) << error;
    }

    // A client link, open, once the server has accepted it.
    std::unique_ptr<TcpClientLink> Join() {
        auto client = std::make_unique<TcpClientLink>(kLoopback, server.Port(), Hex());
        std::string error;
        const std::size_t before = server.ClientCount();
        EXPECT_EQ(client->Open(error), 0) << error;
        EXPECT_TRUE(Eventually([&] { return server.ClientCount() == before + 1; }));
        return client;
    }

    TcpListenLink server{0, Hex()};
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
}

TEST_F(ListenLinkTest, ClientsBeyondTheLimitAreTurnedAway) {
    std::vector<ferrow::net::Socket> raw;
    for (std::size_t i = 0; i < TcpListenLink::kMaxClients + 2; ++i) {
        raw.push_back(RawConnect(server.Port()));
    }
    EXPECT_TRUE(Eventually([&] { return server.ClientCount() == TcpListenLink::kMaxClients; }));
    char byte = 0;
    EXPECT_EQ(recv(raw.back().Fd(), &byte, 1, 0), 0);
}

TEST_F(ListenLinkTest, SkipsGarbageAndOverlongLinesFromARawClient) {
    const auto raw = RawConnect(server.Port());
    ASSERT_TRUE(raw);
    ASSERT_TRUE(RawSend(raw, "garbage\r\n0000000G#00\n" + std::string(1 << 20, 'A') + "\n"));
    ASSERT_TRUE(RawSend(raw, std::string(300, '1') + "\r\n\n09F11223#015C3D\r\n"));
    EXPECT_EQ(NextFrame(server), FrameOf(0x09F11223, 1));
    EXPECT_EQ(server.GetCounters().badLines, 4u);
    EXPECT_TRUE(server.IsUp());
}

TEST_F(ListenLinkTest, ForgetsAClientThatClosesMidLine) {
    {
        const auto raw = RawConnect(server.Port());
        ASSERT_TRUE(RawSend(raw, "09F11223#01"));
        ASSERT_TRUE(Eventually([&] { return server.ClientCount() == 1; }));
    }
    EXPECT_TRUE(Eventually([&] { return server.ClientCount() == 0; }));
    ferrow::net::CanFrame frame;
    EXPECT_FALSE(server.Receive(frame));
}

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
    ferrow::net::Socket client(::socket(AF_INET, SOCK_STREAM, 0));
    std::vector<int> filler;
    for (int fd; (fd = open("/dev/null", O_RDONLY)) >= 0;) filler.push_back(fd);
    const sockaddr_in address = LoopbackAddress(server.Port());
    if (connect(client.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        _exit(4);
    }
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

}  // namespace
