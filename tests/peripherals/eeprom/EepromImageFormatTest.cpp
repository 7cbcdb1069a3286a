// The image reader against hand-written text: the liberties it allows an
// edited file and the damage it refuses, leaving an erased image.
#include "peripherals/eeprom/EepromImageFormat.h"
#include "tests/peripherals/eeprom/EepromText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using ferrow::peripherals::EepromImageFormat;
using ferrow::test::Record;

namespace {

using Bytes = std::vector<uint8_t>;

bool Parse(const std::string& text, Bytes& image) {
    return EepromImageFormat::Parse(reinterpret_cast<const uint8_t*>(text.data()), text.size(),
                                    image.data(), image.size());
}

// A hand-written record, padded to the 57-byte grid.
std::string Line(std::string text) {
    text.resize(EepromImageFormat::kRecordBytes - 1, ' ');
    return text + "\n";
}

const std::string kRecord0 = Record(0x00, 0x12);
const std::string kRecord1 = Record(0x10, 0x34);

}  // namespace

TEST(EepromImageFormat, ReadsEditedRecordsWhereverTheyLieAndRefusesDamagedOnesWhole) {
    const struct {
        const char* what;
        std::string text;
        bool accepted;
    } cases[] = {
        {"in another order", kRecord1 + kRecord0, true},
        {"white space, 0x, signs and trailing text",
         Line("\t0 0x12 +12 12 12 12 12 12 12 12 12 12 12 12 12 12 -EE z") + kRecord1, true},
        {"low byte of long numbers",
         kRecord0 + Line("10 1234 FFF34 34 34 34 34 34 34 34 34 34 34 34 34 34 34"), true},
        {"last record without its line feed", (kRecord0 + kRecord1).substr(0, 113), true},
        {"a zero byte inside a record", (kRecord0 + kRecord1).replace(57 + 50, 1, 1, '\0'), false},
        {"bytes apart by a tab alone",
         kRecord0 + Line("0010 34\t34 34 34 34 34 34 34 34 34 34 34 34 34 34 34"), false},
        {"address past the image", kRecord0 + Record(0x20, 0x34), false},
        {"negative address",
         kRecord0 + Line("-10 34 34 34 34 34 34 34 34 34 34 34 34 34 34 34 34"), false},
        {"address beyond 32 bits",
         kRecord0 + Line("100000010 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4"), false},
    };
    Bytes loaded(16, 0x12);
    loaded.resize(32, 0x34);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes image(32, 0);
        EXPECT_EQ(Parse(c.text, image), c.accepted);
        EXPECT_EQ(image, c.accepted ? loaded : Bytes(32, 0xFF));
    }
}

TEST(EepromImageFormat, LeavesBytesThatNoRecordGivesErased) {
    Bytes image(32, 0), expected(16, 0x12);
    expected.resize(32, 0xFF);
    EXPECT_TRUE(Parse(kRecord0 + kRecord0, image));
    EXPECT_EQ(image, expected);
}
