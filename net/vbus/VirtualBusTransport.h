// The gateway's transport onto a virtual bus in the process, the bus named
// by the gateway's port name. It carries what a CAN network carries and no
// more: a message no CAN framing holds is refused as the CAN path refuses
// it, and receivers get the transport (and, over ISO transport, the
// priority 7) that a CAN network would have given them. With a log, every
// message sent and received is recorded as the CAN frames that would carry
// it. Built on a thread that runs a simulation, it keeps that simulation's
// virtual time. Not locked: the gateway serialises every call.
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
    // N2K_OK, N2K_BAD_MESSAGE for what no CAN network carries, or
    // N2K_NOT_CONNECTED while closed.
    N2KStatus Send(const N2KMsg& msg) override;
    // N2K_NOT_CONNECTED while closed.
    N2KStatus Fetch(N2KMsg& msg) override;
    uint64_t Dropped() const override;
    // Frames and bits are those of the CAN frames that would carry each
    // message, an ISO transport one as a broadcast.
    void AddStats(FerrowGatewayStats& stats) const override;

private:
    BusInstant Now() const;
    // Counts the frames that carry `msg` into `frames` and busBits_.
    void Count(const N2KMsg& msg, uint64_t& frames);

    std::string busName_;
    const std::shared_ptr<platform::VirtualClock> clock_;  // null: wall time
    std::shared_ptr<VirtualBus> bus_;  // null while closed
    VirtualBus::Member member_;
    MessageFrameLog log_;
    uint64_t framesIn_ = 0;
    uint64_t framesOut_ = 0;
    uint64_t busBits_ = 0;
};

}  // namespace ferrow::net
