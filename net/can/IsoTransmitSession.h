// Sends one message over an ISO 11783-3 connection to a single destination:
// announces it with an RTS, then sends the data packets each CTS asks for,
// until the receiver acknowledges the whole message, aborts, or stays silent
// past the timeout. The caller passes the time and sends the frames returned.
#pragma once

#include "net/can/CanFrame.h"
#include "net/can/CanId.h"

#include <chrono>
#include <cstdint>
#include <vector>

namespace ferrow::net {

class IsoTransmitSession {
public:
    enum class State { kOpen, kCompleted, kAborted, kTimedOut };

    // How long the receiver may take to answer the RTS or the last packet
    // sent (T3), and to follow a CTS that put the transfer on hold (T4).
    static constexpr std::chrono::milliseconds kResponseTimeout{1250};
    static constexpr std::chrono::milliseconds kHoldTimeout{1050};
    // The most packets sent for one CTS, as the RTS tells the receiver: what
    // a CTS asks for must fit the room a transmit queue keeps for answers.
    static constexpr uint8_t kPacketsPerCts = 16;

    // `link` is a valid id naming the carried PGN, the source and the
    // destination; `size` is 9 to 1,785 bytes. Appends the RTS.
    IsoTransmitSession(const CanId& link, const uint8_t* data, uint16_t size,
                       std::chrono::milliseconds now, std::vector<CanFrame>& out);

    uint8_t Source() const { return link_.source; }
    uint8_t Destination() const { return link_.destination; }
    State Current() const { return state_; }

    // A TP.CM frame that the destination sent to the source: a CTS appends
    // the packets it asks for, kPacketsPerCts at most, an EndOfMsgAck or an
    // Abort for this PGN ends the session.
    void OnControl(const CanFrame& frame, std::chrono::milliseconds now,
                   std::vector<CanFrame>& out);
    // Past the timeout, appends an Abort and ends the session.
    void Expire(std::chrono::milliseconds now, std::vector<CanFrame>& out);

private:
    void OnCts(uint8_t count, uint8_t next, std::chrono::milliseconds now,
               std::vector<CanFrame>& out);

    CanId link_;
    std::vector<uint8_t> data_;
    uint8_t packets_;
    State state_ = State::kOpen;
    std::chrono::milliseconds deadline_;
};

}  // namespace ferrow::net
