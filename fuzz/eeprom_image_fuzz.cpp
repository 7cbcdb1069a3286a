// Fuzz target for the EEPROM image reader. Any file must parse without
// reading past its bytes or writing past the image (both exactly sized, so
// the address sanitizer sees an overrun); a refused file must leave the image
// erased, and an accepted one must give an image whose own text reads back
// to the same bytes.
#include "peripherals/eeprom/EepromImageFormat.h"

#include "fuzz/FuzzSeeds.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using ferrow::peripherals::EepromImageFormat;

namespace {

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "eeprom_image_fuzz: %s\n", what);
    std::abort();
}

std::string Records(size_t count, unsigned firstValue) {
    std::vector<uint8_t> image(count * EepromImageFormat::kBytesPerRecord);
    for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(firstValue + 7 * i);
    std::string text;
    EepromImageFormat::AppendRecords(image.data(), 0, count, text);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<uint8_t> file(data, data + size);
    for (size_t imageSize : {16, 48, 256}) {
        std::vector<uint8_t> image(imageSize, 0);
        if (!EepromImageFormat::Parse(file.data(), file.size(), image.data(), imageSize)) {
            Require(image == std::vector<uint8_t>(imageSize, 0xFF), "refused file left bytes");
            continue;
        }
        std::string text;
        EepromImageFormat::AppendRecords(image.data(), 0, imageSize / 16, text);
        Require(text.size() == EepromImageFormat::FileBytes(imageSize), "wrong text length");
        std::vector<uint8_t> again(imageSize, 0);
        Require(EepromImageFormat::Parse(reinterpret_cast<const uint8_t*>(text.data()), text.size(),
                                         again.data(), imageSize),
                "own text refused");
        Require(again == image, "image changed through its own text");
    }
    return 0;
}

// Seed texts: a whole file for every image size, the same records in reverse
// order, hand-edited forms the reader accepts, and line ends it does not.
extern "C" const char* const* FerrowFuzzSeeds() {
    static const std::vector<std::string> texts = [] {
        const std::string whole = Records(16, 0);
        std::string reversed, crlf;
        for (size_t at = whole.size(); at > 0; at -= EepromImageFormat::kRecordBytes) {
            reversed += whole.substr(at - EepromImageFormat::kRecordBytes,
                                     EepromImageFormat::kRecordBytes);
        }
        for (size_t at = 0; at < whole.size(); at += EepromImageFormat::kRecordBytes) {
            crlf += whole.substr(at, EepromImageFormat::kRecordBytes - 1) + "\r\n";
        }
        return std::vector<std::string>{
            whole,
            reversed,
            crlf,
            Records(3, 0x80).substr(0, 3 * EepromImageFormat::kRecordBytes - 1),
            "\t0 0x12 +12 12 12 12 12 12 12 12 12 12 12 12 12 12 -EE z\n"
            "10 1234 FFF34 34 34 34 34 34 34 34 34 34 34 34 34 34 34 \n",
            "-10 1 2 3 4 5 6 7 8 9 a b c d e f 10\n100000010 4 4\n0x0 XY\n",
        };
    }();
    return ferrow::fuzz::SeedPointers(texts);
}
