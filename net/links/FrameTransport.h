// The gateway's transport onto a CAN network reached through a frame link:
// messages are framed by the codec on the way out, and frames received are
// reassembled into messages (answering ISO transport requests to our device)
// on the way in. Not locked: the gateway serialises every call.
#pragma once

#include "net/can/N2KCanCodec.h"
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

    // `clock` defaults to the process clock. With a `log`, every frame sent
    // and received is also recorded there.
    explicit FrameTransport(std::unique_ptr<FrameLink> link, Clock clock = {},
                            std::unique_ptr<FrameLog> log = nullptr);

    int Open() override;
    void Close() override;
    N2KStatus Send(const N2KMsg& msg) override;
    N2KStatus Fetch(N2KMsg& msg) override;
    uint64_t Dropped() const override { return received_.Dropped(); }
    bool IsUp() const override { return link_->IsUp(); }

    const CanCounters& Counters() const { return codec_.Counters(); }

private:
    // Moves what the link received through the codec, and sends its answers.
    void PumpReceived();
    bool SendFrames(const std::vector<CanFrame>& frames);

    std::unique_ptr<FrameLink> link_;
    Clock clock_;
    std::unique_ptr<FrameLog> log_;
    N2KCanCodec codec_;
    MessageQueue received_{kReceiveLimit};
    std::vector<CanFrame> outgoing_;
    std::chrono::milliseconds lastExpire_{0};
};

}  // namespace ferrow::net
