#include "platform/gateway/VirtualBusTransport.h"

#include <utility>

namespace ferrow::platform {

VirtualBusTransport::VirtualBusTransport(std::string busName) : busName_(std::move(busName)) {}

// The bus keeps a pointer to the member until it leaves.
VirtualBusTransport::~VirtualBusTransport() { Close(); }

int VirtualBusTransport::Open() {
    bus_ = VirtualBus::Named(busName_);
    bus_->Join(member_);
    return 0;
}

void VirtualBusTransport::Close() {
    if (!bus_) return;
    bus_->Leave(member_);
    bus_.reset();
}

N2KStatus VirtualBusTransport::Send(const N2KMsg& msg) {
    bus_->Send(member_, msg);
    return N2K_OK;
}

N2KStatus VirtualBusTransport::Fetch(N2KMsg& msg) {
    return member_.Take(msg) ? N2K_OK : N2K_NO_MESSAGE;
}

uint64_t VirtualBusTransport::Dropped() const { return member_.Dropped(); }

}  // namespace ferrow::platform
