#include "net/vbus/CanBus.h"

#include "net/can/CanBitTiming.h"
#include "net/can/Framing.h"

#include <algorithm>
#include <map>

namespace ferrow::net {
namespace {

// Which of two frames of the same identifier wins: after the identifier
// come the length code and the data, most significant bit first.
bool WinsOver(const CanFrame& a, const CanFrame& b) {
    if (a.length != b.length) return a.length < b.length;
    return std::lexicographical_compare(a.data.begin(), a.data.begin() + a.length, b.data.begin(),
                                        b.data.begin() + b.length);
}

uint16_t StuffOf(const CanFrame& frame, uint16_t bits) {
    return static_cast<uint16_t>(bits - Framing::BitsOf(frame));
}

}  // namespace

std::shared_ptr<CanBus> CanBus::Named(const std::string& name) {
    static std::mutex registryMutex;  // protects: registry
    static std::map<std::string, std::weak_ptr<CanBus>> registry;

    std::lock_guard<std::mutex> lock(registryMutex);
    // Names used once do not accumulate.
    for (auto it = registry.begin(); it != registry.end();) {
        it = it->second.expired() ? registry.erase(it) : std::next(it);
    }
    std::shared_ptr<CanBus> bus = registry[name].lock();
    if (!bus) {
        bus = std::make_shared<CanBus>(name);
        registry[name] = bus;
    }
    return bus;
}

std::string CanBus::TimeRefusal(TimeDomain domain) const {
    const std::string bus = "The CAN bus \"" + name_ + "\" keeps ";
    if (domain_ == nullptr) {
        return bus + "real time: a gateway in a simulation's virtual time cannot join it.";
    }
    if (domain == nullptr) {
        return bus + "a simulation's virtual time: a gateway in real time cannot join it.";
    }
    return bus + "the virtual time of another simulation: a gateway in this one cannot join it.";
}

bool CanBus::Join(Member& member, TimeDomain domain, Micros now, std::string& error) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (member.joined_) return true;
    if (members_.empty()) {
        // A bus nobody is on starts afresh, in the time of whoever comes.
        domain_ = domain;
        horizon_ = freeAt_ = earliest_ = now;
        onWire_ = false;
        windowStart_ = now;
        busyInWindow_ = busyPastWindow_ = 0;
        load_ = 0.0;
    } else if (domain != domain_) {
        error = TimeRefusal(domain);
        return false;
    } else {
        Advance(now);
    }
    members_.push_back(&member);
    member.joined_ = true;
    return true;
}

void CanBus::Leave(Member& member) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!member.joined_) return;
    members_.erase(std::find(members_.begin(), members_.end(), &member));
    member.joined_ = false;
    waiting_ -= member.transmit_.size();
    member.transmit_.clear();
    member.receive_.clear();
    if (member.sending_) {
        member.sending_ = false;
        if (--wireSenders_ == 0) onWire_ = false;
    }
}

bool CanBus::Send(Member& member, const CanFrame& frame, Micros now) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!member.joined_) return false;
    Advance(now);
    if (member.transmit_.size() >= kTransmitLimit) return false;
    CanFrame sent = frame;
    sent.id &= CanFrame::kIdMask;
    sent.length = std::min(frame.length, CanFrame::kMaxLength);
    const auto bits = static_cast<uint16_t>(CanBitTiming::WireBits(sent));
    member.transmit_.push_back({sent, bits, horizon_});
    if (waiting_++ == 0) earliest_ = horizon_;
    member.stuffBits_.fetch_add(StuffOf(sent, bits), std::memory_order_relaxed);
    return true;
}

bool CanBus::Receive(Member& member, CanFrame& frame, Micros now, Micros* ended) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!member.joined_) return false;
    Advance(now);
    // Another member's clock may have moved the wire past this one's.
    if (member.receive_.empty() || member.receive_.front().ended > now) return false;
    const Member::Heard& heard = member.receive_.front();
    frame = heard.frame;
    if (ended != nullptr) *ended = heard.ended;
    member.stuffBits_.fetch_add(StuffOf(heard.frame, heard.bits), std::memory_order_relaxed);
    member.receive_.pop_front();
    return true;
}

double CanBus::Load() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return load_;
}

uint64_t CanBus::Carried() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return carried_;
}

void CanBus::Advance(Micros now) {
    // A wall clock read just before another member moved the wire on is
    // behind it: what that member decided stays decided.
    horizon_ = std::max(horizon_, now);
    for (;;) {
        if (onWire_) {
            if (wire_.ended > horizon_) break;
            Deliver();
        }
        if (waiting_ == 0 || std::max(freeAt_, earliest_) >= horizon_) break;
        Micros first = UINT64_MAX;
        for (const Member* member : members_) {
            if (member->transmit_.empty()) continue;
            first = std::min(first, member->transmit_.front().handed);
        }
        // Each member's frames are handed in time order, so this stays a
        // bound on its first frame as frames leave.
        earliest_ = first;
        const Micros start = std::max(freeAt_, first);
        if (start >= horizon_) break;
        Arbitrate(start);
    }
    CloseWindows(horizon_);
}

void CanBus::Arbitrate(Micros start) {
    const Member::Waiting* winner = nullptr;
    for (const Member* member : members_) {
        if (member->transmit_.empty()) continue;
        const Member::Waiting& head = member->transmit_.front();
        if (head.handed > start) continue;
        if (winner == nullptr || head.frame.id < winner->frame.id ||
            (head.frame.id == winner->frame.id && WinsOver(head.frame, winner->frame))) {
            winner = &head;
        }
    }
    wire_ = {winner->frame, winner->bits, start + winner->bits * CanBitTiming::kMicrosPerBit};
    wireSenders_ = 0;
    for (Member* member : members_) {
        if (member->transmit_.empty()) continue;
        const Member::Waiting& head = member->transmit_.front();
        if (head.handed > start || head.frame.id != wire_.frame.id) continue;
        if (head.frame == wire_.frame) {
            member->sending_ = true;
            ++wireSenders_;
        } else {
            member->collisions_.fetch_add(1, std::memory_order_relaxed);
        }
    }
    onWire_ = true;
    freeAt_ = wire_.ended;
    Occupy(start, wire_.ended);
}

void CanBus::Deliver() {
    for (Member* member : members_) {
        if (member->sending_) {
            member->sending_ = false;
            member->transmit_.pop_front();
            --waiting_;
        } else if (member->receive_.size() < kReceiveLimit) {
            member->receive_.push_back(wire_);
        } else {
            member->dropped_.fetch_add(1, std::memory_order_relaxed);
        }
    }
    onWire_ = false;
    ++carried_;
}

void CanBus::Occupy(Micros start, Micros end) {
    CloseWindows(start);
    const Micros windowEnd = windowStart_ + kLoadWindow;
    busyInWindow_ += std::min(end, windowEnd) - start;
    if (end > windowEnd) busyPastWindow_ += end - windowEnd;
}

void CanBus::CloseWindows(Micros now) {
    while (now >= windowStart_ + kLoadWindow) {
        load_ = 100.0 * static_cast<double>(busyInWindow_) / kLoadWindow;
        windowStart_ += kLoadWindow;
        busyInWindow_ = busyPastWindow_;
        busyPastWindow_ = 0;
        // Idle windows in a row need no walking through.
        if (busyInWindow_ == 0 && now >= windowStart_ + kLoadWindow) {
            windowStart_ += (now - windowStart_) / kLoadWindow * kLoadWindow;
            load_ = 0.0;
        }
    }
}

}  // namespace ferrow::net
