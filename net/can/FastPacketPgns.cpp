// The fast-packet PGNs. The standardised ones are those the public canboat
// PGN database (its JSON description, version 6.0.1) marks as fast packet;
// the proprietary ones are the makers' fast-packet ranges.
#include "net/can/FastPacketPgns.h"

#include "net/can/CanFrame.h"
#include "net/can/ProprietaryPgns.h"

#include <ferrow/N2KMsg.h>

#include <algorithm>
#include <iterator>

namespace ferrow::net {

namespace {

constexpr uint8_t kSingleFrame = 1;
constexpr uint8_t kFastPacket = 2;
constexpr uint8_t kIsoTransport = 3;

// Sorted, for a binary search.
constexpr uint32_t kStandard[] = {
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

}  // namespace

bool FastPacketPgns::Contains(uint32_t pgn) {
    if (ProprietaryPgns::IsFastPacket(pgn)) return true;
    return std::binary_search(std::begin(kStandard), std::end(kStandard), pgn);
}

uint8_t FastPacketPgns::TransportFor(uint32_t pgn, unsigned length) {
    if (Contains(pgn)) return length <= N2KMsg::kMaxFastPacket ? kFastPacket : kIsoTransport;
    return length <= CanFrame::kMaxLength ? kSingleFrame : kIsoTransport;
}

}  // namespace ferrow::net
