#include "net/links/SocketSystem.h"

#include "platform/SystemError.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <iphlpapi.h>
#include <mstcpip.h>
#include <mswsock.h>


namespace ferrow::net {

using socket_system::SetOption;

namespace {

bool NonBlocking(SOCKET socket) {
    u_long on = 1;
    return ioctlsocket(socket, FIONBIO, &on) == 0;
}

}  // namespace

namespace socket_system {

// Once per process, before the first socket; never undone, so that sockets
// closed while the process ends still find Winsock there.
bool Started() {
    static const bool started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    return started;
}

Socket NewSocket(bool stream) {
    if (!Started()) {
        WSASetLastError(WSANOTINITIALISED);
        return Socket();
    }
    const SOCKET native =
        WSASocketW(AF_INET, stream ? SOCK_STREAM : SOCK_DGRAM, stream ? IPPROTO_TCP : IPPROTO_UDP,
                   nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (native == INVALID_SOCKET) return Socket();
    Socket socket(static_cast<Socket::Handle>(native));
    if (!NonBlocking(native)) socket.Reset();
    if (socket && !stream) {
        // Otherwise a datagram sent where nobody listens fails a later
        // receive with a reset that means nothing for UDP.
        BOOL report = FALSE;
        DWORD unused = 0;
        WSAIoctl(native, SIO_UDP_CONNRESET, &report, sizeof report, nullptr, 0, &unused, nullptr,
                 nullptr);
    }
    return socket;
}

void Close(Socket::Handle fd) { closesocket(static_cast<SOCKET>(fd)); }

// Said again rather than taken from the listener: the waits rely on it.
Socket::Handle AcceptHandle(Socket::Handle listener) {
    const SOCKET native = accept(static_cast<SOCKET>(listener), nullptr, nullptr);
    if (native == INVALID_SOCKET) return -1;
    if (!NonBlocking(native)) {
        const int error = WSAGetLastError();
        closesocket(native);
        WSASetLastError(error);
        return -1;
    }
    return static_cast<Socket::Handle>(native);
}

int LastError() { return WSAGetLastError(); }

std::string ErrorText(int error) { return platform::SystemErrorText(static_cast<DWORD>(error)); }

std::string LookUpText(int status) { return ErrorText(status); }

bool ConnectUnderWay(int error) { return error == WSAEWOULDBLOCK; }

// With SO_REUSEADDR Windows would let a second listener take the port over.
bool HoldPort(const Socket& socket, bool stream) {
    return SetOption(socket.Fd(), SOL_SOCKET, stream ? SO_EXCLUSIVEADDRUSE : SO_REUSEADDR, 1);
}

}  // namespace socket_system

bool Socket::OutOfDescriptors(int error) { return error == WSAEMFILE || error == WSAENOBUFS; }

bool Socket::WouldBlock() {
    const int error = WSAGetLastError();
    return error == WSAEWOULDBLOCK || error == WSAEINTR;
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
           WSAIoctl(static_cast<SOCKET>(fd_), SIO_KEEPALIVE_VALS, &keepAlive, sizeof keepAlive,
                    nullptr, 0, &unused, nullptr, nullptr) == 0 &&
           SetOption(fd_, SOL_SOCKET, SO_SNDBUF, kSendBuffer);
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

}  // namespace ferrow::net
