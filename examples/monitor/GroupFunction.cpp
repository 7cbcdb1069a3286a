#include "GroupFunction.h"

#include "MonitorBoard.h"
#include "N2kEncode.h"
#include "N2kPgn.h"
#include "N2kReader.h"

#include <algorithm>
#include <iterator>

namespace monitor {

namespace {

constexpr uint8_t kAcknowledge = 2;
constexpr uint8_t kReadFieldsReply = 4;
constexpr uint8_t kWriteFieldsReply = 6;
// What precedes the parameter count: function, PGN, then a request's
// interval and offset or a command's priority setting.
constexpr std::size_t kRequestHead = 10;
constexpr std::size_t kCommandHead = 5;

// Everything the monitor sends, and so will send on request.
constexpr uint32_t kSent[] = {pgn::kAddressClaim,   pgn::kPgnList,      pgn::kHeartbeat,
                              pgn::kProductInformation, pgn::kEngineRapid, pgn::kBatteryStatus,
                              pgn::kTemperature};

}  // namespace

// The field layout of a byte-aligned PGN the monitor sends: each field's
// width in bytes, numbered from 1, and its key fields (0: none).
struct GroupFunction::Layout {
    uint32_t pgn;
    uint8_t widths[5];
    uint8_t instanceField;
    uint8_t sourceField;
    // Its instance is the device's (settable), not a fixed one.
    bool deviceInstance;
};

namespace {

using Layout = GroupFunction::Layout;

constexpr Layout kLayouts[] = {
    {pgn::kTemperature, {1, 1, 1, 3, 2}, 2, 3, true},
    {pgn::kBatteryStatus, {1, 2, 2, 2, 1}, 1, 0, true},
    {pgn::kEngineRapid, {1, 2, 2, 1, 2}, 1, 0, false},
};

bool Sent(uint32_t pgn) { return std::find(std::begin(kSent), std::end(kSent), pgn) != std::end(kSent); }

const Layout* Find(uint32_t pgn) {
    for (const Layout& layout : kLayouts) {
        if (layout.pgn == pgn) return &layout;
    }
    return nullptr;
}

bool KnownTemperatureSource(uint32_t source) {
    return source == N2kEncode::kSourceSea || source == N2kEncode::kSourceInside ||
           source == N2kEncode::kSourceEngineRoom;
}

// The next field number and its value; false when the field is unknown to
// the layout or the payload ends.
bool ReadPair(N2kReader& in, const Layout* layout, uint8_t& field, uint32_t& value) {
    if (!in.U8(field) || layout == nullptr) return false;
    if (field == 0 || field > std::size(layout->widths)) return false;
    return in.Unsigned(layout->widths[field - 1], value);
}

}  // namespace

GroupFunction::GroupFunction(const uint8_t* data, std::size_t length, uint8_t instance) {
    N2kReader in(data, length);
    if (!in.U8(function_) || !in.U24(pgn_)) return;
    if (function_ == kAcknowledge || function_ == kReadFieldsReply ||
        function_ == kWriteFieldsReply) {
        return;
    }
    needsAnswer_ = true;
    if (function_ == kRequest) {
        ReadRequest(data, length, instance);
    } else if (function_ == kCommand) {
        ReadCommand(data, length);
    } else {
        pgnError_ = kFunctionNotSupported;
    }
}

bool GroupFunction::Accepted() const {
    if (!needsAnswer_ || pgnError_ != kPgnOk) return false;
    return std::all_of(errors_.begin(), errors_.begin() + count_,
                       [](uint8_t code) { return code == kParameterOk; });
}

void GroupFunction::ReadRequest(const uint8_t* data, std::size_t length, uint8_t instance) {
    N2kReader in = Pairs(data, length, kRequestHead);
    if (!Sent(pgn_)) {
        Refuse(kPgnNotSupported);
        return;
    }
    const Layout* layout = Find(pgn_);
    JudgePairs(in, layout, [&](uint8_t field, uint32_t value) {
        if (field == layout->instanceField) {
            const uint8_t ours = layout->deviceInstance ? instance : kEngineInstance;
            return value == ours ? kParameterOk : kOutOfRange;
        }
        if (field == layout->sourceField) {
            source_ = static_cast<uint8_t>(value);
            return KnownTemperatureSource(value) ? kParameterOk : kOutOfRange;
        }
        return kInvalidField;
    });
}

void GroupFunction::ReadCommand(const uint8_t* data, std::size_t length) {
    N2kReader in = Pairs(data, length, kCommandHead);
    const Layout* layout = Find(pgn_);
    if (!Sent(pgn_) || layout == nullptr || !layout->deviceInstance) {
        Refuse(Sent(pgn_) ? kFunctionNotSupported : kPgnNotSupported);
        return;
    }
    JudgePairs(in, layout, [&](uint8_t field, uint32_t value) {
        if (field != layout->instanceField) return kInvalidField;
        if (value > kMaxInstance) return kOutOfRange;
        newInstance_ = static_cast<uint8_t>(value);
        return kParameterOk;
    });
}

N2kReader GroupFunction::Pairs(const uint8_t* data, std::size_t length, std::size_t head) {
    N2kReader in(data, length);
    // Without a count there are no pairs.
    if (!in.Skip(head) || !in.U8(count_)) count_ = 0;
    return in;
}

template <class Judge>
void GroupFunction::JudgePairs(N2kReader& in, const Layout* layout, Judge judge) {
    for (unsigned i = 0; i < count_; ++i) {
        uint8_t field = 0;
        uint32_t value = 0;
        if (!ReadPair(in, layout, field, value)) {
            std::fill(errors_.begin() + i, errors_.begin() + count_, kInvalidField);
            return;
        }
        errors_[i] = judge(field, value);
    }
}

void GroupFunction::Refuse(uint8_t pgnError) {
    pgnError_ = pgnError;
    std::fill(errors_.begin(), errors_.begin() + count_, kInvalidField);
}

void GroupFunction::Acknowledge(N2KMsg& msg, uint8_t source, uint8_t destination) const {
    N2kEncode::GroupFunctionAck(msg, pgn_, pgnError_, errors_.data(), count_, source, destination);
}

}  // namespace monitor
