#include "net/links/Socket.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ferrow::net {

namespace {

std::string Failed(const std::string& what, int err) {
    return what + ": " + std::strerror(err) + ".";
}

sockaddr_in ToAddress(const Socket::Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = endpoint.address;
    address.sin_port = htons(endpoint.port);
    return address;
}

sockaddr_in LocalEnd(int fd) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return {};
    return address;
}

bool SetOption(int fd, int level, int name, int value) {
    return setsockopt(fd, level, name, &value, sizeof value) == 0;
}

// SO_REUSEADDR lets a link come back on its port at once after a restart,
// and lets other programs share a datagram port; Linux still refuses a second
// TCP listener.
Socket BoundSocket(int type, const Socket::Endpoint& at, const std::string& what,
                   std::string& error) {
    Socket socket(::socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket) {
        error = Failed(what, errno);
        return socket;
    }
    const sockaddr_in address = ToAddress(at);
    if (!SetOption(socket.Fd(), SOL_SOCKET, SO_REUSEADDR, 1) ||
        bind(socket.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        error = Failed(what, errno);
        socket.Reset();
    }
    return socket;
}

}  // namespace

Socket& Socket::operator=(Socket&& other) noexcept {
    if (this != &other) {
        Reset();
        fd_ = other.fd_;
        other.fd_ = -1;
    }
    return *this;
}

void Socket::Reset() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

bool Socket::Resolve(const std::string& host, uint16_t port, Endpoint& endpoint,
                     std::string& error) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int status = getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (status != 0 || found == nullptr) {
        error = "No IPv4 address is known for host '" + host + "': " + gai_strerror(status) + ".";
        return false;
    }
    endpoint.address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr;
    endpoint.port = port;
    freeaddrinfo(found);
    return true;
}

Socket Socket::StartConnect(const Endpoint& to, std::string& error) {
    const sockaddr_in address = ToAddress(to);
    Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket) {
        error = std::strerror(errno);
        return socket;
    }
    if (!socket.WatchPeer()) {
        error = std::strerror(errno);
        socket.Reset();
        return socket;
    }
    if (connect(socket.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
        errno != EINPROGRESS) {
        error = std::strerror(errno);
        socket.Reset();
    }
    return socket;
}

Socket Socket::Listen(const Endpoint& at, std::string& error) {
    std::string what = "Cannot listen on TCP port " + std::to_string(at.port);
    if (at.address != htonl(INADDR_ANY)) {
        char text[INET_ADDRSTRLEN] = "";
        inet_ntop(AF_INET, &at.address, text, sizeof text);
        what += std::string(" of ") + text;
    }
    Socket socket = BoundSocket(SOCK_STREAM, at, what, error);
    if (socket && listen(socket.Fd(), SOMAXCONN) != 0) {
        error = Failed(what, errno);
        socket.Reset();
    }
    return socket;
}

Socket Socket::BindDatagram(uint16_t port, std::string& error) {
    const std::string what = "Cannot bind UDP port " + std::to_string(port);
    Socket socket = BoundSocket(SOCK_DGRAM, {htonl(INADDR_ANY), port}, what, error);
    // Gateways are often reached by broadcast.
    if (socket && !SetOption(socket.Fd(), SOL_SOCKET, SO_BROADCAST, 1)) {
        error = Failed(what, errno);
        socket.Reset();
    }
    return socket;
}

std::string Socket::ConnectError() const {
    int err = 0;
    socklen_t size = sizeof err;
    if (getsockopt(fd_, SOL_SOCKET, SO_ERROR, &err, &size) != 0) err = errno;
    return err == 0 ? std::string() : std::strerror(err);
}

bool Socket::OutOfDescriptors(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

Socket Socket::Accept(int& error) const {
    Socket accepted(accept4(fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    error = accepted ? 0 : errno;
    if (accepted && !accepted.WatchPeer()) {
        error = errno;
        accepted.Reset();
    }
    return accepted;
}

bool Socket::WatchPeer() const {
    return SetOption(fd_, SOL_SOCKET, SO_KEEPALIVE, 1) &&
           SetOption(fd_, IPPROTO_TCP, TCP_KEEPIDLE, static_cast<int>(kKeepAliveIdle.count())) &&
           SetOption(fd_, IPPROTO_TCP, TCP_KEEPINTVL,
                     static_cast<int>(kKeepAliveInterval.count())) &&
           SetOption(fd_, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes) &&
           SetOption(fd_, IPPROTO_TCP, TCP_USER_TIMEOUT, static_cast<int>(kUserTimeout.count())) &&
           SetOption(fd_, SOL_SOCKET, SO_SNDBUF, kSendBuffer);
}

uint16_t Socket::LocalPort() const { return ntohs(LocalEnd(fd_).sin_port); }

uint32_t Socket::LocalAddress() const { return LocalEnd(fd_).sin_addr.s_addr; }

long Socket::Send(const char* data, std::size_t size) const {
    // MSG_NOSIGNAL: a peer that has gone must not kill the process.
    return send(fd_, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
}

long Socket::Receive(char* buffer, std::size_t size) const {
    return recv(fd_, buffer, size, MSG_DONTWAIT);
}

bool Socket::WouldBlock() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

long Socket::ReceiveFrom(char* buffer, std::size_t size, Endpoint& from) const {
    sockaddr_in address{};
    socklen_t addressSize = sizeof address;
    const ssize_t n = recvfrom(fd_, buffer, size, MSG_DONTWAIT,
                               reinterpret_cast<sockaddr*>(&address), &addressSize);
    from = {address.sin_addr.s_addr, ntohs(address.sin_port)};
    return n;
}

long Socket::SendTo(const char* data, std::size_t size, const Endpoint& to) const {
    const sockaddr_in address = ToAddress(to);
    return sendto(fd_, data, size, MSG_DONTWAIT | MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::vector<uint32_t> Socket::LocalAddresses() {
    std::vector<uint32_t> addresses;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return addresses;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        addresses.push_back(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr);
    }
    freeifaddrs(list);
    return addresses;
}

}  // namespace ferrow::net
