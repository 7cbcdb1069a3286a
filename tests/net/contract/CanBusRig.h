// A member of a CAN bus in the process; its peer is a second member, both in
// wall time. A bus kept in a simulation's time is the address it cannot join.
#pragma once

#include "net/vbus/CanBusLink.h"
#include "tests/net/contract/ContractRig.h"

#include <atomic>

namespace ferrow::test {

struct CanBusRig : Frames {
    using Subject = net::CanBusLink;
    static constexpr const char* kName = "CanBusLink";
    static constexpr const char* kNoPeerToLose =
        "A bus in the process cannot go away: members leave it, and it stays.";
    static constexpr const char* kNoStalledPeer =
        "A CAN bus waits for no receiver: one that stops reading loses what its full buffer "
        "cannot hold, and counts it, as a node on a cable would.";
    static constexpr std::size_t kQueueLimit = net::CanBus::kReceiveLimit;

    CanBusRig() {
        static std::atomic<unsigned> buses{0};
        const std::string bus = "contract" + std::to_string(buses++);
        subject = std::make_unique<Subject>(bus, nullptr);
        peer = std::make_unique<Subject>(bus, nullptr);
    }
    std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        simulated =
            std::make_unique<Subject>("simulated", std::make_shared<platform::VirtualClock>());
        Opened(*simulated);
        sentence = "The CAN bus \"simulated\" keeps a simulation's virtual time";
        return std::make_unique<Subject>("simulated", nullptr);
    }
    std::string Open() { return AndThen(Opened(*subject), [&] { return Opened(*peer); }); }
    bool PeerSend(const CanFrame& frame) { return Eventually([&] { return peer->Send(frame); }); }
    bool PeerHeard(CanFrame& frame) { return peer->Receive(frame); }
    // The wire moves when a member calls: the peer looks for frames until
    // the last one has reached the subject.
    bool Flood(uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) PeerSend(Nth(n));
        CanFrame none;
        return Eventually([&] { return !peer->Receive(none) && Dropped() >= count - kQueueLimit; });
    }
    uint64_t Dropped() const {
        FerrowGatewayStats stats{};
        subject->AddStats(stats);
        return stats.dropped;
    }

    std::unique_ptr<Subject> peer;
    std::unique_ptr<Subject> subject;
    std::unique_ptr<Subject> simulated;
};

}  // namespace ferrow::test
