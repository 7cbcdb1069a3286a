// Fuzz target for the gateway's line formats. The input is text cut into
// lines; each line, in an allocation of exactly its size so that the address
// sanitizer sees a read past it, goes through the RAW and the candump -L
// parser. A frame either reads must be written and read back unchanged.
#include "net/formats/CandumpLineFormat.h"
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
using ferrow::net::RawLineFormat;

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "gateway_lines_fuzz: %s\n", what);
    std::abort();
}

// `keepsDirection`: the format writes the direction (candump lines do not).
void RoundTrip(const LineFormat& format, std::string_view line, bool keepsDirection) {
    const auto parsed = format.Parse(line);
    if (!parsed) return;
    Require(parsed->frame.length <= ferrow::net::CanFrame::kMaxLength, "length over 8");
    const auto since = parsed->time.value_or(std::chrono::microseconds(0));
    const std::string written = format.Format(parsed->frame, parsed->direction, since);
    const auto again = format.Parse(written.substr(0, written.find_first_of("\r\n")));
    Require(again.has_value(), "a written line does not read back");
    Require(again->frame == parsed->frame, "frame changed through write and read");
    Require(!keepsDirection || again->direction == parsed->direction,
            "direction changed through write and read");
    Require(!parsed->time || again->time == parsed->time, "time changed through write and read");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const RawLineFormat raw;
    static const CandumpLineFormat candump;
    const char* text = reinterpret_cast<const char*>(data);
    std::size_t start = 0;
    while (start <= size) {
        std::size_t end = start;
        while (end < size && text[end] != '\n') ++end;
        const std::size_t length = end - start;
        const auto line = std::make_unique<char[]>(length == 0 ? 1 : length);
        std::copy(text + start, text + end, line.get());
        RoundTrip(raw, std::string_view(line.get(), length), true);
        RoundTrip(candump, std::string_view(line.get(), length), false);
        start = end + 1;
    }
    return 0;
}

// Seed texts for the standalone driver: every shape each format reads and
// the near misses around its limits.
extern "C" const char* const* FerrowFuzzSeeds() {
    static const std::vector<std::string> texts = {
        "00:17:55.475 R 09F11223 00 5C 3D FF 7F FF 7F FC\r\nT 1fffffff\r\n09F11223 00\n",
        "23:59:59.999 T 1FFFFFFF 01 02 03 04 05 06 07 08 09\n24:00:00.000 R 20000000\n",
        "(1700000000.000000) can0 09F11223#005C3DFF7FFF7FFC\n(0.000001) x 1fffffff# T\n",
        "(999999999999.999999) can0 09F11223#0011 R\n(1.0) can0 123#R\n(1.000000) c 1##1\n",
        "(1700000000.000000) can0 09F11223#005C3DFF7FFF7FFC01\n\n\r\n\t\n(",
    };
    return ferrow::fuzz::SeedPointers(texts);
}
