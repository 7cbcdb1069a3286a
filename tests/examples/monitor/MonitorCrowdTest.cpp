// A network filled with freshly flashed demo devices, in virtual time: all
// start at address 35, each with a NAME of its own, and every one must end on
// an address of its own with its traffic started, for good, on the ideal bus
// and on a CAN bus that their traffic overloads. In a process of its own: its
// devices take nearly all of the process's 256 serial port slots, which are
// never given back.
#include "tests/examples/monitor/MonitorRig.h"

#include <map>
#include <set>

namespace monitor_test {
namespace {

constexpr std::size_t kDevices = 252;

// Every device holds an address of its own, the lowest NAME 35, and has
// started its traffic; it was the last to claim that address and stored it
// with the unique number its NAME carries. Nothing came in the last second
// from an address no device holds and, where the bus has room for all the
// traffic, every device was heard.
void ExpectSettled(MonitorRig& rig, bool roomForAll) {
    std::map<int, uint64_t> nameAt;  // from the newest claim of each address
    for (const Heard& h : rig.Of(kClaimPgn)) nameAt[h.msg.addressA] = Le(h.msg, 0, 8);
    std::map<int, std::size_t> holder;
    std::set<uint32_t> uniques;
    uint64_t lowest = ~0ull;
    for (std::size_t i = 0; i < rig.Size(); ++i) {
        const int address = rig[i].device->SourceAddress();
        EXPECT_TRUE(rig[i].device->Settled()) << "device " << i << " at " << address;
        const auto [other, alone] = holder.emplace(address, i);
        EXPECT_TRUE(alone) << "devices " << other->second << " and " << i << " at " << address;
        const std::vector<uint8_t> record = rig[i].Record();
        EXPECT_EQ(record[3], address) << "device " << i << " did not store its address";
        EXPECT_EQ(nameAt[address] & kUniqueMask, UniqueIn(record)) << "device " << i;
        uniques.insert(UniqueIn(record));
        lowest = std::min(lowest, nameAt[address]);
    }
    EXPECT_EQ(holder.count(kCannotClaim), 0u);
    EXPECT_EQ(uniques.size(), rig.Size()) << "two devices with one unique number";
    EXPECT_EQ(nameAt[kDefaultAddress], lowest);
    std::set<int> senders;
    for (const Heard& h : rig.heard) {
        if (h.ms + 1000 >= rig.Now()) senders.insert(h.msg.addressA);
    }
    for (const int sender : senders) EXPECT_EQ(holder.count(sender), 1u) << "a stray at " << sender;
    if (!roomForAll) return;
    for (const auto& [address, device] : holder) {
        EXPECT_EQ(senders.count(address), 1u) << "device " << device << " silent at " << address;
    }
}

TEST(MonitorCrowd, AFullNetworkOfFreshDevicesSettlesAndKeepsItsAddressesForTheNextStart) {
    // 252 devices offer a CAN bus some 3,070 frames a second, where it carries 1,800.
    for (const bool can : {false, true}) {
        SCOPED_TRACE(can ? "CAN bus" : "ideal bus");
        MonitorRig rig(kDevices, "", can);
        for (std::size_t i = 0; i < kDevices; ++i) rig[i].args.clear();
        // Every device holds an address no other holds, and sends from it.
        const auto settled = [&] {
            std::set<int> held;
            for (std::size_t i = 0; i < kDevices; ++i) {
                const MonitorDevice& device = *rig[i].device;
                if (!device.Settled() || !held.insert(device.SourceAddress()).second) return false;
            }
            return true;
        };
        rig.Start();
        // Who is not settled, or shares an address, is told below.
        EXPECT_TRUE(rig.RunUntil(settled, 30000));
        RecordProperty(can ? "can_settled_virtual_ms" : "settled_virtual_ms",
                       std::to_string(rig.Now()));
        std::vector<int> addresses;
        for (std::size_t i = 0; i < kDevices; ++i) {
            addresses.push_back(rig[i].device->SourceAddress());
        }

        // For good: nothing moves in the seconds after.
        rig.Run(2000);
        ExpectSettled(rig, !can);
        std::vector<std::vector<uint8_t>> records;
        for (std::size_t i = 0; i < kDevices; ++i) {
            EXPECT_EQ(rig[i].device->SourceAddress(), addresses[i]) << "device " << i << " moved";
            records.push_back(rig[i].Record());
        }

        // Restarted, each claims the address it stored once, and no one contests it.
        rig.Start(1000);
        std::map<int, int> claims;
        for (const Heard& h : rig.Of(kClaimPgn)) ++claims[h.msg.addressA];
        EXPECT_EQ(claims.size(), kDevices);
        for (std::size_t i = 0; i < kDevices; ++i) {
            EXPECT_EQ(claims[addresses[i]], 1) << "device " << i;
            EXPECT_EQ(rig[i].Record(), records[i]) << "device " << i;
        }
        ExpectSettled(rig, !can);
    }
}

}  // namespace
}  // namespace monitor_test
