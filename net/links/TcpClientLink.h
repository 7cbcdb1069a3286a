// A network gateway on the LAN, reached over TCP, one frame per text line.
// Open fails at once when the gateway cannot be reached; a connection lost
// later is made again in the background, and the link is down meanwhile. A
// gateway that stops reading fills the outbox, and Send refuses until it
// reads again; one that dies is seen by keepalive within seconds, and one
// that has spoken and then stays silent for kIdleTimeout is taken as hung
// and connected to again.
#pragma once

#include "net/links/LineStream.h"
#include "net/links/SocketLink.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace ferrow::net {

class TcpClientLink : public SocketLink {
public:
    static constexpr std::chrono::milliseconds kConnectTimeout{3000};
    // Retries start quick, for a gateway that restarts, and slow down for
    // one that is switched off.
    static constexpr std::chrono::milliseconds kFirstRetry{100};
    static constexpr std::chrono::milliseconds kLastRetry{2000};

    TcpClientLink(std::string host, uint16_t port, std::unique_ptr<LineFormat> format,
                  Clock clock = {});
    ~TcpClientLink() override;

    int Open(std::string& error) override;
    void Close() override;

private:
    void Run() override;
    // The connection, or nullopt with the reason in `error`; gives up early
    // when the link is being closed.
    std::optional<LineStream> Connect(std::string& error);
    // Moves lines both ways after a wait that found `ready`; false when the
    // connection is lost.
    bool Exchange(LineStream& stream, const Watch& ready);
    // When silence makes the gateway hung: none until it has spoken.
    std::optional<std::chrono::milliseconds> IdleDeadline() const;

    const std::string host_;
    const uint16_t port_;
    Socket::Endpoint address_;             // set by Open, before the I/O thread starts
    std::optional<LineStream> connected_;  // handed by Open to the I/O thread
    // The I/O thread's: when the gateway last sent anything on this
    // connection.
    std::optional<std::chrono::milliseconds> heardAt_;
    // The I/O thread's: lines may be left in the outbox for a connection
    // that takes them.
    bool backlog_ = false;
};

}  // namespace ferrow::net
