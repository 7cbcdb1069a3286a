// How a gateway reaches one NMEA 2000 network. The gateway picks a transport
// by its port name when it connects, opens it, moves whole messages through
// it and closes it when it disconnects. The gateway serialises its calls and
// makes them only between Open and Close.
#pragma once

#include <ferrow/N2KMsg.h>
#include <ferrow/N2KStatus.h>

#include <cstdint>
#include <memory>
#include <string>

namespace ferrow::net {

class GatewayTransport {
public:
    virtual ~GatewayTransport() = default;

    // 0, or negative when the network cannot be reached.
    virtual int Open() = 0;
    virtual void Close() = 0;
    // N2K_OK once the network has the message, or why it was refused.
    virtual N2KStatus Send(const N2KMsg& msg) = 0;
    // N2K_OK with the oldest received message copied into `msg`, or
    // N2K_NO_MESSAGE leaving `msg` untouched.
    virtual N2KStatus Fetch(N2KMsg& msg) = 0;
    // Received messages lost because the receive side was full.
    virtual uint64_t Dropped() const = 0;
    // Whether the network is reachable now: a link that dropped and is being
    // made again, or a replayed log that has ended, says false.
    virtual bool IsUp() const { return true; }

    // The transport that `portName` selects, not yet open. A non-empty
    // `logPath` records every CAN frame it sends and receives there. The
    // search for a serial gateway ("auto") tries at most `portSearchLimit`
    // devices.
    static std::unique_ptr<GatewayTransport> ForPort(const std::string& portName,
                                                     const std::string& logPath = "",
                                                     int portSearchLimit = 20);
};

}  // namespace ferrow::net
