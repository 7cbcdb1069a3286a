#include "net/links/SocketSystem.h"

#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ferrow::net {

using socket_system::SetOption;

namespace socket_system {

bool Started() { return true; }

Socket NewSocket(bool stream) {
    const int type = stream ? SOCK_STREAM : SOCK_DGRAM;
    return Socket(::socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

void Close(Socket::Handle fd) { ::close(fd); }

Socket::Handle AcceptHandle(Socket::Handle listener) {
    return accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
}

int LastError() { return errno; }

std::string ErrorText(int error) { return std::strerror(error); }

std::string LookUpText(int status) { return gai_strerror(status); }

bool ConnectUnderWay(int error) { return error == EINPROGRESS; }

// SO_REUSEADDR lets a link come back on its port at once after a restart,
// and lets other programs share a datagram port; Linux still refuses a second
// TCP listener.
bool HoldPort(const Socket& socket, bool) {
    return SetOption(socket.Fd(), SOL_SOCKET, SO_REUSEADDR, 1);
}

}  // namespace socket_system

bool Socket::OutOfDescriptors(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

bool Socket::WouldBlock() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

bool Socket::WatchPeer() const {
    return SetOption(fd_, SOL_SOCKET, SO_KEEPALIVE, 1) &&
           SetOption(fd_, IPPROTO_TCP, TCP_KEEPIDLE, static_cast<int>(kKeepAliveIdle.count())) &&
           SetOption(fd_, IPPROTO_TCP, TCP_KEEPINTVL,
                     static_cast<int>(kKeepAliveInterval.count())) &&
           SetOption(fd_, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes) &&
           SetOption(fd_, IPPROTO_TCP, TCP_USER_TIMEOUT, static_cast<int>(kUserTimeout.count())) &&
           SetOption(fd_, SOL_SOCKET, SO_SNDBUF, kSendBuffer);
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
