// A gateway's frame link onto a CAN bus in the process (CanBus), the bus
// named by the gateway's port name: its controller, with a small transmit
// buffer that refuses a frame while full and a bounded receive buffer. Built
// on a thread that runs a simulation, it keeps that simulation's virtual
// time, in whole milliseconds; else wall time, in microseconds. The frame
// transport above it serialises every call.
#pragma once

#include "net/links/FrameLink.h"
#include "net/vbus/CanBus.h"
#include "platform/ProcessClock.h"

#include <memory>
#include <string>

namespace ferrow::net {

class CanBusLink : public FrameLink {
public:
    // `clock`: the virtual clock it keeps, or null for wall time.
    explicit CanBusLink(
        std::string busName,
        std::shared_ptr<platform::VirtualClock> clock = platform::ProcessClock::Bound());
    ~CanBusLink() override;

    // Refused when the bus keeps another time than this link.
    int Open(std::string& error) override;
    // Drops the frames not yet sent and those not yet taken.
    void Close() override;
    bool Send(const CanFrame& frame) override;
    bool Receive(CanFrame& frame) override;
    // The same, with the instant its last bit ended.
    bool Receive(CanFrame& frame, CanBus::Micros& ended);
    bool IsUp() const override { return bus_ != nullptr; }
    // Frames dropped from the receive buffer, arbitrations lost to a
    // collision as bus errors, and the stuff bits of the frames sent and
    // received, which the frame transport's nominal bits leave out.
    void AddStats(FerrowGatewayStats& stats) const override;

    // The time it keeps.
    CanBus::Micros Now() const;
    // The bus while open, else null.
    const CanBus* Bus() const { return bus_.get(); }

private:
    const std::string busName_;
    const std::shared_ptr<platform::VirtualClock> clock_;
    std::shared_ptr<CanBus> bus_;
    CanBus::Member member_;
};

}  // namespace ferrow::net
