// Helpers for the socket link tests: frames, the test line format, loopback
// peers made of plain sockets, a clock the test moves, and waiting for a
// frame.
#pragma once

#include "net/links/Socket.h"
#include "net/links/SocketLink.h"
#include "tests/net/formats/HexLineFormat.h"
#include "tests/support/Eventually.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

namespace ferrow::test {

inline const char* const kLoopback = "127.0.0.1";

inline std::unique_ptr<net::LineFormat> Hex() { return std::make_unique<HexLineFormat>(); }

inline net::CanFrame FrameOf(uint32_t id, uint8_t first) {
    net::CanFrame frame;
    frame.id = id;
    frame.length = 3;
    frame.data = {first, 0x5C, 0x3D};
    return frame;
}

// The next frame the link receives within the usual bound.
inline std::optional<net::CanFrame> NextFrame(net::SocketLink& link) {
    net::CanFrame frame;
    if (!Eventually([&] { return link.Receive(frame); })) return std::nullopt;
    return frame;
}

// 127.0.0.1 in network order.
inline uint32_t LoopbackAddress() {
    const unsigned char bytes[4] = {127, 0, 0, 1};
    uint32_t address = 0;
    std::memcpy(&address, bytes, sizeof address);
    return address;
}

// How a sentence goes on after the system's reason, which Windows words in
// its own way: checked only on POSIX.
inline std::string SystemSaid(const std::string& posixReason) {
#ifdef _WIN32
    (void)posixReason;
    return {};
#else
    return posixReason + ".";
#endif
}

// Plain sockets for fake peers, blocking, defined once per system beside
// the tests.
//
// A TCP connection, invalid when refused; with a receive window of `window`
// bytes when not 0.
net::Socket RawConnect(const net::Socket::Endpoint& to, int window = 0);
inline net::Socket RawConnect(uint16_t port, int window = 0) {
    return RawConnect({LoopbackAddress(), port}, window);
}
bool RawSend(const net::Socket& socket, const std::string& bytes);
// Waits for bytes: how many, 0 once the peer has closed, negative on failure.
long RawReceive(const net::Socket& socket, char* buffer, std::size_t size);
// One datagram to a loopback port.
bool RawSendTo(uint16_t port, const std::string& bytes);
void SetReceiveWindow(const net::Socket& socket, int bytes);

// The clock of a link's timeouts, moved by the test alone; the links share
// it, so it lasts as long as they do.
class ManualClock {
public:
    net::SocketLink::Clock Clock() const {
        return [ms = ms_] { return std::chrono::milliseconds(ms->load()); };
    }
    void Advance(std::chrono::milliseconds by) { *ms_ += by.count(); }

private:
    std::shared_ptr<std::atomic<int64_t>> ms_ = std::make_shared<std::atomic<int64_t>>(0);
};

// A gateway on loopback made of plain sockets, used from the test's thread
// only: one connection at a time, taken and read when asked, never before.
// Its receive buffer is small, so that once it stops reading its client
// feels it soon.
class RawGateway {
public:
    explicit RawGateway(uint16_t port = 0) {
        std::string error;
        listener_ = net::Socket::Listen({LoopbackAddress(), port}, error);
        SetReceiveWindow(listener_, 4096);
    }
    explicit operator bool() const { return static_cast<bool>(listener_); }
    uint16_t Port() const { return listener_.LocalPort(); }

    std::size_t ClientCount() {
        Pump();
        return client_ ? 1 : 0;
    }
    bool SendBytes(const std::string& bytes) {
        Pump();
        return client_ && RawSend(client_, bytes);
    }
    bool Send(const net::CanFrame& frame) {
        return SendBytes(HexLineFormat().Format(frame, {}, {}));
    }
    // The next line the client sent, with its line end; never waits.
    bool ReceiveLine(std::string& line) {
        Pump();
        const std::size_t end = received_.find('\n');
        if (end == std::string::npos) return false;
        line = received_.substr(0, end + 1);
        received_.erase(0, end + 1);
        return true;
    }
    bool Receive(net::CanFrame& frame) {
        for (std::string line; ReceiveLine(line);) {
            if (const auto parsed = HexLineFormat().Parse(line.substr(0, line.size() - 1))) {
                frame = parsed->frame;
                return true;
            }
        }
        return false;
    }
    void StopReading() { reading_ = false; }
    void ResumeReading() { reading_ = true; }

private:
    void Pump() {
        char buffer[4096];
        long n = 1;
        while (client_ && reading_ && n > 0) {
            n = client_.Receive(buffer, sizeof buffer);
            if (n > 0) received_.append(buffer, static_cast<std::size_t>(n));
            if (n == 0) client_.Reset();
        }
        int error = 0;
        if (!client_) client_ = listener_.Accept(error);
    }

    net::Socket listener_;
    net::Socket client_;
    std::string received_;
    bool reading_ = true;
};

}  // namespace ferrow::test
