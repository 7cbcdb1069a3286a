// Address claiming as NMEA 2000 does it: claim an address, defend it against
// a node with a higher NAME, give it up to one with a lower NAME and move on
// to the first address no one else holds, counting up from the device's home
// (its unique number modulo 252), so that devices losing one address
// together spread out instead of all contesting the next; with none left,
// "cannot claim", until a claim shows an address freed. A node sending from
// our address has missed our claim, or we its: our claim goes again. Normal
// traffic may start once our claim has been out 250 ms and no claim has been
// heard for 250 ms.
//
// Claims are owed rather than sent: the device sends one whenever Owed() and
// reports Sent() once the network took it, so a claim refused while the
// network is busy goes out on a later pass. Everything owed in one pass
// (answers to requests, defences, a move) is the same frame, our NAME from
// our address, so one claim settles it all: a crowd contesting our address
// in one pass gets one defence, not one each.
#pragma once

#include "N2kPgn.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>

namespace monitor {

class AddressClaim {
public:
    // What a claim heard from the network did to us.
    enum class Outcome {
        kNone,     // not about our address
        kDefend,   // our NAME wins: our claim is owed again
        kMoved,    // we lost, or had none and one was freed: now claiming Address()
        kGaveUp,   // we lost and no address is left: "cannot claim" is owed
    };

    // Another node sending from our address has not heard our claim, or we
    // missed its: our claim goes again, but at most this often, so that a
    // network whose queues drop claims is not flooded with ours. A contest
    // takes a few loop passes, and one claim a second is a twentieth of a
    // per cent of a 250 kbit/s bus.
    static constexpr uint32_t kReclaimIntervalMs = 1000;
    // Traffic waits for 250 ms without a claim from anyone, so that on a
    // full CAN bus no claim still queued has to compete with it (ours, at
    // priority 6, loses to every other node's engine data); but a network
    // that keeps claiming longer than this after ours is not settling, and
    // the wait ends.
    static constexpr uint32_t kQuietLimitMs = 2000;

    // The 64-bit NAME of this device for a unique number.
    static uint64_t MakeName(uint32_t uniqueNumber);
    // A unique number for a device that has none yet: never 0, never the same
    // twice in one process, and from a random start in each process.
    static uint32_t FreshUniqueNumber();

    explicit AddressClaim(uint64_t name = 0) : name_(name) {}

    // A new NAME is not announced here: the caller owes a claim for it.
    void SetName(uint64_t name) { name_ = name; }
    uint64_t Name() const { return name_; }
    // Where the search for a free address starts after a loss: spread by
    // NAME, so that devices that lose one address together do not all
    // contest the next.
    uint8_t Home() const;

    // Starts claiming `preferred`, or the first free address from it when
    // another node holds it, and owes the claim. False, owing "cannot
    // claim", when none is free.
    bool Begin(uint8_t preferred);
    Outcome OnClaim(uint8_t source, uint64_t name, uint32_t nowMs);
    // A message other than a claim from `source`, at `nowMs`.
    void OnMessage(uint8_t source, uint32_t nowMs);

    // Our claim is owed: a request asked for it, or our NAME changed.
    void Owe() { owed_ = true; }
    bool Owed() const { return owed_; }
    // The network took our claim at `nowMs`; the first after a new address
    // starts its 250 ms.
    void Sent(uint32_t nowMs);

    // The address claimed or being claimed, or 254 when there is none.
    uint8_t Address() const { return address_; }
    bool HasAddress() const { return address_ <= kMaxAddress; }
    // Normal traffic may start.
    bool Ready(uint32_t nowMs) const;

private:
    static constexpr uint8_t kMaxAddress = 251;
    static constexpr unsigned kAddresses = kMaxAddress + 1;

    // The first address from `start` on, wrapping, that no other node holds.
    bool NextFree(unsigned start, uint8_t& out) const;
    // Takes the first free address from `start`, or none; the claim is owed.
    Outcome TakeFree(unsigned start);
    void Forget(uint64_t name);

    uint64_t name_;
    uint8_t address_ = pgn::kNullAddress;
    bool owed_ = false;
    // When the first claim of address_ went out; none while it has not.
    std::optional<uint32_t> claimedAtMs_;
    // Our last claim for a node sending from our address, and anyone's
    // last claim heard.
    std::optional<uint32_t> reclaimedAtMs_;
    std::optional<uint32_t> heardClaimAtMs_;
    // Who else holds which address, as their claims said.
    std::array<uint64_t, kAddresses> others_{};
    std::bitset<kAddresses> held_;
};

}  // namespace monitor
