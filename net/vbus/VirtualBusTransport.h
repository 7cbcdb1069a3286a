// The gateway's transport onto a virtual bus in the process, the bus named
// by the gateway's port name. With a log, every message sent and received is
// recorded as the CAN frames that would carry it. Built on a thread that
// runs a simulation, it keeps that simulation's virtual time.
#pragma once

#include "net/links/FrameLog.h"
#include "net/transport/GatewayTransport.h"
#include "net/links/MessageFrameLog.h"
#include "net/vbus/VirtualBus.h"
#include "platform/ProcessClock.h"

#include <memory>
#include <string>

namespace ferrow::net {

class VirtualBusTransport : public GatewayTransport {
public:
    explicit VirtualBusTransport(std::string busName, std::unique_ptr<FrameLog> log = nullptr);
    ~VirtualBusTransport() override;

    int Open() override;
    void Close() override;
    N2KStatus Send(const N2KMsg& msg) override;
    N2KStatus Fetch(N2KMsg& msg) override;
    uint64_t Dropped() const override;

private:
    BusInstant Now() const;

    std::string busName_;
    const std::shared_ptr<platform::VirtualClock> clock_;  // null: wall time
    std::shared_ptr<VirtualBus> bus_;  // null while closed
    VirtualBus::Member member_;
    MessageFrameLog log_;
};

}  // namespace ferrow::net
