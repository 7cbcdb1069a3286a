// A network gateway reached by UDP: every frame goes out as one datagram
// holding one line; datagrams arriving on the local port may hold several.
// There is no connection: the link is up from Open to Close, except while a
// gateway that has been heard stays silent for kIdleTimeout, until its next
// datagram. HOST may be a broadcast address, so that several programs on one
// machine share a network on one port: our own datagrams heard back are
// left out.
#pragma once

#include "net/links/Socket.h"
#include "net/links/SocketLink.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ferrow::net {

class UdpLink : public SocketLink {
public:
    // Sends to HOST:PORT and receives on the same port number, as gateways do.
    UdpLink(std::string host, uint16_t port, std::unique_ptr<LineFormat> format, Clock clock = {});
    // Receives on `localPort` instead; 0 takes a free one, told by LocalPort.
    UdpLink(std::string host, uint16_t port, uint16_t localPort,
            std::unique_ptr<LineFormat> format, Clock clock = {});
    ~UdpLink() override;

    // Also tells the operator, in a line, when HOST is this machine and the
    // link would send to its own port.
    int Open(std::string& error) override;
    void Close() override;
    uint16_t LocalPort() const { return boundPort_; }

private:
    void Run() override;
    void ReceiveDatagrams();
    void SendDatagrams();
    bool IsEcho(const Socket::Endpoint& from, std::string_view datagram) const;
    bool IsThisMachine(uint32_t address) const;

    const std::string host_;
    const uint16_t port_;
    const uint16_t localPort_;
    uint16_t boundPort_ = 0;
    Socket::Endpoint destination_;  // set by Open, before the I/O thread starts
    Socket socket_;                 // handed by Open to the I/O thread
    std::vector<char> buffer_;
    // The I/O thread's: what it sent last, to know them when they come back.
    std::deque<std::string> recentlySent_;
    std::vector<uint32_t> localAddresses_;  // set by Open
    // The I/O thread's: the socket took no more datagrams at the last try.
    bool blocked_ = false;
    // The I/O thread's: when a datagram last came from someone else.
    std::optional<std::chrono::milliseconds> heardAt_;
};

}  // namespace ferrow::net
