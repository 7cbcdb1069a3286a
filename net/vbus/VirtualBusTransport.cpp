#include "net/vbus/VirtualBusTransport.h"

#include "platform/MessageReport.h"
#include "platform/Text.h"

#include <utility>

namespace ferrow::net {

VirtualBusTransport::VirtualBusTransport(std::string busName, std::unique_ptr<FrameLog> log)
    : busName_(std::move(busName)), clock_(platform::ProcessClock::Bound()), log_(std::move(log)) {}

// The bus keeps a pointer to the member until it leaves.
VirtualBusTransport::~VirtualBusTransport() { Close(); }

int VirtualBusTransport::Open() {
    bus_ = VirtualBus::Named(busName_);
    bus_->Join(member_);
    std::string error;
    // A recording that cannot be made is reported, never in traffic's way.
    if (log_.Open(error) < 0) platform::MessageReport::Show(L"Gateway", platform::Text::Widen(error));
    return 0;
}

void VirtualBusTransport::Close() {
    if (!bus_) return;
    bus_->Leave(member_);
    bus_.reset();
    log_.Close();
}

N2KStatus VirtualBusTransport::Send(const N2KMsg& msg) {
    bus_->Send(member_, msg, Now());
    log_.Record(msg, LineFormat::Direction::Transmitted);
    return N2K_OK;
}

N2KStatus VirtualBusTransport::Fetch(N2KMsg& msg) {
    if (!member_.Take(msg, Now())) return N2K_NO_MESSAGE;
    log_.Record(msg, LineFormat::Direction::Received);
    return N2K_OK;
}

BusInstant VirtualBusTransport::Now() const {
    if (!clock_) return {};
    return {clock_.get(), clock_->Ms64()};
}

uint64_t VirtualBusTransport::Dropped() const { return member_.Dropped(); }

}  // namespace ferrow::net
