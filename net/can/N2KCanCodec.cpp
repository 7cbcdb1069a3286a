// Choosing the framing of each message and routing each received frame to
// the assembler or the outgoing connection it belongs to.
#include "net/can/N2KCanCodec.h"

#include "net/can/FastPacketPgns.h"
#include "net/can/Framing.h"
#include "net/can/IsoTransportFrames.h"

#include <algorithm>
#include <cstring>

namespace ferrow::net {

namespace {

// An ISO transport message to one node goes over a connection; a PDU2 PGN
// has no destination, so it is broadcast whatever addressB says.
bool IsConnection(const N2KMsg& msg) {
    return CanId::IsPdu1(msg.pgn) && msg.addressB != CanId::kGlobal;
}

}  // namespace

N2KCanCodec::N2KCanCodec(uint8_t ownAddress) : fastPackets_(counters_), isoTransport_(counters_) {
    SetOwnAddress(ownAddress);
    connections_.reserve(kMaxConnections);
}

void N2KCanCodec::SetOwnAddress(uint8_t address) { isoTransport_.SetOwnAddress(address); }

std::size_t N2KCanCodec::FramesAtOnce(const N2KMsg& msg) {
    const std::optional<uint8_t> framing = Framing::For(msg);
    if (!framing) return 0;
    if (*framing == Framing::kIsoTransport && IsConnection(msg)) return 1;
    return Framing::FramesOf(*framing, msg.length);
}

N2KStatus N2KCanCodec::Send(const N2KMsg& msg, std::chrono::milliseconds now,
                            std::vector<CanFrame>& frames) {
    const std::optional<uint8_t> framing = Framing::For(msg);
    if (!framing) return N2K_BAD_MESSAGE;
    CanId id{msg.priority, msg.pgn, msg.addressA, msg.addressB};
    if (*framing == Framing::kSingleFrame) {
        CanFrame frame;
        frame.id = id.Encode();
        frame.length = static_cast<uint8_t>(msg.length);
        std::memcpy(frame.data.data(), msg.data, msg.length);
        frames.push_back(frame);
        return N2K_OK;
    }
    if (*framing == Framing::kFastPacket) {
        fastPacketEncoder_.Encode(id, msg.data, msg.length, frames);
        return N2K_OK;
    }
    if (IsConnection(msg)) return Connect(id, msg, now, frames);
    id.destination = CanId::kGlobal;
    frames.push_back(IsoTransportFrames::Bam(id, msg.length));
    IsoTransportFrames::AppendData(id, msg.data, msg.length, 1,
                                   IsoTransportFrames::PacketsFor(msg.length), frames);
    return N2K_OK;
}

N2KStatus N2KCanCodec::Connect(const CanId& link, const N2KMsg& msg, std::chrono::milliseconds now,
                               std::vector<CanFrame>& frames) {
    // One connection per pair of nodes at a time, as the protocol allows.
    const bool open = std::any_of(connections_.begin(), connections_.end(), [&](const auto& c) {
        return c.Source() == link.source && c.Destination() == link.destination;
    });
    if (open || connections_.size() >= kMaxConnections) return N2K_TX_BUSY;
    connections_.emplace_back(link, msg.data, msg.length, now, frames);
    return N2K_OK;
}

bool N2KCanCodec::Receive(const CanFrame& frame, std::chrono::milliseconds now, N2KMsg& msg,
                          std::vector<CanFrame>& frames) {
    if (frame.length > CanFrame::kMaxLength) {
        ++counters_.malformed;
        return false;
    }
    const CanId id = CanId::Decode(frame.id);
    if (id.pgn == IsoTransportFrames::kControlPgn) Answer(id, frame, now, frames);
    if (id.pgn == IsoTransportFrames::kControlPgn || id.pgn == IsoTransportFrames::kDataPgn) {
        return isoTransport_.Accept(id, frame, now, msg, frames);
    }
    if (FastPacketPgns::Contains(id.pgn)) return fastPackets_.Accept(id, frame, now, msg);
    msg.pgn = id.pgn;
    msg.priority = id.priority;
    msg.addressA = id.source;
    msg.addressB = id.destination;
    msg.transport = Framing::kSingleFrame;
    msg.length = frame.length;
    std::memcpy(msg.data, frame.data.data(), frame.length);
    msg.timeStamp = static_cast<uint32_t>(now.count() / 10);
    return true;
}

void N2KCanCodec::Answer(const CanId& id, const CanFrame& frame, std::chrono::milliseconds now,
                         std::vector<CanFrame>& frames) {
    for (IsoTransmitSession& connection : connections_) {
        if (connection.Source() == id.destination && connection.Destination() == id.source) {
            connection.OnControl(frame, now, frames);
        }
    }
    Sweep();
}

void N2KCanCodec::Expire(std::chrono::milliseconds now, std::vector<CanFrame>& frames) {
    fastPackets_.Expire(now);
    isoTransport_.Expire(now, frames);
    for (IsoTransmitSession& connection : connections_) connection.Expire(now, frames);
    Sweep();
}

void N2KCanCodec::Sweep() {
    for (const IsoTransmitSession& connection : connections_) {
        switch (connection.Current()) {
            case IsoTransmitSession::State::kOpen:
                break;
            case IsoTransmitSession::State::kCompleted:
                ++counters_.connectionsCompleted;
                break;
            case IsoTransmitSession::State::kAborted:
                ++counters_.connectionsAborted;
                break;
            case IsoTransmitSession::State::kTimedOut:
                ++counters_.connectionsTimedOut;
                break;
        }
    }
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                      [](const IsoTransmitSession& connection) {
                                          return connection.Current() !=
                                                 IsoTransmitSession::State::kOpen;
                                      }),
                       connections_.end());
}

}  // namespace ferrow::net
