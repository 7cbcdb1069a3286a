// Receives messages sent over ISO 11783-3 transport: broadcasts (BAM) from any
// source, and connections (RTS/CTS) addressed to our own address, which it
// answers with CTS frames and closes with an EndOfMsgAck. Sessions live in a
// bounded set of slots made as senders need them; a connection that goes
// wrong is aborted, a broadcast that goes wrong is dropped, and both are
// counted.
#pragma once

#include "net/can/CanCounters.h"
#include "net/can/CanFrame.h"
#include "net/can/CanId.h"
#include "net/can/IsoTransportFrames.h"
#include "net/can/PartialMessage.h"

#include <ferrow/N2KMsg.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ferrow::net {

class IsoTransportAssembler {
public:
    static constexpr std::size_t kSessions = 16;
    // Longest wait for the next data packet (T1), and for the first packet
    // after a CTS (T2).
    static constexpr std::chrono::milliseconds kPacketTimeout{750};
    static constexpr std::chrono::milliseconds kCtsTimeout{1250};

    explicit IsoTransportAssembler(CanCounters& counters);

    // The address that connections must be addressed to; CanId::kNullAddress
    // accepts none.
    void SetOwnAddress(uint8_t address) { own_ = address; }

    // A TP.CM (RTS, BAM or Abort) or TP.DT frame. True with the finished
    // message in `msg`; the answers owed are appended to `replies`. Sessions
    // between other nodes are not followed.
    bool Accept(const CanId& id, const CanFrame& frame, std::chrono::milliseconds now, N2KMsg& msg,
                std::vector<CanFrame>& replies);
    // Drops every session gone stale by `now`, aborting connections.
    void Expire(std::chrono::milliseconds now, std::vector<CanFrame>& replies);

private:
    struct Session {
        PartialMessage message{0};
        bool broadcast = false;
        uint8_t perCts = 0;     // packets to grant with each CTS
        uint8_t windowEnd = 0;  // last packet the latest CTS granted
    };

    bool ForUs(const CanId& id) const {
        return own_ != CanId::kNullAddress && id.destination == own_;
    }
    void Announce(const CanId& id, const CanFrame& frame, bool broadcast,
                  std::chrono::milliseconds now, std::vector<CanFrame>& replies);
    bool Data(const CanId& id, const CanFrame& frame, bool broadcast, std::chrono::milliseconds now,
              N2KMsg& msg, std::vector<CanFrame>& replies);
    bool ConnectionData(Session& session, FrameAssembly::Step step, uint8_t sequence,
                        std::chrono::milliseconds now, N2KMsg& msg,
                        std::vector<CanFrame>& replies);
    // Sends the CTS for the packets from `next` on.
    void Grant(Session& session, uint8_t next, std::chrono::milliseconds now,
               std::vector<CanFrame>& replies);
    void Close(Session& session, IsoTransportFrames::AbortReason reason,
               std::vector<CanFrame>& replies);
    // The session of `source` of that kind, or null; a stale one is dropped
    // first.
    Session* Find(uint8_t source, bool broadcast, std::chrono::milliseconds now,
                  std::vector<CanFrame>& replies);
    // Drops a stale session, aborting it if it is a connection.
    void Drop(Session& session, std::vector<CanFrame>& replies);
    // A free session, a new one while fewer than kSessions exist, or null.
    Session* Free();
    // Our side of a connection whose message is `link`: from us to its
    // sender.
    static CanId ReplyLink(const CanId& link);

    CanCounters& counters_;
    uint8_t own_ = CanId::kNullAddress;
    std::vector<Session> sessions_;
};

}  // namespace ferrow::net
