// One open socket of a link, closed when its owner goes, and
// the few ways the links make one: a TCP connection under way, a listener,
// a datagram socket. IPv4: gateways on a boat's LAN speak nothing else.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ferrow::net {

class Socket {
public:
    // An IPv4 address, in network byte order, and a port.
    struct Endpoint {
        uint32_t address = 0;
        uint16_t port = 0;
    };

    // How a TCP connection notices a peer that has died without a word: an
    // idle connection is probed after kKeepAliveIdle, every
    // kKeepAliveInterval, and given up after kKeepAliveProbes unanswered;
    // data the peer leaves unacknowledged (or a window it keeps shut) for
    // kUserTimeout ends it too. Far short of the kernel's own quarter of an
    // hour, long enough for a LAN gateway's hiccup.
    static constexpr std::chrono::seconds kKeepAliveIdle{2};
    static constexpr std::chrono::seconds kKeepAliveInterval{1};
    static constexpr int kKeepAliveProbes = 3;
    static constexpr std::chrono::milliseconds kUserTimeout{5000};
    // The kernel's send buffer of a TCP connection, fixed (the kernel
    // doubles it) so that a peer that stops reading is seen within about a
    // second of a busy network instead of after megabytes.
    static constexpr int kSendBuffer = 32 * 1024;

    // Pointer-sized: a Windows socket does not fit in an int. Negative when
    // there is none.
    using Handle = std::intptr_t;

    Socket() = default;
    explicit Socket(Handle fd) : fd_(fd) {}
    ~Socket() { Reset(); }
    Socket(Socket&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    Socket& operator=(Socket&& other) noexcept;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    Handle Fd() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void Reset();

    // False with a sentence naming `host` when it has no IPv4 address.
    static bool Resolve(const std::string& host, uint16_t port, Endpoint& endpoint,
                        std::string& error);
    // Non-blocking, watching its peer as above; the connection may still be
    // under way: wait until writable, then ask ConnectError.
    static Socket StartConnect(const Endpoint& to, std::string& error);
    // Non-blocking, on `at`'s address (0: every interface); port 0 takes a
    // free one.
    static Socket Listen(const Endpoint& at, std::string& error);
    // On every interface, shared with other programs, broadcasts allowed.
    static Socket BindDatagram(uint16_t port, std::string& error);

    // The system's text of why a finished connect failed, empty once
    // connected.
    std::string ConnectError() const;
    // A waiting connection, non-blocking, watching its peer as above;
    // invalid when none is waiting or it could not be taken, with the
    // system's error number in `error`.
    Socket Accept(int& error) const;
    // Whether an Accept error means the process is out of descriptors or
    // memory: the connection stays waiting and the listener readable.
    static bool OutOfDescriptors(int error);
    uint16_t LocalPort() const;
    // In network order.
    uint32_t LocalAddress() const;

    // Without waiting, and without a signal when the peer has gone: the
    // bytes taken, or negative.
    long Send(const char* data, std::size_t size) const;
    // Without waiting: the bytes read, 0 once the peer has closed, or
    // negative.
    long Receive(char* buffer, std::size_t size) const;
    // One datagram, without waiting: its size, or negative.
    long ReceiveFrom(char* buffer, std::size_t size, Endpoint& from) const;
    long SendTo(const char* data, std::size_t size, const Endpoint& to) const;
    // Whether this thread's last failed call only had nothing to do now.
    static bool WouldBlock();

    // The IPv4 addresses of this machine's interfaces, in network order.
    static std::vector<uint32_t> LocalAddresses();
    // A datagram socket on the loopback that sends to itself, to wake a wait
    // where there is no eventfd; invalid when none could be made.
    static Socket LoopbackToSelf();

private:
    // False when the kernel refuses a setting.
    bool WatchPeer() const;

    Handle fd_ = -1;
};

}  // namespace ferrow::net
