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

    // Appends the frames that send `msg`, framed as Framing::For says (the
    // PGN's own framing where the standard fixes it, else the record's
    // transport):
    //   1  one frame of `length` bytes, at most 8;
    //   2  a fast packet of at most 223 bytes;
    //   3  9 to 1,785 bytes over ISO transport: a BAM with all its data
    //      packets when the message is global (a PDU2 PGN, or addressB 255),
    //      otherwise an RTS to addressB, whose data packets follow as Receive
    //      takes the receiver's CTS frames. Its frames go at priority 7,
    //      whatever the message's.
    // N2K_OK; N2K_BAD_MESSAGE for what no CAN network carries (Framing::For);
    // N2K_TX_BUSY while a connection from that source to that destination,
    // or kMaxConnections connections, are open.
    N2KStatus Send(const N2KMsg& msg, std::chrono::milliseconds now, std::vector<CanFrame>& frames);
    // How many frames Send appends for `msg` at once: all of them, but only
    // the RTS of a connection; 0 for a message it refuses as bad.
    static std::size_t FramesAtOnce(const N2KMsg& msg);

    // Takes one frame from the bus. True with a whole message in `msg`, its
    // transport 1, 2 or 3 as it came and its time stamp `now` in 10 ms units;
    // false while no message is complete, leaving `msg` untouched. A message
    // that came over ISO transport has the priority of its announcement: 7
    // from every sender that keeps to J1939-21, whatever the message was sent
    // with. The frames owed in answer (CTS, EndOfMsgAck, Abort, the data
    // packets a CTS asked for) are appended to `frames`.
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
