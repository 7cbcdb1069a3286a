// The text form of an EEPROM image: one 57-byte record per 16 image bytes,
// "AAAA  DD DD DD DD  DD DD DD DD  DD DD DD DD  DD DD DD DD\n", so that the
// file can be read and edited by hand and rewritten one record at a time.
// Pure functions over bytes; the file itself is EEPROM_MSVC_c's business.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ferrow::peripherals {

class EepromImageFormat {
public:
    static constexpr size_t kRecordBytes = 57;
    static constexpr size_t kBytesPerRecord = 16;

    static constexpr size_t FileBytes(size_t imageSize) {
        return imageSize / kBytesPerRecord * kRecordBytes;
    }

    // Fills `image` (`size` bytes, a multiple of 16) from a file's bytes and
    // tells whether the file was whole. Records are taken 57 bytes at a time
    // (the last one may be short; a zero byte ends a record's text), in any
    // order: each record's first number, leading white space skipped, says
    // where its 16 bytes go. Numbers are read as "%x" reads them (sign and 0x
    // allowed) and must begin with a hexadecimal digit after those; between
    // two of them come a space-delimited gap of one or more spaces, possibly
    // after unparsed text; whatever follows the 16th is ignored. The image
    // is erased (0xFF) first, so bytes no record gives keep the erased value,
    // and erased again when the file is damaged.
    static bool Parse(const uint8_t* file, size_t length, uint8_t* image, size_t size);

    // Records firstRecord .. firstRecord + count - 1 of `image`, appended to `out`.
    static void AppendRecords(const uint8_t* image, size_t firstRecord, size_t count,
                              std::string& out);
};

}  // namespace ferrow::peripherals
