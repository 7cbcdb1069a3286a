// One group function (126208) received by the monitor, read against the
// PGNs the monitor sends: what it asks for and the acknowledgement owed.
// Requests and commands name fields by number, so the width of each value
// comes from the PGN's field layout; a field the layout does not know ends
// the reading, since nothing after it can be found.
#pragma once

#include "N2kReader.h"

#include <ferrow/N2KMsg.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace monitor {

class GroupFunction {
public:
    static constexpr uint8_t kRequest = 0;
    static constexpr uint8_t kCommand = 1;

    static constexpr uint8_t kPgnOk = 0;
    static constexpr uint8_t kPgnNotSupported = 1;
    static constexpr uint8_t kFunctionNotSupported = 4;

    static constexpr uint8_t kParameterOk = 0;
    static constexpr uint8_t kInvalidField = 1;
    static constexpr uint8_t kOutOfRange = 3;

    // Reads `data`; `instance` is the device's instance now, which a
    // request's instance field must match.
    GroupFunction(const uint8_t* data, std::size_t length, uint8_t instance);

    // False for a payload too short to name a function and a PGN, and for
    // acknowledgements and replies, which are never answered.
    bool NeedsAnswer() const { return needsAnswer_; }
    uint8_t Function() const { return function_; }
    uint32_t Pgn() const { return pgn_; }
    // No error at all: carry it out.
    bool Accepted() const;

    // A request's selection: only messages with these key fields are sent.
    std::optional<uint8_t> SelectedSource() const { return source_; }
    // A command's new instance.
    std::optional<uint8_t> NewInstance() const { return newInstance_; }

    void Acknowledge(N2KMsg& msg, uint8_t source, uint8_t destination) const;

    struct Layout;

private:
    void ReadRequest(const uint8_t* data, std::size_t length, uint8_t instance);
    void ReadCommand(const uint8_t* data, std::size_t length);
    // Reads up to the parameter count; the reader is left on the first pair.
    N2kReader Pairs(const uint8_t* data, std::size_t length, std::size_t head);
    // Gives each pair the code judge(field, value) returns; a pair that
    // cannot be read, and all after it, get "invalid field".
    template <class Judge>
    void JudgePairs(N2kReader& in, const Layout* layout, Judge judge);
    // The whole function refused: every parameter marked invalid.
    void Refuse(uint8_t pgnError);

    bool needsAnswer_ = false;
    uint8_t function_ = 0;
    uint32_t pgn_ = 0;
    uint8_t pgnError_ = kPgnOk;
    uint8_t count_ = 0;
    std::array<uint8_t, 255> errors_{};
    std::optional<uint8_t> source_;
    std::optional<uint8_t> newInstance_;
};

}  // namespace monitor
