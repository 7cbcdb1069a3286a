// One open file descriptor of a socket link, closed when its owner goes, and
// the few ways the links make one: a TCP connection under way, a listener,
// a datagram socket. IPv4: gateways on a boat's LAN speak nothing else.
#pragma once

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

    Socket() = default;
    explicit Socket(int fd) : fd_(fd) {}
    ~Socket() { Reset(); }
    Socket(Socket&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    Socket& operator=(Socket&& other) noexcept;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int Fd() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void Reset();

    // False with a sentence naming `host` when it has no IPv4 address.
    static bool Resolve(const std::string& host, uint16_t port, Endpoint& endpoint,
                        std::string& error);
    // Non-blocking; the connection may still be under way: wait until
    // writable, then ask ConnectError.
    static Socket StartConnect(const Endpoint& to, std::string& error);
    // Non-blocking, on every interface; port 0 takes a free one.
    static Socket Listen(uint16_t port, std::string& error);
    static Socket BindDatagram(uint16_t port, std::string& error);

    // The errno text of a finished connect, empty once connected.
    std::string ConnectError() const;
    // A waiting connection, non-blocking; invalid when none is waiting or
    // it could not be taken, with the errno in `error`.
    Socket Accept(int& error) const;
    uint16_t LocalPort() const;

    // One datagram, without waiting: its size, or negative with errno set.
    long ReceiveFrom(char* buffer, std::size_t size, Endpoint& from) const;
    long SendTo(const char* data, std::size_t size, const Endpoint& to) const;

    // The IPv4 addresses of this machine's interfaces, in network order.
    static std::vector<uint32_t> LocalAddresses();

private:
    int fd_ = -1;
};

}  // namespace ferrow::net
