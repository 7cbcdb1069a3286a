#include "net/links/Socket.h"

#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <iphlpapi.h>
#include <mstcpip.h>
#include <mswsock.h>

#include <algorithm>
#include <cctype>
#include <climits>

namespace ferrow::net {

namespace {

// Once per process, before the first socket; never undone, so that sockets
// closed while the process ends still find Winsock there.
bool Winsock() {
    static const bool started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    return started;
}

SOCKET Native(Socket::Handle fd) { return static_cast<SOCKET>(fd); }

// The system's sentence without its line break and full stop, so that it
// reads inside ours.
std::string SystemText(int err) {
    char text[512] = "";
    const DWORD size =
        FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                       static_cast<DWORD>(err), 0, text, sizeof text, nullptr);
    std::string result(text, size);
    while (!result.empty() && (std::isspace(static_cast<unsigned char>(result.back())) != 0 ||
                               result.back() == '.')) {
        result.pop_back();
    }
    return result.empty() ? "error " + std::to_string(err) : result;
}

std::string Failed(const std::string& what, int err) { return what + ": " + SystemText(err) + "."; }

int ChunkSize(std::size_t size) { return static_cast<int>(std::min<std::size_t>(size, INT_MAX)); }

sockaddr_in ToAddress(const Socket::Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = endpoint.address;
    address.sin_port = htons(endpoint.port);
    return address;
}

sockaddr_in LocalEnd(Socket::Handle fd) {
    sockaddr_in address{};
    int size = sizeof address;
    if (getsockname(Native(fd), reinterpret_cast<sockaddr*>(&address), &size) != 0) return {};
    return address;
}

bool SetOption(Socket::Handle fd, int level, int name, int value) {
    return setsockopt(Native(fd), level, name, reinterpret_cast<const char*>(&value),
                      sizeof value) == 0;
}

bool NonBlocking(Socket::Handle fd) {
    u_long on = 1;
    return ioctlsocket(Native(fd), FIONBIO, &on) == 0;
}

// Not inherited by programs we start, and never blocking.
Socket NewSocket(int type, int protocol) {
    if (!Winsock()) {
        WSASetLastError(WSANOTINITIALISED);
        return Socket();
    }
    const SOCKET native =
        WSASocketW(AF_INET, type, protocol, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (native == INVALID_SOCKET) return Socket();
    Socket socket(static_cast<Socket::Handle>(native));
    if (!NonBlocking(socket.Fd())) socket.Reset();
    return socket;
}

// A TCP listener owns its port outright: with SO_REUSEADDR Windows would let
// a second listener take it over. Datagram ports are shared with other
// programs, as gateways' broadcasts are heard by all of them.
Socket BoundSocket(int type, const Socket::Endpoint& at, const std::string& what,
                   std::string& error) {
    Socket socket = NewSocket(type, type == SOCK_STREAM ? IPPROTO_TCP : IPPROTO_UDP);
    if (!socket) {
        error = Failed(what, WSAGetLastError());
        return socket;
    }
    const sockaddr_in address = ToAddress(at);
    const int sharing = type == SOCK_STREAM ? SO_EXCLUSIVEADDRUSE : SO_REUSEADDR;
    if (!SetOption(socket.Fd(), SOL_SOCKET, sharing, 1) ||
        bind(Native(socket.Fd()), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0) {
        error = Failed(what, WSAGetLastError());
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
    if (fd_ >= 0) closesocket(Native(fd_));
    fd_ = -1;
}

bool Socket::Resolve(const std::string& host, uint16_t port, Endpoint& endpoint,
                     std::string& error) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    // Windows takes an empty name for this machine; POSIX knows no such host.
    int status = host.empty() ? WSAHOST_NOT_FOUND : WSANOTINITIALISED;
    if (!host.empty() && Winsock()) status = getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (status != 0 || found == nullptr) {
        error = "No IPv4 address is known for host '" + host + "': " + SystemText(status) + ".";
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
    Socket socket = NewSocket(SOCK_STREAM, IPPROTO_TCP);
    if (!socket || !socket.WatchPeer()) {
        error = SystemText(WSAGetLastError());
        socket.Reset();
        return socket;
    }
    if (connect(Native(socket.Fd()), reinterpret_cast<const sockaddr*>(&address),
                sizeof address) != 0 &&
        WSAGetLastError() != WSAEWOULDBLOCK) {
        error = SystemText(WSAGetLastError());
        socket.Reset();
    }
    return socket;
}

Socket Socket::Listen(const Endpoint& at, std::string& error) {
    std::string what = "Cannot listen on TCP port " + std::to_string(at.port);
    if (at.address != htonl(INADDR_ANY)) {
        char text[INET_ADDRSTRLEN] = "";
        in_addr address{};
        address.s_addr = at.address;
        inet_ntop(AF_INET, &address, text, sizeof text);
        what += std::string(" of ") + text;
    }
    Socket socket = BoundSocket(SOCK_STREAM, at, what, error);
    if (socket && listen(Native(socket.Fd()), SOMAXCONN) != 0) {
        error = Failed(what, WSAGetLastError());
        socket.Reset();
    }
    return socket;
}

Socket Socket::BindDatagram(uint16_t port, std::string& error) {
    const std::string what = "Cannot bind UDP port " + std::to_string(port);
    Socket socket = BoundSocket(SOCK_DGRAM, {htonl(INADDR_ANY), port}, what, error);
    // Gateways are often reached by broadcast.
    if (socket && !SetOption(socket.Fd(), SOL_SOCKET, SO_BROADCAST, 1)) {
        error = Failed(what, WSAGetLastError());
        socket.Reset();
    }
    if (socket) {
        // Otherwise a datagram sent where nobody listens fails a later
        // receive with a reset that means nothing for UDP.
        BOOL report = FALSE;
        DWORD unused = 0;
        WSAIoctl(Native(socket.Fd()), SIO_UDP_CONNRESET, &report, sizeof report, nullptr, 0,
                 &unused, nullptr, nullptr);
    }
    return socket;
}

std::string Socket::ConnectError() const {
    int err = 0;
    int size = sizeof err;
    if (getsockopt(Native(fd_), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&err), &size) != 0) {
        err = WSAGetLastError();
    }
    return err == 0 ? std::string() : SystemText(err);
}

bool Socket::OutOfDescriptors(int error) { return error == WSAEMFILE || error == WSAENOBUFS; }

Socket Socket::Accept(int& error) const {
    const SOCKET native = accept(Native(fd_), nullptr, nullptr);
    if (native == INVALID_SOCKET) {
        error = WSAGetLastError();
        return Socket();
    }
    Socket accepted(static_cast<Handle>(native));
    error = 0;
    // Said again rather than taken from the listener: the waits rely on it.
    if (!NonBlocking(accepted.Fd()) || !accepted.WatchPeer()) {
        error = WSAGetLastError();
        accepted.Reset();
    }
    return accepted;
}

// Windows keeps its own count of probes (ten) and has no limit on data left
// unacknowledged short of its retransmission timeout.
bool Socket::WatchPeer() const {
    tcp_keepalive keepAlive{};
    keepAlive.onoff = 1;
    keepAlive.keepalivetime = static_cast<u_long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(kKeepAliveIdle).count());
    keepAlive.keepaliveinterval = static_cast<u_long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(kKeepAliveInterval).count());
    DWORD unused = 0;
    return SetOption(fd_, SOL_SOCKET, SO_KEEPALIVE, 1) &&
           WSAIoctl(Native(fd_), SIO_KEEPALIVE_VALS, &keepAlive, sizeof keepAlive, nullptr, 0,
                    &unused, nullptr, nullptr) == 0 &&
           SetOption(fd_, SOL_SOCKET, SO_SNDBUF, kSendBuffer);
}

uint16_t Socket::LocalPort() const { return ntohs(LocalEnd(fd_).sin_port); }

uint32_t Socket::LocalAddress() const { return LocalEnd(fd_).sin_addr.s_addr; }

long Socket::Send(const char* data, std::size_t size) const {
    return send(Native(fd_), data, ChunkSize(size), 0);
}

long Socket::Receive(char* buffer, std::size_t size) const {
    return recv(Native(fd_), buffer, ChunkSize(size), 0);
}

bool Socket::WouldBlock() {
    const int err = WSAGetLastError();
    return err == WSAEWOULDBLOCK || err == WSAEINTR;
}

long Socket::ReceiveFrom(char* buffer, std::size_t size, Endpoint& from) const {
    sockaddr_in address{};
    int addressSize = sizeof address;
    const int n = recvfrom(Native(fd_), buffer, ChunkSize(size), 0,
                           reinterpret_cast<sockaddr*>(&address), &addressSize);
    from = {address.sin_addr.s_addr, ntohs(address.sin_port)};
    return n;
}

long Socket::SendTo(const char* data, std::size_t size, const Endpoint& to) const {
    const sockaddr_in address = ToAddress(to);
    return sendto(Native(fd_), data, ChunkSize(size), 0,
                  reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::vector<uint32_t> Socket::LocalAddresses() {
    std::vector<uint32_t> addresses;
    // Grown as the system asks, a few times at most as adapters come and go.
    std::vector<unsigned char> buffer(16 * 1024);
    ULONG size = static_cast<ULONG>(buffer.size());
    const ULONG flags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    ULONG status = ERROR_BUFFER_OVERFLOW;
    for (int i = 0; i < 4 && status == ERROR_BUFFER_OVERFLOW; ++i) {
        buffer.resize(size);
        status = GetAdaptersAddresses(AF_INET, flags, nullptr,
                                      reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size);
    }
    if (status != NO_ERROR) return addresses;
    for (auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(buffer.data());
         adapter != nullptr; adapter = adapter->Next) {
        for (auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr;
             unicast = unicast->Next) {
            const sockaddr* address = unicast->Address.lpSockaddr;
            if (address == nullptr || address->sa_family != AF_INET) continue;
            addresses.push_back(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
        }
    }
    return addresses;
}

Socket Socket::LoopbackToSelf() {
    Socket socket = NewSocket(SOCK_DGRAM, IPPROTO_UDP);
    const sockaddr_in loopback = ToAddress({htonl(INADDR_LOOPBACK), 0});
    if (!socket ||
        bind(Native(socket.Fd()), reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback) !=
            0) {
        return Socket();
    }
    const sockaddr_in self = ToAddress({htonl(INADDR_LOOPBACK), socket.LocalPort()});
    if (connect(Native(socket.Fd()), reinterpret_cast<const sockaddr*>(&self), sizeof self) != 0) {
        return Socket();
    }
    return socket;
}

}  // namespace ferrow::net
