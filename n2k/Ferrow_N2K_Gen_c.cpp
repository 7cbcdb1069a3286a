// The generator: a queue of injected messages and the encoders that build
// them. Encoders never hold the lock themselves; PutMsg takes it for the queue
// only, so the gateway send happens outside it.
#include <ferrow/Ferrow_N2K_Gen_c.h>

#include "n2k/MessageStore.h"
#include "net/transport/N2KRecord.h"
#include "net/can/FastPacketPgns.h"
#include "peripherals/Peripheral.h"
#include "platform/CallFrame.h"
#include "net/Brovik_c.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

using ferrow::n2k::MessageStore;
using ferrow::net::N2KRecord;
using ferrow::peripherals::Peripheral;
using ferrow::platform::CallFrame;

namespace {

constexpr uint32_t kIsoRequestPgn = 59904;
constexpr uint32_t kGroupFunctionPgn = 126208;
constexpr uint32_t kProprietaryFastPacketPgn = 126720;
constexpr uint32_t kProprietarySingleFramePgn = 61184;

constexpr uint8_t kSingleFrame = 1;
constexpr uint8_t kRequestPriority = 3;
constexpr uint8_t kCommandPriority = 1;
constexpr uint8_t kProprietaryPriority = 6;

constexpr uint8_t kFunctionRequest = 0;
constexpr uint8_t kFunctionCommand = 1;
// A command's priority setting: leave the priority as it is, reserved bits set.
constexpr uint8_t kKeepPriority = 0xF8;
// "No change" for a request's transmission interval and interval offset.
constexpr unsigned long kKeepInterval = 0xFFFFFFFF;
constexpr unsigned short kKeepOffset = 0xFFFF;

// What precedes the pair count: function code, PGN and the function's own
// parameters (interval and offset for a request, priority setting for a
// command).
constexpr std::size_t kRequestHead = 10;
constexpr std::size_t kCommandHead = 5;
constexpr std::size_t kProprietaryHeaderSize = 2;
// Proprietary header and the two proprietary words.
constexpr std::size_t kProprietaryDataHeader = kProprietaryHeaderSize + 4;
constexpr std::size_t kSingleFrameBytes = 6;

// Manufacturer code 137 in the low 11 bits, the two reserved bits set and
// industry code 4 (marine) in the top 3 bits, little-endian.
constexpr uint8_t kProprietaryHeader[kProprietaryHeaderSize] = {0x89, 0x98};

// One field of a group-function request or command and its value bytes.
struct Pair {
    uint8_t field;
    const uint8_t* value;
    std::size_t size;
};

// Appends little-endian values at a moving index. Callers check the whole
// length against the buffer first, so it never writes past it.
class PayloadWriter {
public:
    explicit PayloadWriter(uint8_t* data) : data_(data) {}

    void U8(unsigned long value) { data_[at_++] = static_cast<uint8_t>(value); }
    void U16(unsigned long value) {
        U8(value);
        U8(value >> 8);
    }
    void U32(unsigned long value) {
        U16(value);
        U16(value >> 16);
    }
    // A 24-bit PGN: the low 16 bits, then bits 16 to 23.
    void Pgn(unsigned long pgn) {
        U16(pgn);
        U8(pgn >> 16);
    }
    void Bytes(const uint8_t* bytes, std::size_t count) {
        if (count != 0) std::memcpy(data_ + at_, bytes, count);
        at_ += count;
    }
    void Pairs(const std::vector<Pair>& pairs) {
        for (const Pair& pair : pairs) {
            U8(pair.field);
            Bytes(pair.value, pair.size);
        }
    }

private:
    uint8_t* data_;
    std::size_t at_ = 0;
};

// A zeroed record with its header set for a payload of `length` bytes.
N2KMsg NewMessage(uint32_t pgn, uint8_t priority, std::size_t length, uint8_t transport) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = priority;
    msg.transport = transport;
    msg.length = static_cast<uint16_t>(length);
    return msg;
}

N2KMsg NewMultiFrameMessage(uint32_t pgn, uint8_t priority, std::size_t length) {
    return NewMessage(pgn, priority, length,
                      ferrow::net::FastPacketPgns::TransportFor(pgn, static_cast<unsigned>(length)));
}

bool Fits(std::size_t length) { return length <= N2KMsg::kMaxData; }

// A value pointer may only be null when there is nothing to read from it.
bool Readable(const uint8_t* bytes, std::size_t size) { return bytes != nullptr || size == 0; }

// Payload length of a group function with these pairs, or nothing when a
// value cannot be read or the payload would not fit the data field. The sum
// of at most 252 pairs of at most 65,536 bytes each cannot overflow.
std::optional<std::size_t> GroupFunctionLength(std::size_t header, const std::vector<Pair>& pairs) {
    std::size_t length = header;
    for (const Pair& pair : pairs) {
        if (!Readable(pair.value, pair.size)) return std::nullopt;
        length += 1 + pair.size;
    }
    if (!Fits(length)) return std::nullopt;
    return length;
}

// The caller's parallel arrays as pairs; nothing for too many pairs or a
// missing array.
std::optional<std::vector<Pair>> CallerPairs(const unsigned char* fields,
                                             const unsigned char* const* values,
                                             const unsigned char* sizes, unsigned pairs) {
    if (pairs > Ferrow_N2K_Gen_c::kMaxPairs) return std::nullopt;
    if (pairs != 0 && (fields == nullptr || values == nullptr || sizes == nullptr)) {
        return std::nullopt;
    }
    std::vector<Pair> result;
    result.reserve(pairs);
    for (unsigned i = 0; i < pairs; ++i) result.push_back({fields[i], values[i], sizes[i]});
    return result;
}

// Stamps and addresses a built record and queues it.
int Submit(Ferrow_N2K_Gen_c& gen, N2KMsg& msg, unsigned char addressA, unsigned char addressB,
           int send) {
    msg.timeStamp = ferrow::net::N2KRecord::TimeStampNow();
    msg.addressA = addressA;
    msg.addressB = addressB;
    return gen.PutMsg(&msg, send);
}

// A group function: `head` (function code, PGN, the function's parameters),
// the pair count and the pairs.
int GroupFunction(Ferrow_N2K_Gen_c& gen, uint8_t priority, const uint8_t* head,
                  std::size_t headSize, const std::vector<Pair>& pairs, unsigned char addressA,
                  unsigned char addressB, int send) {
    std::optional<std::size_t> length = GroupFunctionLength(headSize + 1, pairs);
    if (!length) return -1;
    N2KMsg msg = NewMultiFrameMessage(kGroupFunctionPgn, priority, *length);
    PayloadWriter out(msg.data);
    out.Bytes(head, headSize);
    out.U8(pairs.size());
    out.Pairs(pairs);
    return Submit(gen, msg, addressA, addressB, send);
}

int Request(Ferrow_N2K_Gen_c& gen, unsigned long pgn, unsigned long interval, unsigned short offset,
            const std::vector<Pair>& pairs, unsigned char addressA, unsigned char addressB,
            int send) {
    uint8_t head[kRequestHead];
    PayloadWriter out(head);
    out.U8(kFunctionRequest);
    out.Pgn(pgn);
    out.U32(interval);
    out.U16(offset);
    return GroupFunction(gen, kRequestPriority, head, sizeof head, pairs, addressA, addressB, send);
}

int Command(Ferrow_N2K_Gen_c& gen, unsigned long pgn, const std::vector<Pair>& pairs,
            unsigned char addressA, unsigned char addressB, int send) {
    uint8_t head[kCommandHead];
    PayloadWriter out(head);
    out.U8(kFunctionCommand);
    out.Pgn(pgn);
    out.U8(kKeepPriority);
    return GroupFunction(gen, kCommandPriority, head, sizeof head, pairs, addressA, addressB, send);
}

}  // namespace

struct Ferrow_N2K_Gen_c::Impl {
    Impl(Ferrow_c* emulator, Ferrow_N2K_Gen_c* self, unsigned long size, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_N2K_Gen_c, &Ferrow_c::n2kGen>{},
               PeripheralKind::N2KGen, noPanel),
          queue(size) {}

    // Sends a queued message on the network, if the emulator still exists;
    // whether the gateway took it changes nothing for the queue.
    void Transmit(N2KMsg* msg) {
        Ferrow_c* emulator = core.Emulator();
        if (emulator != nullptr && emulator->gateway != nullptr) emulator->gateway->PutOtherMsg(msg);
    }

    Peripheral core;
    MessageStore queue;
};

Ferrow_N2K_Gen_c::Ferrow_N2K_Gen_c(Ferrow_c* emulator, int modal, unsigned long size,
                                   unsigned long noPanel)
    : impl_(new Impl(emulator, this, size, noPanel)) {
    impl_->core.Enter(modal);
}

Ferrow_N2K_Gen_c::~Ferrow_N2K_Gen_c() {
    impl_->core.Retire();
    delete impl_;
}

int Ferrow_N2K_Gen_c::SetName(const char* name) { return impl_->core.SetName(name); }

int Ferrow_N2K_Gen_c::GetName(char* buffer) { return impl_->core.GetName(buffer); }

int Ferrow_N2K_Gen_c::ClearMsg() {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    impl_->queue.Clear();
    return 0;
}

int Ferrow_N2K_Gen_c::PutMsg(N2KMsg* msg, int send) {
    CallFrame frame;
    int queued;
    {
        std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
        queued = impl_->queue.Put(msg);
    }
    if (queued == 1 && send != 0) impl_->Transmit(msg);
    return queued;
}

int Ferrow_N2K_Gen_c::GetMsg(N2KMsg* msg) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    return impl_->queue.Get(msg);
}

int Ferrow_N2K_Gen_c::PutISORequest(unsigned long pgn, unsigned char addressA,
                                    unsigned char addressB, int send) {
    CallFrame frame;
    constexpr std::size_t kLength = 3;
    N2KMsg msg = NewMessage(kIsoRequestPgn, kIsoRequestPriority, kLength, kSingleFrame);
    PayloadWriter(msg.data).Pgn(pgn);
    return Submit(*this, msg, addressA, addressB, send);
}

int Ferrow_N2K_Gen_c::PutN2KReq(unsigned long pgn, unsigned long interval, unsigned short offset,
                                const unsigned char* fields, const unsigned char* const* values,
                                const unsigned char* sizes, unsigned char pairs,
                                unsigned char addressA, unsigned char addressB, int send) {
    CallFrame frame;
    std::optional<std::vector<Pair>> list = CallerPairs(fields, values, sizes, pairs);
    if (!list) return -1;
    return Request(*this, pgn, interval, offset, *list, addressA, addressB, send);
}

int Ferrow_N2K_Gen_c::PutN2KReq(unsigned long pgn, const unsigned char* fields,
                                const unsigned char* const* values, const unsigned char* sizes,
                                unsigned char pairs, unsigned char addressA, unsigned char addressB,
                                int send) {
    return PutN2KReq(pgn, kKeepInterval, kKeepOffset, fields, values, sizes, pairs, addressA,
                     addressB, send);
}

int Ferrow_N2K_Gen_c::PutN2KReq(unsigned long pgn, unsigned long interval, unsigned short offset,
                                unsigned char field, const unsigned char* value, unsigned char size,
                                unsigned char addressA, unsigned char addressB, int send) {
    CallFrame frame;
    return Request(*this, pgn, interval, offset, {{field, value, size}}, addressA, addressB, send);
}

int Ferrow_N2K_Gen_c::PutN2KReq(unsigned long pgn, unsigned char field, const unsigned char* value,
                                unsigned char size, unsigned char addressA, unsigned char addressB,
                                int send) {
    return PutN2KReq(pgn, kKeepInterval, kKeepOffset, field, value, size, addressA, addressB, send);
}

int Ferrow_N2K_Gen_c::PutN2KCmd(unsigned long pgn, const unsigned char* fields,
                                const unsigned char* const* values, const unsigned char* sizes,
                                unsigned char pairs, unsigned char addressA, unsigned char addressB,
                                int send) {
    CallFrame frame;
    std::optional<std::vector<Pair>> list = CallerPairs(fields, values, sizes, pairs);
    if (!list) return -1;
    return Command(*this, pgn, *list, addressA, addressB, send);
}

int Ferrow_N2K_Gen_c::PutN2KCmd(unsigned long pgn, unsigned char field, const unsigned char* value,
                                unsigned char size, unsigned char addressA, unsigned char addressB,
                                int send) {
    CallFrame frame;
    return Command(*this, pgn, {{field, value, size}}, addressA, addressB, send);
}

// A command to the proprietary fast-packet PGN: fields 1 to 3 carry the
// proprietary header and the two words, the fourth the commanded field.
int Ferrow_N2K_Gen_c::PutQLCmd(unsigned char field, const unsigned char* value, unsigned short size,
                               unsigned short word1, unsigned short word2, unsigned char addressA,
                               unsigned char addressB, int send) {
    CallFrame frame;
    const uint8_t first[2] = {static_cast<uint8_t>(word1), static_cast<uint8_t>(word1 >> 8)};
    const uint8_t second[2] = {static_cast<uint8_t>(word2), static_cast<uint8_t>(word2 >> 8)};
    return Command(*this, kProprietaryFastPacketPgn,
                   {{1, kProprietaryHeader, sizeof kProprietaryHeader},
                    {2, first, sizeof first},
                    {3, second, sizeof second},
                    {field, value, size}},
                   addressA, addressB, send);
}

int Ferrow_N2K_Gen_c::PutQLData(const unsigned char* payload, unsigned short size,
                                unsigned short word1, unsigned short word2, unsigned char addressA,
                                unsigned char addressB, int send) {
    CallFrame frame;
    const std::size_t length = kProprietaryDataHeader + std::size_t{size};
    if (!Readable(payload, size) || !Fits(length)) return -1;
    N2KMsg msg = NewMultiFrameMessage(kProprietaryFastPacketPgn, kProprietaryPriority, length);
    PayloadWriter out(msg.data);
    out.Bytes(kProprietaryHeader, kProprietaryHeaderSize);
    out.U16(word1);
    out.U16(word2);
    out.Bytes(payload, size);
    return Submit(*this, msg, addressA, addressB, send);
}

int Ferrow_N2K_Gen_c::PutQL_S(const unsigned char* bytes6, unsigned char addressA,
                              unsigned char addressB, int send) {
    CallFrame frame;
    if (bytes6 == nullptr) return -1;
    N2KMsg msg = NewMessage(kProprietarySingleFramePgn, kProprietaryPriority,
                            kProprietaryHeaderSize + kSingleFrameBytes, kSingleFrame);
    PayloadWriter out(msg.data);
    out.Bytes(kProprietaryHeader, kProprietaryHeaderSize);
    out.Bytes(bytes6, kSingleFrameBytes);
    return Submit(*this, msg, addressA, addressB, send);
}

void Ferrow_N2K_Gen_c::Show() { impl_->core.Show(); }
void Ferrow_N2K_Gen_c::Hide() { impl_->core.Hide(); }
void Ferrow_N2K_Gen_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_N2K_Gen_c::IsVisible() { return impl_->core.IsVisible(); }
