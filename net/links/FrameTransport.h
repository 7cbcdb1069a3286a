// The gateway's transport onto a CAN network reached through a frame link:
// messages are framed by the codec and wait in a paced transmit queue until
// the link takes them, whole or not at all; frames received are reassembled
// into messages (answering ISO transport sessions addressed to our device).
// It takes frames from its link only while its receive queue has room, so
// what the firmware has not read yet waits in the link (a log in its file, a
// socket link in its own bounded queue) rather than being lost here. Both
// queues move on every Send and Fetch. Not locked: the gateway serialises
// every call.
#pragma once

#include "net/can/N2KCanCodec.h"
#include "net/can/TransmitQueue.h"
#include "net/links/FrameLink.h"
#include "net/links/FrameLog.h"
#include "net/transport/GatewayTransport.h"
#include "net/transport/MessageQueue.h"

#include <functional>
#include <memory>
#include <vector>

namespace ferrow::net {

class FrameTransport : public GatewayTransport {
public:
    // Messages reassembled but not yet fetched are kept up to this count.
    static constexpr size_t kReceiveLimit = 4096;
    // How often half-built messages and silent sessions are timed out: well
    // inside the shortest protocol timeout (750 ms).
    static constexpr std::chrono::milliseconds kExpireInterval{100};

    using Clock = std::function<std::chrono::milliseconds()>;

    // `clock` defaults to the process clock (virtual on a thread that runs a
    // simulation). With a `log`, every frame sent and received is also
    // recorded there.
    explicit FrameTransport(std::unique_ptr<FrameLink> link, Clock clock = {},
                            std::unique_ptr<FrameLog> log = nullptr);

    int Open() override;
    // Drops the frames not yet sent and the messages not yet fetched.
    void Close() override;
    // N2K_OK once every frame of `msg` is queued; N2K_TX_BUSY, queueing
    // none, while they do not all fit; N2K_BAD_MESSAGE for what no CAN
    // network carries; N2K_NOT_CONNECTED while the link is down, which
    // drops what was queued.
    N2KStatus Send(const N2KMsg& msg) override;
    N2KStatus Fetch(N2KMsg& msg) override;
    // The receive queue's drops and the link's own.
    uint64_t Dropped() const override;
    bool IsUp() const override { return link_->IsUp(); }
    void AddStats(FerrowGatewayStats& stats) const override;
    void SetDeviceAddress(uint8_t address) override { codec_.SetOwnAddress(address); }

    const CanCounters& Counters() const { return codec_.Counters(); }

private:
    // False, dropping what waits to be sent, while the link is down.
    bool LinkUp();
    // Moves frames from the link through the codec while the receive queue
    // has room, and queues the answers owed.
    void PumpReceived(std::chrono::milliseconds now);
    // Hands the link what is due in the transmit queue.
    void Transmit(std::chrono::milliseconds now);

    std::unique_ptr<FrameLink> link_;
    Clock clock_;
    std::unique_ptr<FrameLog> log_;
    N2KCanCodec codec_;
    TransmitQueue transmit_;
    const TransmitQueue::Sender toLink_;
    MessageQueue received_{kReceiveLimit};
    std::vector<CanFrame> outgoing_;
    std::chrono::milliseconds lastExpire_{0};
    uint64_t framesIn_ = 0;
    uint64_t framesOut_ = 0;
    uint64_t busBits_ = 0;
};

}  // namespace ferrow::net
