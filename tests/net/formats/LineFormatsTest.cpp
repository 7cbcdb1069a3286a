// The RAW and candump -L lines against literal lines: what each reads, what
// each refuses, and what each writes. How received bytes are cut into lines
// is checked against a reference by the gateway lines fuzz target.
#include "net/formats/CandumpLineFormat.h"
#include "net/formats/RawLineFormat.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ferrow::net::CandumpLineFormat;
using ferrow::net::CanFrame;
using ferrow::net::LineFormat;
using ferrow::net::RawLineFormat;
using Direction = LineFormat::Direction;
using std::chrono::microseconds;

CanFrame Frame(uint32_t id, std::vector<uint8_t> bytes) {
    CanFrame frame;
    frame.id = id;
    for (uint8_t b : bytes) frame.data[frame.length++] = b;
    return frame;
}

struct Read {
    const char* line;
    CanFrame frame;
    Direction direction;
    long long micros;  // -1: the line has no time
};

void ExpectReads(const LineFormat& format, const std::vector<Read>& table) {
    for (const Read& row : table) {
        SCOPED_TRACE(row.line);
        const auto parsed = format.Parse(row.line);
        ASSERT_TRUE(parsed);
        EXPECT_EQ(parsed->frame, row.frame);
        EXPECT_EQ(parsed->direction, row.direction);
        if (row.micros < 0) {
            EXPECT_FALSE(parsed->time);
        } else {
            EXPECT_EQ(parsed->time, microseconds(row.micros));
        }
    }
}

void ExpectRefuses(const LineFormat& format, const std::vector<const char*>& lines) {
    for (const char* line : lines) EXPECT_FALSE(format.Parse(line)) << line;
}

const CanFrame kEight = Frame(0x09F11223, {0x00, 0x5C, 0x3D, 0xFF, 0x7F, 0xFF, 0x7F, 0xFC});

TEST(RawLineFormat, ReadsTimedUntimedAndBareLinesInEitherCase) {
    ExpectReads(RawLineFormat(), {
        {"00:17:55.475 R 09F11223 00 5C 3D FF 7F FF 7F FC", kEight, Direction::Received, 1075475000},
        {"23:59:59.999 T 1FFFFFFF", Frame(0x1FFFFFFF, {}), Direction::Transmitted, 86399999000},
        {"00:00:00.000 R 09f11223 5c", Frame(0x09F11223, {0x5C}), Direction::Received, 0},
        {"T 0df50b23 ff 0a", Frame(0x0DF50B23, {0xFF, 0x0A}), Direction::Transmitted, -1},
        {"09F11223 00 5C 3D FF 7F FF 7F FC", kEight, Direction::Received, -1},
        {"  09F11223\t00  5C \r", Frame(0x09F11223, {0x00, 0x5C}), Direction::Received, -1},
    });
}

TEST(RawLineFormat, RefusesMalformedLines) {
    ExpectRefuses(RawLineFormat(), {
        "", "   ", "R", "00:17:55.475 R",
        "00:17:55.475 R 09F11223 00 5C 3D FF 7F FF 7F FC 01",  // nine bytes
        "00:17:55.475 R 20000000 00",                          // above 29 bits
        "00:17:55.475 R 09F1122G 00", "00:17:55.475 R 09F11223 0G",
        "00:17:55.475 R 9F11223 00", "00:17:55.475 R 09F11223 5", "09F11223 005C",
        "00:17:55.475 X 09F11223 00", "00:17:55.475 09F11223 00", "24:00:00.000 R 09F11223",
        "00:60:00.000 R 09F11223", "0:17:55.475 R 09F11223", "00:17:55.47 R 09F11223",
        "00:17:55.475 R 09F11223 00 x", "# comment",
    });
}

// As a gateway sends them, with time of day and direction; as a gateway
// takes them, with neither, which reads back as received.
TEST(RawLineFormat, WritesBothFormsInUpperCaseAndCrLf) {
    const RawLineFormat raw;
    const microseconds since(1700000000123456);  // 22:13:20.123 UTC
    EXPECT_EQ(raw.Format(kEight, Direction::Received, since),
              "22:13:20.123 R 09F11223 00 5C 3D FF 7F FF 7F FC\r\n");
    EXPECT_EQ(raw.Format(Frame(0x1FFFFFFF, {}), Direction::Transmitted, microseconds(0)),
              "00:00:00.000 T 1FFFFFFF\r\n");
    const RawLineFormat toGateway(RawLineFormat::Form::ToGateway);
    const std::string request =
        toGateway.Format(Frame(0x18EAFF23, {0x14, 0xF0, 0x01}), Direction::Transmitted, since);
    EXPECT_EQ(request, "18EAFF23 14 F0 01\r\n");
    EXPECT_EQ(toGateway.Format(Frame(0x3FFFFFFF, {}), Direction::Received, since), "1FFFFFFF\r\n");
    ExpectReads(raw, {{"18EAFF23 14 F0 01\r", Frame(0x18EAFF23, {0x14, 0xF0, 0x01}),
                       Direction::Received, -1}});
}

TEST(CandumpLineFormat, ReadsLogLinesInEitherCase) {
    ExpectReads(CandumpLineFormat(), {
        {"(1700000000.000000) can0 09F11223#005C3DFF7FFF7FFC", kEight, Direction::Received,
         1700000000000000},
        {"(0.000001) vcan12 1FFFFFFF#", Frame(0x1FFFFFFF, {}), Direction::Received, 1},
        {"(1700000000.250000) can0 09f11223#5cff T", Frame(0x09F11223, {0x5C, 0xFF}),
         Direction::Transmitted, 1700000000250000},
        {"(1700000000.250000) any 09F11223#5C R ", Frame(0x09F11223, {0x5C}),
         Direction::Received, 1700000000250000},
    });
}

TEST(CandumpLineFormat, RefusesMalformedAndNonNmeaFrames) {
    ExpectRefuses(CandumpLineFormat(), {
        "", "(1700000000.000000) can0", "(1700000000.000000) can0 09F11223",
        "(1700000000.000000) can0 09F11223#005C3DFF7FFF7FFC01",  // nine bytes
        "(1700000000.000000) can0 20000000#00",                  // error frame flag
        "(1700000000.000000) can0 123#00",                       // standard identifier
        "(1700000000.000000) can0 09F11223#R", "(1700000000.000000) can0 09F11223##100",
        "(1700000000.000000) can0 09F11223#0", "(1700000000.000000) can0 09F11223#0G",
        "(1700000000.000000) can0 09F11223#00 X", "(1700000000.000000) can0 09F11223#00 R x",
        "(1700000000.0000000) can0 09F11223#00", "(1700000000.) can0 09F11223#00",
        "(1700000000.000000 can0 09F11223#00", "(1700000000.000000)can0 09F11223#00",
        "(-1.000000) can0 09F11223#00", "(1234567890123.000000) can0 09F11223#00",
        "09F11223#00",
    });
}

TEST(CandumpLineFormat, WritesTenDigitSecondsAndReadsShorterFractions) {
    const CandumpLineFormat candump;
    EXPECT_EQ(candump.Format(kEight, Direction::Received, microseconds(1700000000000000)),
              "(1700000000.000000) can0 09F11223#005C3DFF7FFF7FFC\n");
    // No direction marker: readers of the plain format refuse it.
    EXPECT_EQ(CandumpLineFormat("my can").Format(Frame(0x1FFFFFFF, {}), Direction::Transmitted,
                                                 microseconds(1500)),
              "(0000000000.001500) my_can 1FFFFFFF#\n");
    // Other encoders stamp milliseconds, or whole seconds.
    EXPECT_EQ(candump.Parse("(1700000000.779) can0 09F11223#00")->time,
              microseconds(1700000000779000));
    EXPECT_EQ(candump.Parse("(1700000000) can0 09F11223#00")->time,
              microseconds(1700000000000000));
}

TEST(LineFormats, FormatParseFormatIsStable) {
    const RawLineFormat raw;
    const RawLineFormat toGateway(RawLineFormat::Form::ToGateway);
    const CandumpLineFormat candump;
    const microseconds since(1700000000123000);
    for (const LineFormat* format : {static_cast<const LineFormat*>(&raw),
                                     static_cast<const LineFormat*>(&toGateway),
                                     static_cast<const LineFormat*>(&candump)}) {
        for (const CanFrame& frame : {kEight, Frame(0x1FFFFFFF, {}), Frame(0, {0xAB})}) {
            for (Direction direction : {Direction::Received, Direction::Transmitted}) {
                const std::string line = format->Format(frame, direction, since);
                const std::string bare = line.substr(0, line.find_first_of("\r\n"));
                const auto parsed = format->Parse(bare);
                ASSERT_TRUE(parsed) << line;
                EXPECT_EQ(parsed->frame, frame);
                if (format == &raw) {
                    EXPECT_EQ(parsed->direction, direction);
                }
                EXPECT_EQ(format->Format(parsed->frame, parsed->direction, since), line);
            }
        }
    }
}

}  // namespace
