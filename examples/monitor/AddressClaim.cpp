#include "AddressClaim.h"

#include "MonitorBoard.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <random>

namespace monitor {

namespace {

uint32_t RandomStart() {
    try {
        return std::random_device{}();
    } catch (const std::exception&) {
        const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
        return static_cast<uint32_t>(now) ^ static_cast<uint32_t>(::getpid()) << 11;
    }
}

}  // namespace

uint64_t AddressClaim::MakeName(uint32_t uniqueNumber) {
    return uint64_t{uniqueNumber & kUniqueNumberMask} |
           uint64_t{kManufacturer & 0x7FFu} << 21 |
           uint64_t{kDeviceInstance} << 32 |
           uint64_t{kDeviceFunction} << 40 |
           uint64_t{kDeviceClass & 0x7Fu} << 49 |
           uint64_t{kSystemInstance & 0xFu} << 56 |
           uint64_t{kIndustryGroup & 0x7u} << 60 |
           uint64_t{kArbitraryAddressCapable & 0x1u} << 63;
}

uint32_t AddressClaim::FreshUniqueNumber() {
    // An odd stride visits all 2^21 numbers before it repeats one.
    constexpr uint32_t kStride = 0x9E3779B1;
    static const uint32_t start = RandomStart();
    static std::atomic<uint32_t> drawn{0};
    for (;;) {
        const uint32_t number = (start + drawn.fetch_add(1) * kStride) & kUniqueNumberMask;
        if (number != 0) return number;
    }
}

uint8_t AddressClaim::Home() const {
    return static_cast<uint8_t>((name_ & kUniqueNumberMask) % kAddresses);
}

bool AddressClaim::Begin(uint8_t preferred) {
    return TakeFree(preferred <= kMaxAddress ? preferred : kDefaultAddress) == Outcome::kMoved;
}

AddressClaim::Outcome AddressClaim::OnClaim(uint8_t source, uint64_t name, uint32_t nowMs) {
    heardClaimAtMs_ = nowMs;
    // A node that moves or gives up no longer holds its old address.
    Forget(name);
    if (source <= kMaxAddress && source != address_) {
        others_[source] = name;
        held_.set(source);
    }
    if (!HasAddress()) {
        // Without an address, one this claim freed is ours to try.
        uint8_t freed = 0;
        return NextFree(Home(), freed) ? TakeFree(freed) : Outcome::kNone;
    }
    if (source != address_) return Outcome::kNone;
    if (name_ < name) {
        owed_ = true;
        return Outcome::kDefend;
    }
    // An equal NAME is a node just like us: yielding ends the contest, as
    // both defending would never end.
    others_[source] = name;
    held_.set(source);
    return TakeFree(Home());
}

void AddressClaim::OnMessage(uint8_t source, uint32_t nowMs) {
    if (!HasAddress() || source != address_) return;
    if (reclaimedAtMs_ && nowMs - *reclaimedAtMs_ < kReclaimIntervalMs) return;
    reclaimedAtMs_ = nowMs;
    owed_ = true;
}

void AddressClaim::Sent(uint32_t nowMs) {
    owed_ = false;
    if (HasAddress() && !claimedAtMs_) claimedAtMs_ = nowMs;
}

bool AddressClaim::Ready(uint32_t nowMs) const {
    if (!HasAddress() || !claimedAtMs_) return false;
    const uint32_t held = nowMs - *claimedAtMs_;
    const bool quiet = !heardClaimAtMs_ || nowMs - *heardClaimAtMs_ >= kClaimHoldMs;
    return held >= kClaimHoldMs && (quiet || held >= kQuietLimitMs);
}

bool AddressClaim::NextFree(unsigned start, uint8_t& out) const {
    for (unsigned i = 0; i < kAddresses; ++i) {
        const unsigned candidate = (start + i) % kAddresses;
        if (!held_.test(candidate)) {
            out = static_cast<uint8_t>(candidate);
            return true;
        }
    }
    return false;
}

void AddressClaim::Forget(uint64_t name) {
    for (unsigned a = 0; a < kAddresses; ++a) {
        if (held_.test(a) && others_[a] == name) held_.reset(a);
    }
}

AddressClaim::Outcome AddressClaim::TakeFree(unsigned start) {
    owed_ = true;
    claimedAtMs_.reset();
    uint8_t address = 0;
    if (!NextFree(start, address)) {
        address_ = pgn::kNullAddress;
        return Outcome::kGaveUp;
    }
    address_ = address;
    return Outcome::kMoved;
}

}  // namespace monitor
