// A loopback port for a test's gateway to listen on or receive at.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>

namespace ferrow::test {

// A loopback port of `type` (SOCK_STREAM or SOCK_DGRAM) that was free a
// moment ago.
inline uint16_t FreeLoopbackPort(int type = SOCK_STREAM) {
    const int fd = ::socket(AF_INET, type, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(fd);
    return ntohs(address.sin_port);
}

}  // namespace ferrow::test
