// Turns NMEA 2000 message records into CAN frames and frames back into
// records, for a gateway that moves the frames through a real transport.
// Pure: no I/O, no clock, no threads and no lock; the caller passes the time
// (process-clock milliseconds), sends the frames it gets back, and serialises
// its calls. In every record addressA is the source and addressB the
// destination, 255 for global.
#pragma once

#include "net/can/CanCounters.h"
#include "net/can/CanFrame.h"
#include "net/can/CanId.h"
#include "net/can/FastPacketAssembler.h"
#include "net/can/FastPacketEncoder.h"
#include "net/can/IsoTransmitSession.h"
#include "net/can/IsoTransportAssembler.h"

#include <ferrow/N2KMsg.h>
#include <ferrow/N2KStatus.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ferrow::net {

class N2KCanCodec {
public:
    // Outgoing connections open at once, each to its own destination.
    static constexpr std::size_t kMaxConnections = 8;

    // `ownAddress` is the address incoming connections must be addressed to;
    // CanId::kNullAddress accepts none.
    explicit N2KCanCodec(uint8_t ownAddress = CanId::kNullAddress);
    N2KCanCodec(const N2KCanCodec&) = delete;
    N2KCanCodec& operator=(const N2KCanCodec&) = delete;

    // After an address claim.
    void SetOwnAddress(uint8_t address);

    // Appends the frames that send `msg`, by its transport:
    //   1  one frame of `length` bytes, at most 8;
    //   2  a fast packet of at most 223 bytes;
    //   3  9 to 1,785 bytes over ISO transport: a BAM with all its data
    //      packets when the message is global (a PDU2 PGN, or addressB 255),
    //      otherwise an RTS to addressB, whose data packets follow as Receive
    //      takes the receiver's CTS frames. Its frames carry the message's
    //      priority, which the receiving side gives the message back.
    // N2K_OK; N2K_BAD_MESSAGE for a length that its transport cannot carry,
    // an unknown transport, a priority above 7 or a PGN that no identifier
    // carries; N2K_TX_BUSY while a connection from that source to that
    // destination, or kMaxConnections connections, are open.
    N2KStatus Send(const N2KMsg& msg, std::chrono::milliseconds now, std::vector<CanFrame>& frames);

    // Takes one frame from the bus. True with a whole message in `msg`, its
    // transport 1, 2 or 3 as it came and its time stamp `now` in 10 ms units;
    // false while no message is complete, leaving `msg` untouched. The frames
    // owed in answer (CTS, EndOfMsgAck, Abort, the data packets a CTS asked
    // for) are appended to `frames`.
    bool Receive(const CanFrame& frame, std::chrono::milliseconds now, N2KMsg& msg,
                 std::vector<CanFrame>& frames);

    // Drops what went stale by `now` and appends the aborts owed. Receive
    // drops the stale messages it meets, but only this call times out a
    // sender or a receiver that has gone silent.
    void Expire(std::chrono::milliseconds now, std::vector<CanFrame>& frames);

    const CanCounters& Counters() const { return counters_; }

private:
    N2KStatus Connect(const CanId& link, const N2KMsg& msg, std::chrono::milliseconds now,
                      std::vector<CanFrame>& frames);
    // Hands a TP.CM frame to the outgoing connection it answers, if any.
    void Answer(const CanId& id, const CanFrame& frame, std::chrono::milliseconds now,
                std::vector<CanFrame>& frames);
    // Counts and forgets the connections that have ended.
    void Sweep();

    CanCounters counters_;
    FastPacketEncoder fastPacketEncoder_;
    FastPacketAssembler fastPackets_;
    IsoTransportAssembler isoTransport_;
    std::vector<IsoTransmitSession> connections_;
};

}  // namespace ferrow::net
