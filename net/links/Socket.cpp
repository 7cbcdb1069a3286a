#include "net/links/Socket.h"

#include "net/links/SocketSystem.h"

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#endif

#include <algorithm>
#include <climits>
#include <cstddef>

namespace ferrow::net {

using namespace socket_system;

namespace {

#ifdef _WIN32
// Sockets are non-blocking, and Windows raises no signal for a peer gone.
constexpr int kSendFlags = 0;
constexpr int kReceiveFlags = 0;

int LengthOf(std::size_t size) { return static_cast<int>(std::min<std::size_t>(size, INT_MAX)); }
#else
// MSG_NOSIGNAL: a peer that has gone must not kill the process.
constexpr int kSendFlags = MSG_NOSIGNAL | MSG_DONTWAIT;
constexpr int kReceiveFlags = MSG_DONTWAIT;

std::size_t LengthOf(std::size_t size) { return size; }
#endif

std::string Failed(const std::string& what, int err) { return what + ": " + ErrorText(err) + "."; }

sockaddr_in ToAddress(const Socket::Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = endpoint.address;
    address.sin_port = htons(endpoint.port);
    return address;
}

sockaddr_in LocalEnd(Socket::Handle fd) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return {};
    return address;
}

bool Bind(const Socket& socket, const Socket::Endpoint& at) {
    const sockaddr_in address = ToAddress(at);
    return bind(socket.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

Socket BoundSocket(bool stream, const Socket::Endpoint& at, const std::string& what,
                   std::string& error) {
    Socket socket = NewSocket(stream);
    if (!socket) {
        error = Failed(what, LastError());
        return socket;
    }
    if (!HoldPort(socket, stream) || !Bind(socket, at)) {
        error = Failed(what, LastError());
        socket.Reset();
    }
    return socket;
}

}  // namespace

bool socket_system::SetOption(Socket::Handle fd, int level, int name, int value) {
    return setsockopt(fd, level, name, reinterpret_cast<const char*>(&value), sizeof value) == 0;
}

Socket& Socket::operator=(Socket&& other) noexcept {
    if (this != &other) {
        Reset();
        fd_ = other.fd_;
        other.fd_ = -1;
    }
    return *this;
}

void Socket::Reset() {
    if (fd_ >= 0) Close(fd_);
    fd_ = -1;
}

bool Socket::Resolve(const std::string& host, uint16_t port, Endpoint& endpoint,
                     std::string& error) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    // Windows would take an empty name for this machine.
    int status = host.empty() ? EAI_NONAME : EAI_FAIL;
    if (!host.empty() && Started()) status = getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (status != 0 || found == nullptr) {
        error = "No IPv4 address is known for host '" + host + "': " + LookUpText(status) + ".";
        if (found != nullptr) freeaddrinfo(found);
        return false;
    }
    endpoint.address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr;
    endpoint.port = port;
    freeaddrinfo(found);
    return true;
}

Socket Socket::StartConnect(const Endpoint& to, std::string& error) {
    const sockaddr_in address = ToAddress(to);
    Socket socket = NewSocket(true);
    if (!socket || !socket.WatchPeer()) {
        error = ErrorText(LastError());
        socket.Reset();
        return socket;
    }
    if (connect(socket.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
        !ConnectUnderWay(LastError())) {
        error = ErrorText(LastError());
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
    Socket socket = BoundSocket(true, at, what, error);
    if (socket && listen(socket.Fd(), SOMAXCONN) != 0) {
        error = Failed(what, LastError());
        socket.Reset();
    }
    return socket;
}

Socket Socket::BindDatagram(uint16_t port, std::string& error) {
    const std::string what = "Cannot bind UDP port " + std::to_string(port);
    Socket socket = BoundSocket(false, {htonl(INADDR_ANY), port}, what, error);
    // Gateways are often reached by broadcast.
    if (socket && !SetOption(socket.Fd(), SOL_SOCKET, SO_BROADCAST, 1)) {
        error = Failed(what, LastError());
        socket.Reset();
    }
    return socket;
}

Socket Socket::LoopbackToSelf() {
    Socket socket = NewSocket(false);
    if (!socket || !Bind(socket, {htonl(INADDR_LOOPBACK), 0})) return Socket();
    const sockaddr_in self = ToAddress({htonl(INADDR_LOOPBACK), socket.LocalPort()});
    if (connect(socket.Fd(), reinterpret_cast<const sockaddr*>(&self), sizeof self) != 0) {
        return Socket();
    }
    return socket;
}

std::string Socket::ConnectError() const {
    int err = 0;
    socklen_t size = sizeof err;
    if (getsockopt(fd_, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&err), &size) != 0) {
        err = LastError();
    }
    return err == 0 ? std::string() : ErrorText(err);
}

Socket Socket::Accept(int& error) const {
    Socket accepted(AcceptHandle(fd_));
    error = accepted ? 0 : LastError();
    if (accepted && !accepted.WatchPeer()) {
        error = LastError();
        accepted.Reset();
    }
    return accepted;
}

uint16_t Socket::LocalPort() const { return ntohs(LocalEnd(fd_).sin_port); }

uint32_t Socket::LocalAddress() const { return LocalEnd(fd_).sin_addr.s_addr; }

long Socket::Send(const char* data, std::size_t size) const {
    return send(fd_, data, LengthOf(size), kSendFlags);
}

long Socket::Receive(char* buffer, std::size_t size) const {
    return recv(fd_, buffer, LengthOf(size), kReceiveFlags);
}

long Socket::ReceiveFrom(char* buffer, std::size_t size, Endpoint& from) const {
    sockaddr_in address{};
    socklen_t addressSize = sizeof address;
    const long n = recvfrom(fd_, buffer, LengthOf(size), kReceiveFlags,
                            reinterpret_cast<sockaddr*>(&address), &addressSize);
    from = {address.sin_addr.s_addr, ntohs(address.sin_port)};
    return n;
}

long Socket::SendTo(const char* data, std::size_t size, const Endpoint& to) const {
    const sockaddr_in address = ToAddress(to);
    return sendto(fd_, data, LengthOf(size), kSendFlags,
                  reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

}  // namespace ferrow::net
