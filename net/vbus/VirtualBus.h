// An NMEA 2000 network inside the process: gateways that join a bus of the
// same name see each other's messages as nodes on one cable would. Every
// member receives every other member's messages, never its own, all members
// in the same order. A receiver that falls behind loses the newest messages
// once its queue is full; the sender is not told, as on a real bus. Members
// that keep one simulation's virtual time see a message from the instant it
// was sent on, never earlier.
#pragma once

#include "net/transport/MessageQueue.h"
#include "buffers/ChunkedBytes.h"

#include <ferrow/N2KMsg.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ferrow::net {

// An instant on the virtual clock `clock` (compared, never read), or, with
// none, in wall time, which holds nothing back.
struct BusInstant {
    const void* clock = nullptr;
    uint64_t ms = 0;
};

class VirtualBus {
public:
    // Messages queued per member before new ones are dropped: some seconds of
    // a busy network. Memory follows what is queued: 160 kB when full of
    // single frames, 7 MB only when full of the longest messages.
    static constexpr std::size_t kQueueLimit = 4096;

    // One place on a bus: the receive queue of the gateway that holds it.
    class Member {
    public:
        Member() = default;
        Member(const Member&) = delete;
        Member& operator=(const Member&) = delete;

        // False, leaving `msg` untouched, when nothing is queued, or when the
        // oldest message was sent on the receiver's virtual clock `now` after
        // its reading `now.ms`.
        bool Take(N2KMsg& msg, BusInstant now = {});
        // Messages lost because the queue was full, over the member's life.
        uint64_t Dropped() const;
        // Memory held for what is queued.
        std::size_t ReservedBytes() const;

    private:
        friend class VirtualBus;
        void Offer(const N2KMsg& msg, BusInstant sent);
        void Clear();

        // Keeps sent_ in step with queue_, which counts its own drops.
        mutable std::mutex mutex_;  // protects: queue_, sent_
        MessageQueue queue_{kQueueLimit};
        buffers::ChunkedBytes sent_;  // a BusInstant per queued message
    };

    // The bus of that name, created on first use. It lives while someone
    // holds it; a later call with the same name then starts an empty one.
    static std::shared_ptr<VirtualBus> Named(const std::string& name);

    // The member must leave before it is destroyed.
    void Join(Member& member);
    // Nothing more reaches the member, and what was queued for it is dropped.
    void Leave(Member& member);
    // Queues a copy of `msg` for every member but `from`.
    void Send(const Member& from, const N2KMsg& msg, BusInstant sent = {});

private:
    // Held through a whole delivery, so that all members see the senders'
    // messages in one order and a leaving member is never offered one. Taken
    // before any member's.
    std::mutex mutex_;  // protects: members_
    std::vector<Member*> members_;
};

}  // namespace ferrow::net
