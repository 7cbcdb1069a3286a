// The monitor's and the generator's message stores: a bounded queue that
// keeps the oldest when full, with the API's answers (1, 0, -1) and a count
// of every message offered since the last clear, dropped ones included.
// Not locked itself beyond its queue: its owner serialises every call.
#pragma once

#include "net/transport/MessageQueue.h"

#include <ferrow/N2KMsg.h>

#include <cstdint>

namespace ferrow::n2k {

class MessageStore {
public:
    // A capacity of 0 gives a store that drops everything.
    explicit MessageStore(unsigned long capacity);

    // 1 stored, 0 dropped because full, -1 for a null message.
    int Put(const N2KMsg* msg);
    // 1 when the oldest message was taken (copied into `msg` unless null),
    // 0 when empty, leaving `msg` untouched.
    int Get(N2KMsg* msg);
    void Clear();

    uint32_t Offered() const { return offered_; }

private:
    net::MessageQueue queue_;
    uint32_t offered_ = 0;
};

}  // namespace ferrow::n2k
