// Fuzz target for the PGN database's decoder and encoder: any payload under
// a PGN of every field type. Every message must decode to one JSON object
// with its addresses; what it decodes to must be refused or built back into
// a message that decodes again.
#include <ferrow/N2KDecode.h>

#include "fuzz/FuzzSeeds.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Every input byte is XORed with this first, so seed texts need no NUL.
constexpr uint8_t kMask = 0xA5;
constexpr uint8_t kRawPgn = 0xFF;

// Group functions (a value typed by another PGN's field), keyed values,
// repeating sets, strings of each kind, bit lookups, decimals and floats,
// makers' PGNs with and without a definition, the ISO-only PGN, a number
// the database does not know.
constexpr uint32_t kPgns[] = {126208, 130824, 129540, 126996, 126998, 127489, 129808,
                              129045, 130820, 65280,  126720, 65240,  129029, 130000};
constexpr std::size_t kCount = sizeof kPgns / sizeof kPgns[0];

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "n2k_decode_fuzz: %s\n", what);
    std::abort();
}

bool Loaded() {
    static const bool loaded = FerrowLoadPgnDatabase(nullptr) == 0;
    return loaded;
}

std::string Decode(const N2KMsg& msg) {
    static std::vector<char> text(1 << 20);
    const int length = FerrowDecodeN2K(&msg, text.data(), static_cast<int>(text.size()));
    Require(length > 0, "a message did not decode");
    Require(FerrowDecodeN2K(&msg, text.data(), length) == -1, "decoded into too small a buffer");
    return std::string(text.data(), static_cast<std::size_t>(length));
}

}  // namespace

// Selector: an index into kPgns, or kRawPgn followed by three bytes of PGN.
// Then the priority and the payload.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Require(Loaded(), "no PGN database: run data/pgns/install.sh");
    std::size_t at = 0;
    auto next = [&]() -> uint8_t { return at < size ? data[at++] ^ kMask : 0; };
    N2KMsg msg{};
    const uint8_t selector = next();
    if (selector == kRawPgn) {
        for (int i = 0; i < 3; ++i) msg.pgn = msg.pgn << 8 | next();
        msg.pgn &= 0x3FFFF;
    } else {
        msg.pgn = kPgns[selector % kCount];
    }
    msg.priority = next() & 7;
    msg.addressA = 35;
    msg.addressB = 255;
    while (at < size && msg.length < N2KMsg::kMaxData) msg.data[msg.length++] = next();

    const std::string text = Decode(msg);
    const nlohmann::json object = nlohmann::json::parse(text, nullptr, false);
    Require(object.is_object() && object["pgn"] == msg.pgn && object["src"] == 35 &&
                object["fields"].is_object(),
            "decoded text is not the message's object");
    // Every group read takes at least one bit of the data.
    for (const char* list : {"list", "list2"}) {
        const auto it = object["fields"].find(list);
        Require(it == object["fields"].end() || it->size() <= msg.length * 8u,
                "more groups than the data has bits");
    }

    N2KMsg built{};
    if (FerrowEncodeN2K(text.c_str(), &built) == 0) {
        Require(built.length <= N2KMsg::kMaxData && built.transport >= 1 && built.transport <= 3,
                "built message does not fit its record");
        Decode(built);
    }
    return 0;
}

namespace {

std::string Seed(uint8_t selector, const std::vector<uint8_t>& payload, uint32_t pgn = 0) {
    std::string seed;
    seed.push_back(static_cast<char>(selector ^ kMask));
    if (selector == kRawPgn) {
        for (int shift = 16; shift >= 0; shift -= 8) {
            seed.push_back(static_cast<char>(((pgn >> shift) & 0xFF) ^ kMask));
        }
    }
    seed.push_back(static_cast<char>(2 ^ kMask));
    for (uint8_t b : payload) seed.push_back(static_cast<char>(b ^ kMask));
    return seed;
}

}  // namespace

// Seeds: well-formed messages of the targets' PGNs (kMask never appears in
// them, so no seed byte becomes a NUL).
extern "C" const char* const* FerrowFuzzSeeds() {
    static const std::vector<std::string> texts = {
        // Command 130312 to set its field 4 (a temperature) and field 2.
        Seed(0, {0x01, 0x08, 0xfd, 0x01, 0xf8, 0x02, 0x04, 0x3f, 0x75, 0x02, 0x03}),
        Seed(2, {7, 0xfd, 2, 5, 0xae, 0x1e, 0xb8, 0x7a, 0x9a, 0x10, 0xc7, 0xcf, 0xff, 0xff, 0xf2,
                 12, 0x9c, 0xff, 0xff, 0xff, 0xff, 0x7f, 0xff, 0xff, 0xff, 0x7f, 0xf5}),
        Seed(3, std::vector<uint8_t>(134, 0x41)),
        Seed(4, {9, 1, 'B', 'r', 'i', 'd', 'g', 'e', ' ', 7, 0, 'C', 'a', 'f', 0xc3, 0xa9, 2, 1}),
        Seed(5, {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x7f, 0xff, 0x7f, 0xff, 0xff, 0xff,
                 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x05, 0x00, 0x00, 0x80, 0x7f, 0x7f}),
        Seed(8, {0xa3, 0x99, 0x21, 0x80, 5, 'S', 'a', 'l', 'o', 'n'}),
        Seed(9, {0x3b, 0x9f, 1, 2, 3, 4, 5, 6}),
        Seed(kRawPgn, {0x01, 0x02, 0x03}, 130315),
    };
    return ferrow::fuzz::SeedPointers(texts);
}
