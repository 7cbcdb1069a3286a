// A link that carries the CAN frames of one NMEA 2000 network: a socket to a
// network gateway, a listening socket that is the gateway, a datagram
// socket, a recorded log. The gateway's frame transport frames and
// reassembles messages over it; a link only moves frames.
#pragma once

#include "net/can/CanFrame.h"

#include <ferrow/FerrowGatewayStats.h>

#include <string>

namespace ferrow::net {

class FrameLink {
public:
    virtual ~FrameLink() = default;

    // 0, or negative with a sentence for the operator in `error`.
    virtual int Open(std::string& error) = 0;
    virtual void Close() = 0;
    // Hands one frame to the network; false when the link cannot take it now.
    virtual bool Send(const CanFrame& frame) = 0;
    // The next received frame, if one is waiting; never blocks.
    virtual bool Receive(CanFrame& frame) = 0;
    // Whether the link reaches the network now (false while a dropped
    // connection is being made again, or after a replayed log has ended).
    virtual bool IsUp() const = 0;
    // Adds what the link itself has lost or refused to `stats` (received
    // frames dropped, lines or frames that held nothing, sends lost with a
    // peer, peers lost, bus problems); the frame transport counts frames.
    virtual void AddStats(FerrowGatewayStats&) const {}
};

}  // namespace ferrow::net
