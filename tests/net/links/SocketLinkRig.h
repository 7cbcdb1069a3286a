// Helpers for the socket link tests: frames, the test line format, loopback
// peers made of plain sockets, and waiting for a frame.
#pragma once

#include "net/links/SocketLink.h"
#include "tests/net/formats/HexLineFormat.h"
#include "tests/support/Eventually.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <memory>
#include <optional>
#include <string>

namespace ferrow::test {

inline const char* const kLoopback = "127.0.0.1";

inline std::unique_ptr<net::LineFormat> Hex() { return std::make_unique<HexLineFormat>(); }

inline net::CanFrame FrameOf(uint32_t id, uint8_t first) {
    net::CanFrame frame;
    frame.id = id;
    frame.length = 3;
    frame.data = {first, 0x5C, 0x3D};
    return frame;
}

// The next frame the link receives within the usual bound.
inline std::optional<net::CanFrame> NextFrame(net::SocketLink& link) {
    net::CanFrame frame;
    if (!Eventually([&] { return link.Receive(frame); })) return std::nullopt;
    return frame;
}

inline sockaddr_in LoopbackAddress(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// A blocking TCP connection to a loopback port, invalid when refused.
inline net::Socket RawConnect(uint16_t port) {
    net::Socket socket(::socket(AF_INET, SOCK_STREAM, 0));
    const sockaddr_in address = LoopbackAddress(port);
    if (connect(socket.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        socket.Reset();
    }
    return socket;
}

inline bool RawSend(const net::Socket& socket, const std::string& bytes) {
    return send(socket.Fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

// One datagram to a loopback port.
inline bool RawSendTo(uint16_t port, const std::string& bytes) {
    const net::Socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
    const sockaddr_in to = LoopbackAddress(port);
    return sendto(socket.Fd(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                  sizeof to) == static_cast<ssize_t>(bytes.size());
}

}  // namespace ferrow::test
