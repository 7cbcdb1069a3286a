// Our device as the network gateway: chart software and other programs
// connect over TCP and exchange one frame per text line. Every frame our
// device sends reaches every client; every frame a client sends reaches our
// device and every other client, as on one cable. A client that stops
// reading loses the lines meant for it, counted, while the others carry on;
// after kStallLimit of that it is dropped and its slot freed.
#pragma once

#include "net/links/LineStream.h"
#include "net/links/Socket.h"
#include "net/links/SocketLink.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ferrow::net {

class TcpListenLink : public SocketLink {
public:
    // More are accepted and closed at once.
    static constexpr std::size_t kMaxClients = 16;
    // How long a client's queue may stay full before the client is dropped.
    static constexpr std::chrono::milliseconds kStallLimit{3000};

    // On every interface; port 0 takes a free one, told by Port.
    TcpListenLink(uint16_t port, std::unique_ptr<LineFormat> format, Clock clock = {});
    // On the interface of `address` only (empty: every interface).
    TcpListenLink(std::string address, uint16_t port, std::unique_ptr<LineFormat> format,
                  Clock clock = {});
    ~TcpListenLink() override;

    int Open(std::string& error) override;
    void Close() override;
    // The port listened on, once open.
    uint16_t Port() const { return boundPort_; }
    std::size_t ClientCount() const { return clientCount_; }

private:
    struct Client {
        LineStream stream;
        // Since when its queue has refused lines, while it does.
        std::optional<std::chrono::milliseconds> fullSince;
    };

    void Run() override;
    void Accept();
    // Queues `lines` (`count` of them) for every client but `except`.
    void Broadcast(std::string_view lines, std::size_t count, const Client* except);
    // Forgets clients that are gone, and those stalled for kStallLimit.
    void DropLost(const std::vector<bool>& alive);
    // When the first stalled client is to be dropped.
    std::optional<std::chrono::milliseconds> StallDeadline() const;

    const std::string address_;
    const uint16_t port_;
    uint16_t boundPort_ = 0;
    Socket listener_;              // handed by Open to the I/O thread
    std::vector<Client> clients_;  // the I/O thread's
    // The I/O thread's: no accepting before then, after running out of
    // descriptors; the waiting connection is taken once some are free.
    std::chrono::milliseconds acceptPausedUntil_ = std::chrono::milliseconds::min();
    std::atomic<std::size_t> clientCount_{0};
};

}  // namespace ferrow::net
