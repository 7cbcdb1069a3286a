// Reading and writing the EEPROM image text. The files are edited by hand,
// so the reader is as lenient with numbers as a "%x" scan.
#include "peripherals/eeprom/EepromImageFormat.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

namespace ferrow::peripherals {
namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

// -1 for a byte that is not a hexadecimal digit. A table, since a full
// 64 KB load reads some 70,000 numbers.
constexpr struct HexTable {
    constexpr HexTable() : value() {
        for (int c = 0; c < 256; ++c) {
            value[c] = c >= '0' && c <= '9'   ? c - '0'
                       : c >= 'a' && c <= 'f' ? c - 'a' + 10
                       : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                              : -1;
        }
    }
    signed char value[256];
} kHexTable;

int HexValue(char c) { return kHexTable.value[static_cast<unsigned char>(c)]; }

bool IsWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

struct HexNumber {
    bool negative = false;
    bool beyond32Bits = false;
    uint32_t low32 = 0;
};

// One record's text, read from left to right.
class RecordText {
public:
    explicit RecordText(std::string_view text) : text_(text) {}

    std::optional<HexNumber> ScanHex() {
        size_t p = pos_;
        const size_t n = text_.size();
        while (p < n && IsWhiteSpace(text_[p])) ++p;
        HexNumber number;
        if (p < n && (text_[p] == '+' || text_[p] == '-')) number.negative = text_[p++] == '-';
        if (p + 2 < n && text_[p] == '0' && (text_[p + 1] == 'x' || text_[p + 1] == 'X') &&
            HexValue(text_[p + 2]) >= 0) {
            p += 2;
        }
        if (p >= n || HexValue(text_[p]) < 0) return std::nullopt;
        for (; p < n && HexValue(text_[p]) >= 0; ++p) {
            if (number.low32 >> 28 != 0) number.beyond32Bits = true;
            number.low32 = number.low32 << 4 | static_cast<uint32_t>(HexValue(text_[p]));
        }
        pos_ = p;
        return number;
    }

    // To the next space, then past every space; false when no space is left.
    bool SkipToNextNumber() {
        const size_t space = text_.find(' ', pos_);
        if (space == std::string_view::npos) return false;
        pos_ = std::min(text_.find_first_not_of(' ', space), text_.size());
        return true;
    }

private:
    std::string_view text_;
    size_t pos_ = 0;
};

bool ParseRecord(RecordText line, uint8_t* image, size_t size) {
    const std::optional<HexNumber> address = line.ScanHex();
    if (!address || (address->negative && address->low32 != 0) || address->beyond32Bits ||
        size_t{address->low32} + EepromImageFormat::kBytesPerRecord > size) {
        return false;
    }
    for (size_t i = 0; i < EepromImageFormat::kBytesPerRecord; ++i) {
        if (!line.SkipToNextNumber()) return false;
        const std::optional<HexNumber> number = line.ScanHex();
        if (!number) return false;
        // "%x" stores into 32 bits, of which the image keeps the low byte.
        image[address->low32 + i] =
            static_cast<uint8_t>(number->negative ? 0u - number->low32 : number->low32);
    }
    return true;
}

bool ParseRecords(const uint8_t* file, size_t length, uint8_t* image, size_t size) {
    for (size_t start = 0; start < EepromImageFormat::FileBytes(size);
         start += EepromImageFormat::kRecordBytes) {
        if (start >= length) return false;
        const char* text = reinterpret_cast<const char*>(file) + start;
        const size_t read = std::min(EepromImageFormat::kRecordBytes, length - start);
        const void* zero = std::memchr(text, 0, read);
        const size_t textLength = zero ? static_cast<const char*>(zero) - text : read;
        if (!ParseRecord(RecordText(std::string_view(text, textLength)), image, size)) return false;
    }
    return true;
}

}  // namespace

bool EepromImageFormat::Parse(const uint8_t* file, size_t length, uint8_t* image, size_t size) {
    std::memset(image, 0xFF, size);
    if (ParseRecords(file, length, image, size)) return true;
    std::memset(image, 0xFF, size);
    return false;
}

void EepromImageFormat::AppendRecords(const uint8_t* image, size_t firstRecord, size_t count,
                                      std::string& out) {
    out.reserve(out.size() + count * kRecordBytes);
    for (size_t record = firstRecord; record < firstRecord + count; ++record) {
        const size_t address = record * kBytesPerRecord;
        char text[kRecordBytes];
        for (int digit = 0; digit < 4; ++digit) {
            text[digit] = kHexDigits[address >> (12 - 4 * digit) & 0xF];
        }
        char* p = text + 4;
        for (size_t i = 0; i < kBytesPerRecord; ++i) {
            // Two spaces open each group of four bytes, one separates the rest.
            if (i % 4 == 0) *p++ = ' ';
            *p++ = ' ';
            *p++ = kHexDigits[image[address + i] >> 4];
            *p++ = kHexDigits[image[address + i] & 0xF];
        }
        *p = '\n';
        out.append(text, kRecordBytes);
    }
}

}  // namespace ferrow::peripherals
