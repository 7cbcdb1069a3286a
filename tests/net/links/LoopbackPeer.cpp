// The plain sockets of the fake peers in SocketLinkRig.h.
#include "tests/net/links/SocketLinkRig.h"

#include "net/links/SocketSystem.h"

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <sys/socket.h>
#endif

namespace ferrow::test {

namespace {

#ifdef _WIN32
using Length = int;
constexpr int kNoSignal = 0;
#else
using Length = std::size_t;
constexpr int kNoSignal = MSG_NOSIGNAL;
#endif

// Blocking, unlike the links' own.
net::Socket NewSocket(int type) {
    if (!net::socket_system::Started()) return net::Socket();
    // A Windows INVALID_SOCKET, all ones, comes out as -1.
    return net::Socket(static_cast<net::Socket::Handle>(::socket(AF_INET, type, 0)));
}

sockaddr_in Address(const net::Socket::Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = endpoint.address;
    address.sin_port = htons(endpoint.port);
    return address;
}

}  // namespace

net::Socket RawConnect(const net::Socket::Endpoint& to, int window) {
    net::Socket socket = NewSocket(SOCK_STREAM);
    if (window != 0) SetReceiveWindow(socket, window);
    const sockaddr_in address = Address(to);
    if (!socket ||
        connect(socket.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        socket.Reset();
    }
    return socket;
}

bool RawSend(const net::Socket& socket, const std::string& bytes) {
    return send(socket.Fd(), bytes.data(), static_cast<Length>(bytes.size()), kNoSignal) ==
           static_cast<long>(bytes.size());
}

long RawReceive(const net::Socket& socket, char* buffer, std::size_t size) {
    return recv(socket.Fd(), buffer, static_cast<Length>(size), 0);
}

bool RawSendTo(uint16_t port, const std::string& bytes) {
    const net::Socket socket = NewSocket(SOCK_DGRAM);
    const sockaddr_in to = Address({LoopbackAddress(), port});
    return sendto(socket.Fd(), bytes.data(), static_cast<Length>(bytes.size()), 0,
                  reinterpret_cast<const sockaddr*>(&to),
                  sizeof to) == static_cast<long>(bytes.size());
}

void SetReceiveWindow(const net::Socket& socket, int bytes) {
    net::socket_system::SetOption(socket.Fd(), SOL_SOCKET, SO_RCVBUF, bytes);
}

}  // namespace ferrow::test
