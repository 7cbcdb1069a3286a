// A network gateway reached by UDP: every frame goes out as one datagram
// holding one line; datagrams arriving on the local port may hold several.
// There is no connection, so the link is up from Open to Close.
#pragma once

#include "net/links/Socket.h"
#include "net/links/SocketLink.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ferrow::net {

class UdpLink : public SocketLink {
public:
    // Sends to HOST:PORT and receives on the same port number, as gateways do.
    UdpLink(std::string host, uint16_t port, std::unique_ptr<LineFormat> format);
    // Receives on `localPort` instead; 0 takes a free one, told by LocalPort.
    UdpLink(std::string host, uint16_t port, uint16_t localPort,
            std::unique_ptr<LineFormat> format);
    ~UdpLink() override;

    int Open(std::string& error) override;
    void Close() override;
    uint16_t LocalPort() const { return boundPort_; }
    // Our own datagrams heard back (sent to a broadcast address, or to this
    // machine on our port) and left out.
    uint64_t Echoes() const { return echoes_; }

private:
    void Run() override;
    void ReceiveDatagrams();
    void SendDatagrams();
    bool IsEcho(const Socket::Endpoint& from, std::string_view datagram) const;

    const std::string host_;
    const uint16_t port_;
    const uint16_t localPort_;
    uint16_t boundPort_ = 0;
    Socket::Endpoint destination_;  // set by Open, before the I/O thread starts
    Socket socket_;              // handed by Open to the I/O thread
    // The I/O thread's: datagrams the socket could not take yet.
    std::deque<std::string> pending_;
    std::vector<char> buffer_;
    // The I/O thread's: what it sent last, to know them when they come back.
    std::deque<std::string> recentlySent_;
    std::vector<uint32_t> localAddresses_;  // set by Open
    std::atomic<uint64_t> echoes_{0};
};

}  // namespace ferrow::net
