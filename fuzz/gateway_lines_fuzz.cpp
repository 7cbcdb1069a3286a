// Fuzz target for the gateway's line formats and the reader of its sockets.
// The input is text. Cut at LF, each line, in an allocation of exactly its
// size so that the address sanitizer sees a read past it, goes through the
// RAW and the candump -L parser; a frame either reads must be written and
// read back unchanged, in the form a gateway sends and the one it takes. Cut
// by the line reader, fed in two pieces split anywhere, the text must give
// the lines it holds between CR and LF ends, and those lines go through the
// same checks.
#include "net/formats/CandumpLineFormat.h"
#include "net/formats/LineSplitter.h"
#include "net/formats/RawLineFormat.h"

#include "fuzz/FuzzSeeds.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using ferrow::net::CandumpLineFormat;
using ferrow::net::LineFormat;
using ferrow::net::LineSplitter;
using ferrow::net::RawLineFormat;

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "gateway_lines_fuzz: %s\n", what);
    std::abort();
}

// What a format writes of a line besides the frame.
struct Keeps {
    bool direction;
    bool time;
};

void RoundTrip(const LineFormat& format, std::string_view line, Keeps keeps) {
    const auto parsed = format.Parse(line);
    if (!parsed) return;
    Require(parsed->frame.length <= ferrow::net::CanFrame::kMaxLength, "length over 8");
    const auto since = parsed->time.value_or(std::chrono::microseconds(0));
    const std::string written = format.Format(parsed->frame, parsed->direction, since);
    const auto again = format.Parse(written.substr(0, written.find_first_of("\r\n")));
    Require(again.has_value(), "a written line does not read back");
    Require(again->frame == parsed->frame, "frame changed through write and read");
    Require(!keeps.direction || again->direction == parsed->direction,
            "direction changed through write and read");
    Require(!keeps.time || !parsed->time || again->time == parsed->time,
            "time changed through write and read");
    // A gateway that sends back what it was sent unmarked must not make our
    // own frames look like its echoes, nor give them a time.
    Require(keeps.direction || keeps.time || (again->direction == LineFormat::Direction::Received &&
                                              !again->time),
            "a line written for a gateway reads as an echo or with a time");
}

void CheckLine(std::string_view text) {
    static const RawLineFormat raw;
    static const RawLineFormat toGateway(RawLineFormat::Form::ToGateway);
    static const CandumpLineFormat candump;
    const auto line = std::make_unique<char[]>(text.empty() ? 1 : text.size());
    std::copy(text.begin(), text.end(), line.get());
    const std::string_view exact(line.get(), text.size());
    RoundTrip(raw, exact, {true, true});
    RoundTrip(toGateway, exact, {false, false});
    RoundTrip(candump, exact, {false, true});
    // The echo a gateway sends of one of our frames reads as ours.
    if (const auto parsed = raw.Parse(exact)) {
        const std::string echo = raw.Format(parsed->frame, LineFormat::Direction::Transmitted,
                                            std::chrono::microseconds(0));
        const auto heard = raw.Parse(echo.substr(0, echo.size() - 2));
        Require(heard && heard->direction == LineFormat::Direction::Transmitted,
                "an echo does not read as transmitted");
    }
}

// The pieces of `text` between CR and LF ends, as the reader must give them:
// empty ones are no lines, and longer ones than it keeps are counted.
std::vector<std::string_view> ExpectedLines(std::string_view text, std::size_t& overlong) {
    std::vector<std::string_view> lines;
    overlong = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != '\r' && text[i] != '\n') continue;
        const std::string_view piece = text.substr(start, i - start);
        if (piece.size() > LineSplitter::kMaxLine) {
            ++overlong;
        } else if (!piece.empty()) {
            lines.push_back(piece);
        }
        start = i + 1;
    }
    return lines;
}

void CheckReader(std::string_view text, std::size_t cut) {
    std::size_t expectedOverlong = 0;
    const std::vector<std::string_view> expected = ExpectedLines(text, expectedOverlong);
    LineSplitter splitter;
    std::vector<std::string> lines;
    const auto onLine = [&](std::string_view line) { lines.emplace_back(line); };
    std::size_t overlong = splitter.Feed(text.substr(0, cut), onLine);
    overlong += splitter.Feed(text.substr(cut), onLine);
    splitter.Finish(onLine);
    Require(overlong == expectedOverlong, "overlong lines miscounted");
    Require(std::equal(lines.begin(), lines.end(), expected.begin(), expected.end()),
            "the reader cut the text into other lines");
    for (const std::string& line : lines) CheckLine(line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::size_t start = 0;
    while (start <= size) {
        const std::size_t end = std::min(text.find('\n', start), size);
        CheckLine(text.substr(start, end - start));
        start = end + 1;
    }
    CheckReader(text, size == 0 ? 0 : data[0] % (size + 1));
    return 0;
}

// Seed texts for the standalone driver: every shape each format reads and
// the near misses around its limits; lines ended by CR alone, the form a
// gateway takes, and the echoes it sends back.
extern "C" const char* const* FerrowFuzzSeeds() {
    static const std::vector<std::string> texts = {
        "00:17:55.475 R 09F11223 00 5C 3D FF 7F FF 7F FC\r\nT 1fffffff\r\n09F11223 00\n",
        "23:59:59.999 T 1FFFFFFF 01 02 03 04 05 06 07 08 09\n24:00:00.000 R 20000000\n",
        "(1700000000.000000) can0 09F11223#005C3DFF7FFF7FFC\n(0.000001) x 1fffffff# T\n",
        "(999999999999.999999) can0 09F11223#0011 R\n(1.0) can0 123#R\n(1.000000) c 1##1\n",
        "(1700000000.000000) can0 09F11223#005C3DFF7FFF7FFC01\n\n\r\n\t\n(",
        "10:00:00.000 T 18EAFF23 14 F0 01\r10:00:00.002 R 18EAFF10 14 F0 01\r18EAFF23 14 F0 01\r\n",
        "\r\r\n\n\r18EAFF23\r" + std::string(300, '0') + "\r09F11223 00 5C",
    };
    return ferrow::fuzz::SeedPointers(texts);
}
