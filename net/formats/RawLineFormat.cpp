// The plain-text frame line, read field by field so that any deviation in a
// field refuses the whole line rather than yielding a frame half read.
#include "net/formats/RawLineFormat.h"

#include "net/formats/HexText.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace ferrow::net {

namespace {

using std::chrono::microseconds;

// Time, direction, identifier and eight bytes; one more means garbage.
constexpr std::size_t kMaxFields = 12;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// The fields of `line`, or 0 when it has more than kMaxFields.
std::size_t Split(std::string_view line, std::array<std::string_view, kMaxFields>& fields) {
    std::size_t count = 0;
    std::size_t i = 0;
    while (i < line.size()) {
        if (IsBlank(line[i])) {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < line.size() && !IsBlank(line[end])) ++end;
        if (count == kMaxFields) return 0;
        fields[count++] = line.substr(i, end - i);
        i = end;
    }
    return count;
}

std::optional<int> Decimal(std::string_view text, int limit) {
    int value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + (c - '0');
    }
    if (value >= limit) return std::nullopt;
    return value;
}

// "hh:mm:ss.ddd" as time since midnight.
std::optional<microseconds> TimeOfDay(std::string_view text) {
    if (text.size() != 12 || text[2] != ':' || text[5] != ':' || text[8] != '.') {
        return std::nullopt;
    }
    const auto hours = Decimal(text.substr(0, 2), 24);
    const auto minutes = Decimal(text.substr(3, 2), 60);
    const auto seconds = Decimal(text.substr(6, 2), 60);
    const auto millis = Decimal(text.substr(9, 3), 1000);
    if (!hours || !minutes || !seconds || !millis) return std::nullopt;
    const long long ms = ((*hours * 60LL + *minutes) * 60 + *seconds) * 1000 + *millis;
    return std::chrono::duration_cast<microseconds>(std::chrono::milliseconds(ms));
}

std::optional<LineFormat::Direction> DirectionOf(std::string_view text) {
    if (text == "R") return LineFormat::Direction::Received;
    if (text == "T") return LineFormat::Direction::Transmitted;
    return std::nullopt;
}

}  // namespace

std::optional<LineFormat::Line> RawLineFormat::Parse(std::string_view line) const {
    std::array<std::string_view, kMaxFields> fields;
    const std::size_t count = Split(line, fields);
    std::size_t next = 0;
    Line result;
    if (count > 0 && fields[0].find(':') != std::string_view::npos) {
        result.time = TimeOfDay(fields[0]);
        if (!result.time) return std::nullopt;
        ++next;
    }
    if (next < count) {
        if (const auto direction = DirectionOf(fields[next])) {
            result.direction = *direction;
            ++next;
        } else if (result.time) {
            return std::nullopt;
        }
    }
    if (next == count) return std::nullopt;
    const auto id = HexText::Parse(fields[next++], 8);
    if (!id || *id > CanFrame::kIdMask || count - next > CanFrame::kMaxLength) {
        return std::nullopt;
    }
    result.frame.id = *id;
    for (; next < count; ++next) {
        const auto byte = HexText::Parse(fields[next], 2);
        if (!byte) return std::nullopt;
        result.frame.data[result.frame.length++] = static_cast<uint8_t>(*byte);
    }
    return result;
}

std::string RawLineFormat::Format(const CanFrame& frame, Direction direction,
                                  microseconds since) const {
    std::string line;
    if (form_ == Form::FromGateway) {
        constexpr long long kDayMs = 24LL * 60 * 60 * 1000;
        const long long ms =
            (std::chrono::duration_cast<std::chrono::milliseconds>(since).count() % kDayMs +
             kDayMs) %
            kDayMs;
        char time[16];
        std::snprintf(time, sizeof time, "%02lld:%02lld:%02lld.%03lld ", ms / 3600000,
                      ms / 60000 % 60, ms / 1000 % 60, ms % 1000);
        line = time;
        line += direction == Direction::Transmitted ? "T " : "R ";
    }
    HexText::Append(line, frame.id & CanFrame::kIdMask, 8);
    const uint8_t length = std::min(frame.length, CanFrame::kMaxLength);
    for (uint8_t i = 0; i < length; ++i) {
        line.push_back(' ');
        HexText::Append(line, frame.data[i], 2);
    }
    line += "\r\n";
    return line;
}

}  // namespace ferrow::net
