#include "net/vbus/VirtualBusTransport.h"

#include "net/can/Framing.h"
#include "net/can/IsoTransportFrames.h"
#include "net/transport/N2KRecord.h"
#include "net/transport/OperatorMessage.h"

#include <utility>

namespace ferrow::net {

VirtualBusTransport::VirtualBusTransport(std::string busName, std::unique_ptr<FrameLog> log)
    : busName_(std::move(busName)), clock_(platform::ProcessClock::Bound()), log_(std::move(log)) {}

// The bus keeps a pointer to the member until it leaves.
VirtualBusTransport::~VirtualBusTransport() { Close(); }

int VirtualBusTransport::Open() {
    Close();
    bus_ = VirtualBus::Named(busName_);
    bus_->Join(member_);
    std::string error;
    // A recording that cannot be made is reported, never in traffic's way.
    if (log_.Open(error) < 0) OperatorMessage::Show(error);
    return 0;
}

void VirtualBusTransport::Close() {
    if (!bus_) return;
    bus_->Leave(member_);
    bus_.reset();
    log_.Close();
}

N2KStatus VirtualBusTransport::Send(const N2KMsg& msg) {
    const std::optional<uint8_t> framing = Framing::For(msg);
    if (!framing) return N2K_BAD_MESSAGE;
    if (!bus_) return N2K_NOT_CONNECTED;
    N2KMsg carried;
    N2KRecord::Copy(&carried, &msg);
    carried.transport = *framing;
    if (*framing == Framing::kIsoTransport) carried.priority = IsoTransportFrames::kPriority;
    bus_->Send(member_, carried, Now());
    Count(carried, framesOut_);
    log_.Record(msg, LineFormat::Direction::Transmitted);
    return N2K_OK;
}

N2KStatus VirtualBusTransport::Fetch(N2KMsg& msg) {
    if (!bus_) return N2K_NOT_CONNECTED;
    if (!member_.Take(msg, Now())) return N2K_NO_MESSAGE;
    Count(msg, framesIn_);
    log_.Record(msg, LineFormat::Direction::Received);
    return N2K_OK;
}

void VirtualBusTransport::Count(const N2KMsg& msg, uint64_t& frames) {
    frames += Framing::FramesOf(msg.transport, msg.length);
    busBits_ += Framing::BitsOf(msg.transport, msg.length);
}

BusInstant VirtualBusTransport::Now() const {
    if (!clock_) return {};
    return {clock_.get(), clock_->Ms64()};
}

uint64_t VirtualBusTransport::Dropped() const { return member_.Dropped(); }

void VirtualBusTransport::AddStats(FerrowGatewayStats& stats) const {
    stats.framesIn += framesIn_;
    stats.framesOut += framesOut_;
    stats.busBits += busBits_;
    stats.dropped += member_.Dropped();
    stats.recordingFailures += log_.Failures();
}

}  // namespace ferrow::net
