// Address claiming as NMEA 2000 does it: claim an address, defend it against
// a node with a higher NAME, give it up to one with a lower NAME and move on
// to the next address no one else holds; with none left, "cannot claim".
// Normal traffic may start once an address has been held for 250 ms.
#pragma once

#include "N2kPgn.h"

#include <array>
#include <bitset>
#include <cstdint>

namespace monitor {

class AddressClaim {
public:
    // What a claim heard from the network asks of us.
    enum class Outcome {
        kNone,     // not about our address
        kDefend,   // our NAME wins: send our claim again
        kMoved,    // we lost: now claiming Address(), to be sent and stored
        kGaveUp,   // we lost and no address is left: send "cannot claim"
    };

    // The 64-bit NAME of this device for a unique number.
    static uint64_t MakeName(uint32_t uniqueNumber);
    // A unique number for a device that has none yet: never 0, never the same
    // twice in one process, and from a random start in each process.
    static uint32_t FreshUniqueNumber();

    explicit AddressClaim(uint64_t name = 0) : name_(name) {}

    void SetName(uint64_t name) { name_ = name; }
    uint64_t Name() const { return name_; }

    // Starts claiming `preferred`, or the next free address when another node
    // holds it; the caller sends the claim. False when none is free.
    bool Begin(uint8_t preferred, uint32_t nowMs);
    Outcome OnClaim(uint8_t source, uint64_t name, uint32_t nowMs);

    // The address claimed or being claimed, or 254 when there is none.
    uint8_t Address() const { return address_; }
    bool HasAddress() const { return address_ <= kMaxAddress; }
    // Held long enough for normal traffic.
    bool Ready(uint32_t nowMs) const;

private:
    static constexpr uint8_t kMaxAddress = 251;
    static constexpr unsigned kAddresses = kMaxAddress + 1;

    // The first address from `start` on, wrapping, that no other node holds.
    bool NextFree(unsigned start, uint8_t& out) const;
    void Forget(uint64_t name);
    void Take(uint8_t address, uint32_t nowMs);

    uint64_t name_;
    uint8_t address_ = pgn::kNullAddress;
    uint32_t claimedAtMs_ = 0;
    // Who else holds which address, as their claims said.
    std::array<uint64_t, kAddresses> others_{};
    std::bitset<kAddresses> held_;
};

}  // namespace monitor
