#include "net/transport/N2KRecord.h"

#include "platform/ProcessClock.h"

#include <algorithm>
#include <cstring>

namespace ferrow::net {

void N2KRecord::Copy(N2KMsg* dst, const N2KMsg* src) {
    if (dst == nullptr || src == nullptr || dst == src) return;
    dst->priority = src->priority;
    dst->pgn = src->pgn;
    dst->addressB = src->addressB;
    dst->addressA = src->addressA;
    dst->length = src->length;
    dst->transport = src->transport;
    dst->timeStamp = src->timeStamp;
    std::memcpy(dst->data, src->data, std::min<unsigned>(src->length, N2KMsg::kMaxData));
}

uint32_t N2KRecord::TimeStampNow() {
    return TimeStampAt(platform::ProcessClock::Ms64());
}

}  // namespace ferrow::net
