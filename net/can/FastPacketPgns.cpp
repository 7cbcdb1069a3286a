// The PGNs whose framing the standard fixes. The numbers are those of the
// public canboat PGN database (its JSON description, version 6.2.0): the
// fast packets are the PGNs it marks "Fast"; the proprietary ones are the
// makers' ranges. Its fallback entries say that every PGN of 0xE800-0xEE00
// and of 0xF000-0xFEFF is single-frame (65240, commanded address, which it
// marks "ISO", is one of them: its nine bytes go over ISO transport like
// any single-frame PGN's past eight); in the mixed range 0x1F000-0x1FEFF it
// decides PGN by PGN, and the single-frame ones are those it marks "Single".
#include "net/can/FastPacketPgns.h"

#include "net/can/Framing.h"
#include "net/can/ProprietaryPgns.h"

#include <algorithm>
#include <iterator>

namespace ferrow::net {

namespace {

// Both sorted, for a binary search.
constexpr uint32_t kFastPacket[] = {
    126208, 126464, 126983, 126984, 126985, 126986, 126987, 126988, 126996, 126998, 127233,
    127237, 127489, 127490, 127491, 127494, 127495, 127496, 127497, 127498, 127503, 127504,
    127506, 127507, 127509, 127510, 127511, 127512, 127513, 127514, 128275, 128520, 128538,
    129029, 129038, 129039, 129040, 129041, 129044, 129045, 129284, 129285, 129301, 129302,
    129538, 129540, 129541, 129542, 129545, 129547, 129549, 129551, 129556, 129792, 129793,
    129794, 129795, 129796, 129797, 129798, 129799, 129800, 129801, 129802, 129803, 129804,
    129805, 129806, 129807, 129808, 129809, 129810, 130052, 130053, 130054, 130060, 130061,
    130064, 130065, 130066, 130067, 130068, 130069, 130070, 130071, 130072, 130073, 130074,
    130320, 130321, 130322, 130323, 130324, 130329, 130330, 130561, 130562, 130563, 130564, 130565,
    130566, 130567, 130569, 130570, 130571, 130572, 130573, 130574, 130577, 130578, 130580,
    130581, 130583, 130584, 130586,
};

// Of the mixed range only.
constexpr uint32_t kSingleFrame[] = {
    126992, 126993, 127245, 127250, 127251, 127252, 127257, 127258, 127488, 127493, 127500,
    127501, 127502, 127505, 127508, 127744, 127745, 127746, 127747, 127748, 127749, 127750,
    127751, 128000, 128001, 128002, 128003, 128006, 128007, 128008, 128259, 128267, 128768,
    128769, 128776, 128777, 128778, 128780, 129025, 129026, 129027, 129028, 129033, 129283,
    129291, 129539, 129546, 129550, 130306, 130310, 130311, 130312, 130313, 130314, 130315,
    130316, 130560, 130576, 130579, 130582, 130585,
};

constexpr bool InSingleFrameRange(uint32_t pgn) {
    return (pgn >= 0xE800 && pgn <= 0xEE00) || (pgn >= 0xF000 && pgn <= 0xFEFF);
}

}  // namespace

bool FastPacketPgns::Contains(uint32_t pgn) {
    if (ProprietaryPgns::IsFastPacket(pgn)) return true;
    return std::binary_search(std::begin(kFastPacket), std::end(kFastPacket), pgn);
}

bool FastPacketPgns::IsSingleFrame(uint32_t pgn) {
    if (ProprietaryPgns::Contains(pgn)) return !ProprietaryPgns::IsFastPacket(pgn);
    return InSingleFrameRange(pgn) ||
           std::binary_search(std::begin(kSingleFrame), std::end(kSingleFrame), pgn);
}

uint8_t FastPacketPgns::TransportFor(uint32_t pgn, unsigned length) {
    return Framing::Choose(pgn, length, Framing::kSingleFrame);
}

}  // namespace ferrow::net
