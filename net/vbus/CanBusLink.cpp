#include "net/vbus/CanBusLink.h"

#include <chrono>
#include <utility>

namespace ferrow::net {

CanBusLink::CanBusLink(std::string busName, std::shared_ptr<platform::VirtualClock> clock)
    : busName_(std::move(busName)), clock_(std::move(clock)) {}

// The bus keeps a pointer to the member until it leaves.
CanBusLink::~CanBusLink() { Close(); }

CanBus::Micros CanBusLink::Now() const {
    if (clock_) return clock_->Ms64() * 1000;
    return static_cast<CanBus::Micros>(std::chrono::duration_cast<std::chrono::microseconds>(
                                           std::chrono::steady_clock::now().time_since_epoch())
                                           .count());
}

int CanBusLink::Open(std::string& error) {
    Close();
    std::shared_ptr<CanBus> bus = CanBus::Named(busName_);
    if (!bus->Join(member_, clock_.get(), Now(), error)) return -1;
    bus_ = std::move(bus);
    return 0;
}

void CanBusLink::Close() {
    if (!bus_) return;
    bus_->Leave(member_);
    bus_.reset();
}

bool CanBusLink::Send(const CanFrame& frame) { return bus_ && bus_->Send(member_, frame, Now()); }

bool CanBusLink::Receive(CanFrame& frame) {
    CanBus::Micros ended;
    return Receive(frame, ended);
}

bool CanBusLink::Receive(CanFrame& frame, CanBus::Micros& ended) {
    return bus_ && bus_->Receive(member_, frame, Now(), &ended);
}

void CanBusLink::AddStats(FerrowGatewayStats& stats) const {
    stats.dropped += member_.Dropped();
    stats.busErrors += member_.Collisions();
    stats.busBits += member_.StuffBits();
}

}  // namespace ferrow::net
