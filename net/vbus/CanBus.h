// A 250 kbit/s CAN bus inside the process: the wire that the frame links of
// the gateways joined to one name share. It carries one frame at a time, for
// the bits that frame takes stuffed (CanBitTiming). Whenever it is free, the
// lowest identifier among the members' first waiting frames handed to it by
// then goes next; every other member gets the frame at the instant its last
// bit ends, all of them in the same order. Identical frames sent at once go
// as one frame, as on a cable. Every frame is acknowledged, even on a bus
// with no other member, where a real node would repeat it for ever.
//
// It has no thread: the wire moves on under its mutex whenever a member
// sends or looks for a frame, up to that member's time. It decides the
// frames that start strictly before that time and delivers the frames that
// ended by then. Members of one simulation send everything of an instant
// before any of them reaches a later one, so in virtual time the traffic
// does not depend on the order in which they run. Members must keep one
// time: the first to join sets it, a simulation's virtual clock or wall
// time.
//
// Not modelled: error frames and the bits they cost, error counters and
// bus-off, remote frames, frames with 11-bit identifiers, the propagation
// delay and the controllers' own latency.
#pragma once

#include "net/can/CanFrame.h"

#include <ferrow/FerrowGatewayStats.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ferrow::net {

class CanBus {
public:
    // Microseconds on the members' clock.
    using Micros = uint64_t;
    // A member's time: the virtual clock of its simulation, compared and
    // never read, or null for wall time.
    using TimeDomain = const void*;

    // Frames a member may have waiting for the wire: what it carries in two
    // 5 ms passes of a firmware's loop (about nine frames of eight bytes a
    // pass), so that a firmware that hands frames over on every pass keeps
    // the wire busy. The frame transport's queue in front holds the rest.
    static constexpr std::size_t kTransmitLimit = 16;
    // Frames a member may have received and not yet taken: over half a
    // second of a full bus (1,700 frames a second), far longer than a
    // firmware's loop pass, in 32 kB at most. Later frames are dropped and
    // counted.
    static constexpr std::size_t kReceiveLimit = 1024;
    // The wire time over which Load is measured.
    static constexpr Micros kLoadWindow = 1000000;

    // One place on the bus: a controller's transmit and receive buffers. Its
    // counts outlive its connections.
    class Member {
    public:
        Member() = default;
        Member(const Member&) = delete;
        Member& operator=(const Member&) = delete;

        // Received frames dropped because the receive buffer was full.
        uint64_t Dropped() const { return dropped_.load(std::memory_order_relaxed); }
        // Arbitrations lost to a frame of the same identifier with other
        // data: the collision that real nodes see as an error frame.
        uint64_t Collisions() const { return collisions_.load(std::memory_order_relaxed); }
        // The stuff bits of the frames sent and taken.
        uint64_t StuffBits() const { return stuffBits_.load(std::memory_order_relaxed); }

    private:
        friend class CanBus;
        struct Waiting {
            CanFrame frame;
            uint16_t bits;
            Micros handed;
        };
        struct Heard {
            CanFrame frame;
            uint16_t bits;
            Micros ended;
        };

        // The bus's mutex protects the rest.
        std::deque<Waiting> transmit_;
        std::deque<Heard> receive_;
        bool joined_ = false;
        bool sending_ = false;  // its first waiting frame is on the wire
        std::atomic<uint64_t> dropped_{0};
        std::atomic<uint64_t> collisions_{0};
        std::atomic<uint64_t> stuffBits_{0};
    };

    explicit CanBus(std::string name) : name_(std::move(name)) {}

    // The bus of that name, created on first use. It lives while someone
    // holds it; a later call with the same name then starts an empty one.
    static std::shared_ptr<CanBus> Named(const std::string& name);

    // Joins at `now`; false, with a sentence for the operator in `error`,
    // when the members on the bus keep another time. The member must leave
    // before it is destroyed.
    bool Join(Member& member, TimeDomain domain, Micros now, std::string& error);
    // Drops what the member has waiting and what it has not taken; nothing
    // more reaches it. A frame of its own already on the wire is cut off.
    void Leave(Member& member);
    // Queues `frame` (its length past eight counting as eight) behind the
    // member's waiting frames; false when it has kTransmitLimit waiting.
    bool Send(Member& member, const CanFrame& frame, Micros now);
    // The member's oldest received frame whose last bit ended by `now`, and
    // that instant in `ended`.
    bool Receive(Member& member, CanFrame& frame, Micros now, Micros* ended = nullptr);

    // Per cent of the last whole kLoadWindow of wire time that frames held
    // the bus, as far as the wire has moved; 0 before a window is over.
    double Load() const;
    // Frames carried whole since the bus was made.
    uint64_t Carried() const;
    const std::string& Name() const { return name_; }

private:
    // Moves the wire on up to `now`.
    void Advance(Micros now);
    // The wire's frame has ended: its senders' copies leave, every other
    // member gets it or counts it dropped.
    void Deliver();
    // Puts the winner of the arbitration at `start` on the wire.
    void Arbitrate(Micros start);
    // Counts [start, end) as busy in the load windows.
    void Occupy(Micros start, Micros end);
    // Closes the load windows that are over by `now`.
    void CloseWindows(Micros now);
    std::string TimeRefusal(TimeDomain domain) const;

    const std::string name_;
    mutable std::mutex mutex_;  // protects everything below, and every member's queues
    std::vector<Member*> members_;  // in the order they joined
    TimeDomain domain_ = nullptr;
    Micros horizon_ = 0;      // frames starting before it are decided
    Micros freeAt_ = 0;       // the end of the last frame put on the wire
    Micros earliest_ = 0;     // no first waiting frame was handed before it
    std::size_t waiting_ = 0;  // frames in every member's transmit buffer
    bool onWire_ = false;
    unsigned wireSenders_ = 0;
    Member::Heard wire_{};  // the frame on the wire, and when it ends
    uint64_t carried_ = 0;
    Micros windowStart_ = 0;
    Micros busyInWindow_ = 0;
    Micros busyPastWindow_ = 0;
    double load_ = 0.0;
};

}  // namespace ferrow::net
