// The candump -L line, read strictly left to right; anything the tools would
// not have written refuses the line.
#include "net/formats/CandumpLineFormat.h"

#include "net/formats/HexText.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace ferrow::net {

namespace {

using std::chrono::microseconds;

// Enough for any time the tools write, small enough that microseconds fit.
constexpr std::size_t kMaxSecondDigits = 12;
constexpr std::size_t kFractionDigits = 6;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::size_t SkipBlanks(std::string_view line, std::size_t i) {
    while (i < line.size() && IsBlank(line[i])) ++i;
    return i;
}

std::size_t SkipWord(std::string_view line, std::size_t i) {
    while (i < line.size() && !IsBlank(line[i])) ++i;
    return i;
}

std::optional<long long> Digits(std::string_view text, std::size_t least, std::size_t most) {
    if (text.size() < least || text.size() > most) return std::nullopt;
    long long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + (c - '0');
    }
    return value;
}

// "seconds.micros" between the parentheses. The logging tools write six
// digits of fraction; other encoders write fewer or none, which read the same.
std::optional<microseconds> Stamp(std::string_view text) {
    const std::size_t dot = text.find('.');
    const auto seconds = Digits(text.substr(0, dot), 1, kMaxSecondDigits);
    if (!seconds) return std::nullopt;
    long long micros = 0;
    if (dot != std::string_view::npos) {
        const std::string_view fraction = text.substr(dot + 1);
        const auto digits = Digits(fraction, 1, kFractionDigits);
        if (!digits) return std::nullopt;
        micros = *digits;
        for (std::size_t n = fraction.size(); n < kFractionDigits; ++n) micros *= 10;
    }
    return microseconds(*seconds * 1000000 + micros);
}

// "09F11223#005C3D".
std::optional<CanFrame> FrameOf(std::string_view text) {
    const std::size_t hash = text.find('#');
    if (hash == std::string_view::npos) return std::nullopt;
    const auto id = HexText::Parse(text.substr(0, hash), 8);
    const std::string_view data = text.substr(hash + 1);
    if (!id || *id > CanFrame::kIdMask || data.size() % 2 != 0 ||
        data.size() > 2 * CanFrame::kMaxLength) {
        return std::nullopt;
    }
    CanFrame frame;
    frame.id = *id;
    for (std::size_t i = 0; i < data.size(); i += 2) {
        const auto byte = HexText::Parse(data.substr(i, 2), 2);
        if (!byte) return std::nullopt;
        frame.data[frame.length++] = static_cast<uint8_t>(*byte);
    }
    return frame;
}

}  // namespace

CandumpLineFormat::CandumpLineFormat(std::string interfaceName)
    : interfaceName_(interfaceName.empty() ? "can0" : std::move(interfaceName)) {
    std::replace_if(interfaceName_.begin(), interfaceName_.end(),
                    [](char c) { return IsBlank(c) || c == '\n'; }, '_');
}

std::optional<LineFormat::Line> CandumpLineFormat::Parse(std::string_view line) const {
    std::size_t i = SkipBlanks(line, 0);
    if (i == line.size() || line[i] != '(') return std::nullopt;
    const std::size_t close = line.find(')', i);
    if (close == std::string_view::npos) return std::nullopt;
    Line result;
    result.time = Stamp(line.substr(i + 1, close - i - 1));
    if (!result.time || close + 1 == line.size() || !IsBlank(line[close + 1])) {
        return std::nullopt;
    }
    const std::size_t name = SkipBlanks(line, close + 1);
    const std::size_t frameStart = SkipBlanks(line, SkipWord(line, name));
    if (frameStart == name || frameStart == line.size()) return std::nullopt;
    const std::size_t frameEnd = SkipWord(line, frameStart);
    const auto frame = FrameOf(line.substr(frameStart, frameEnd - frameStart));
    if (!frame) return std::nullopt;
    result.frame = *frame;
    const std::size_t markStart = SkipBlanks(line, frameEnd);
    const std::size_t markEnd = SkipWord(line, markStart);
    const std::string_view mark = line.substr(markStart, markEnd - markStart);
    if (mark == "T") {
        result.direction = Direction::Transmitted;
    } else if (!mark.empty() && mark != "R") {
        return std::nullopt;
    }
    if (SkipBlanks(line, markEnd) != line.size()) return std::nullopt;
    return result;
}

std::string CandumpLineFormat::Format(const CanFrame& frame, Direction,
                                      microseconds since) const {
    const long long micros = std::max<long long>(since.count(), 0);
    char stamp[48];
    std::snprintf(stamp, sizeof stamp, "(%010lld.%06lld) ", micros / 1000000, micros % 1000000);
    std::string line = stamp;
    line += interfaceName_;
    line.push_back(' ');
    HexText::Append(line, frame.id & CanFrame::kIdMask, 8);
    line.push_back('#');
    const uint8_t length = std::min(frame.length, CanFrame::kMaxLength);
    for (uint8_t i = 0; i < length; ++i) HexText::Append(line, frame.data[i], 2);
    line.push_back('\n');
    return line;
}

}  // namespace ferrow::net
