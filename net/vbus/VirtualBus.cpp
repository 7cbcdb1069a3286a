#include "net/vbus/VirtualBus.h"

#include <algorithm>
#include <map>

namespace ferrow::net {

bool VirtualBus::Member::Take(N2KMsg& msg, BusInstant now) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (sent_.Size() == 0) return false;
    BusInstant oldest;
    sent_.CopyOut(&oldest, sizeof oldest);
    if (oldest.clock != nullptr && oldest.clock == now.clock && oldest.ms > now.ms) return false;
    sent_.Take(nullptr, sizeof oldest);
    return queue_.Pop(msg);
}

uint64_t VirtualBus::Member::Dropped() const { return queue_.Dropped(); }

std::size_t VirtualBus::Member::ReservedBytes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return queue_.ReservedBytes() + sent_.ReservedBytes();
}

void VirtualBus::Member::Offer(const N2KMsg& msg, BusInstant sent) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (queue_.Push(msg)) sent_.Append(&sent, sizeof sent);
}

void VirtualBus::Member::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    queue_.Clear();
    sent_.Clear();
}

std::shared_ptr<VirtualBus> VirtualBus::Named(const std::string& name) {
    static std::mutex registryMutex;  // protects: registry
    static std::map<std::string, std::weak_ptr<VirtualBus>> registry;

    std::lock_guard<std::mutex> lock(registryMutex);
    // Forget the buses nobody holds any more, so that names used once do not
    // accumulate.
    for (auto it = registry.begin(); it != registry.end();) {
        it = it->second.expired() ? registry.erase(it) : std::next(it);
    }
    std::weak_ptr<VirtualBus>& slot = registry[name];
    std::shared_ptr<VirtualBus> bus = slot.lock();
    if (!bus) {
        bus = std::make_shared<VirtualBus>();
        slot = bus;
    }
    return bus;
}

void VirtualBus::Join(Member& member) {
    std::lock_guard<std::mutex> lock(mutex_);
    members_.push_back(&member);
}

void VirtualBus::Leave(Member& member) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        members_.erase(std::remove(members_.begin(), members_.end(), &member), members_.end());
    }
    member.Clear();
}

void VirtualBus::Send(const Member& from, const N2KMsg& msg, BusInstant sent) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (Member* member : members_) {
        if (member != &from) member->Offer(msg, sent);
    }
}

}  // namespace ferrow::net
