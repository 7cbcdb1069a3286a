// The wait of the I/O threads: it ends on the first of a socket, a device
// and a wake-up from another thread, and says which was ready.
#include "net/links/PollThread.h"
#include "tests/net/links/SocketLinkRig.h"

#include <gtest/gtest.h>

#include <thread>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace {

using ferrow::net::PollThread;
using ferrow::net::Socket;
using namespace ferrow::test;
using namespace std::chrono_literals;

// What a serial port waits on: on Windows the event its overlapped I/O
// signals (and which says nothing of writing), elsewhere a descriptor, here
// the read end of a pipe.
struct FakeDevice {
#ifdef _WIN32
    static constexpr bool kWritable = true;
    FakeDevice() : event(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}
    ~FakeDevice() { CloseHandle(event); }
    std::intptr_t Handle() const { return reinterpret_cast<std::intptr_t>(event); }
    void Signal() { SetEvent(event); }
    void Clear() { ResetEvent(event); }
    HANDLE event;
#else
    static constexpr bool kWritable = false;
    FakeDevice() { EXPECT_EQ(pipe(ends), 0); }
    ~FakeDevice() {
        close(ends[0]);
        close(ends[1]);
    }
    std::intptr_t Handle() const { return ends[0]; }
    void Signal() { EXPECT_EQ(write(ends[1], "x", 1), 1); }
    void Clear() {
        char byte;
        EXPECT_EQ(read(ends[0], &byte, 1), 1);
    }
    int ends[2];
#endif
};

TEST(PollThread, AWaitEndsOnASocketADeviceOrAWakeAndSaysWhich) {
    PollThread waiter;
    ASSERT_TRUE(waiter.CanRun());
    std::string error;
    const Socket socket = Socket::BindDatagram(0, error);
    ASSERT_TRUE(socket) << error;
    FakeDevice device;
    std::vector<PollThread::Watch> watches;
    const auto wait = [&](std::chrono::milliseconds timeout) {
        watches = {PollThread::Watch(socket.Fd(), false),
                   PollThread::Watch::Device(device.Handle(), true), PollThread::Watch(-1, true)};
        EXPECT_TRUE(waiter.Wait(watches, timeout));
        return std::vector<bool>{watches[0].readable, watches[1].readable, watches[1].writable,
                                 watches[2].Any()};
    };
    using Ready = std::vector<bool>;

    EXPECT_EQ(wait(0ms), (Ready{false, false, false, false}));
    std::thread signaller([&] { device.Signal(); });
    EXPECT_EQ(wait(-1ms), (Ready{false, true, FakeDevice::kWritable, false}));
    signaller.join();
    device.Clear();

    ASSERT_TRUE(RawSendTo(socket.LocalPort(), "x"));
    EXPECT_EQ(wait(-1ms), (Ready{true, false, false, false}));
    char byte;
    Socket::Endpoint from;
    EXPECT_EQ(socket.ReceiveFrom(&byte, 1, from), 1);

    // Woken before it waits or while it does.
    std::thread waker([&] { waiter.Wake(); });
    EXPECT_EQ(wait(-1ms), (Ready{false, false, false, false}));
    waker.join();
}

}  // namespace
