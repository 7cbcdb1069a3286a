// Our device as the network gateway: chart software and other programs
// connect over TCP and exchange one frame per text line. Every frame our
// device sends reaches every client; every frame a client sends reaches our
// device and every other client, as on one cable.
#pragma once

#include "net/links/LineStream.h"
#include "net/links/Socket.h"
#include "net/links/SocketLink.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ferrow::net {

class TcpListenLink : public SocketLink {
public:
    // More are accepted and closed at once.
    static constexpr std::size_t kMaxClients = 16;

    // Port 0 takes a free one, told by Port.
    TcpListenLink(uint16_t port, std::unique_ptr<LineFormat> format);
    ~TcpListenLink() override;

    int Open(std::string& error) override;
    void Close() override;
    // The port listened on, once open.
    uint16_t Port() const { return boundPort_; }
    std::size_t ClientCount() const { return clientCount_; }

private:
    void Run() override;
    void Accept();
    // Queues `lines` (`count` of them) for every client but `except`.
    void Broadcast(std::string_view lines, std::size_t count, const LineStream* except);

    const uint16_t port_;
    uint16_t boundPort_ = 0;
    Socket listener_;                  // handed by Open to the I/O thread
    std::vector<LineStream> clients_;  // the I/O thread's
    // The I/O thread's: no accepting before then, after running out of
    // descriptors; the waiting connection is taken once some are free.
    std::chrono::steady_clock::time_point acceptPausedUntil_;
    std::atomic<std::size_t> clientCount_{0};
};

}  // namespace ferrow::net
