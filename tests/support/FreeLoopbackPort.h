// A loopback port for a test's gateway to listen on or receive at.
#pragma once

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <cstdint>

namespace ferrow::test {

// A loopback port of `type` (SOCK_STREAM or SOCK_DGRAM) that was free a
// moment ago.
inline uint16_t FreeLoopbackPort(int type = SOCK_STREAM) {
#ifdef _WIN32
    // Winsock counts its users, so this works before or after the library's own start.
    WSADATA data;
    ::WSAStartup(MAKEWORD(2, 2), &data);
    const SOCKET fd = ::socket(AF_INET, type, 0);
    int size = sizeof(sockaddr_in);
#else
    const int fd = ::socket(AF_INET, type, 0);
    socklen_t size = sizeof(sockaddr_in);
#endif
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
#ifdef _WIN32
    ::closesocket(fd);
    ::WSACleanup();
#else
    ::close(fd);
#endif
    return ntohs(address.sin_port);
}

}  // namespace ferrow::test
