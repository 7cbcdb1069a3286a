#include "panels/model/SerialTeletype.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace ferrow::panels {
namespace {

constexpr unsigned char kBell = 7;
constexpr unsigned char kBackspace = 8;
constexpr unsigned char kTab = 9;
constexpr unsigned char kLineFeed = 10;
constexpr unsigned char kCarriageReturn = 13;
constexpr unsigned char kDelete = 127;

void AppendUtf8(std::string& text, uint32_t code) {
    if (code < 0x80) {
        text.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        text.push_back(static_cast<char>(0xC0 | (code >> 6)));
        text.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        text.push_back(static_cast<char>(0xE0 | (code >> 12)));
        text.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
        text.push_back(static_cast<char>(0xF0 | (code >> 18)));
        text.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
        text.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
}

void AppendHex(std::string& text, unsigned byte) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", byte & 0xFF);
    text += digits;
}

}  // namespace

void SerialTeletype::Feed(const unsigned char* bytes, std::size_t count, uint64_t nowMs) {
    if (bytes == nullptr) return;
    now_ = nowMs;
    for (std::size_t i = 0; i < count; ++i) Put(bytes[i]);
}

SerialTeletype::Batch SerialTeletype::Take() {
    Batch batch;
    batch.lines.reserve(backlog_.size());
    std::move(backlog_.begin(), backlog_.end(), std::back_inserter(batch.lines));
    backlog_.clear();
    if (!line_.empty()) batch.pending = Shown();
    batch.dropped = dropped_;
    dropped_ = 0;
    return batch;
}

void SerialTeletype::SetHex(bool on) {
    if (on == hex_) return;
    BreakSequence();
    if (!line_.empty()) {
        EndLine();
    } else {
        column_ = 0;
        lineOpen_ = false;
    }
    hex_ = on;
}

void SerialTeletype::SetTimeStamps(bool on) { timeStamps_ = on; }

void SerialTeletype::Put(unsigned char byte) {
    if (!lineOpen_) {
        lineOpen_ = true;
        lineStart_ = now_;
    }
    if (!hex_) {
        PutText(byte);
        return;
    }
    line_.push_back(byte);
    if (line_.size() == kHexBytesPerLine) EndLine();
}

// The ranges of the second byte rule out overlong forms, surrogates and
// code points past U+10FFFF, so only what a decoder accepts shows as text.
void SerialTeletype::PutText(unsigned char byte) {
    if (missing_ > 0) {
        if (byte >= low_ && byte <= high_) {
            sequence_.push_back(byte);
            low_ = 0x80;
            high_ = 0xBF;
            if (--missing_ == 0) {
                const unsigned lead = sequence_[0];
                Cell code = sequence_.size() == 2 ? lead & 0x1F : sequence_.size() == 3 ? lead & 0x0F : lead & 0x07;
                for (std::size_t i = 1; i < sequence_.size(); ++i) code = (code << 6) | (sequence_[i] & 0x3F);
                sequence_.clear();
                Store(code);
            }
            return;
        }
        BreakSequence();
    }
    if (byte < 0x80) {
        Control(byte);
        return;
    }
    low_ = 0x80;
    high_ = 0xBF;
    if (byte >= 0xC2 && byte <= 0xDF) {
        missing_ = 1;
    } else if (byte >= 0xE0 && byte <= 0xEF) {
        missing_ = 2;
        if (byte == 0xE0) low_ = 0xA0;
        if (byte == 0xED) high_ = 0x9F;
    } else if (byte >= 0xF0 && byte <= 0xF4) {
        missing_ = 3;
        if (byte == 0xF0) low_ = 0x90;
        if (byte == 0xF4) high_ = 0x8F;
    } else {
        Store(kRawByte | byte);
        return;
    }
    sequence_.assign(1, byte);
}

void SerialTeletype::BreakSequence() {
    std::vector<unsigned char> broken;
    broken.swap(sequence_);
    missing_ = 0;
    low_ = 0x80;
    high_ = 0xBF;
    for (unsigned char byte : broken) Store(kRawByte | byte);
}

void SerialTeletype::Control(unsigned char byte) {
    switch (byte) {
    case kLineFeed:
        EndLine();
        return;
    case kCarriageReturn:
        column_ = 0;
        return;
    case kBackspace:
        if (column_ > 0) {
            --column_;
        } else {
            Store(kBell);
        }
        return;
    case kTab: {
        const std::size_t stop = std::min((column_ / kTabColumns + 1) * kTabColumns, kLineColumns);
        if (line_.size() < stop) line_.resize(stop, ' ');
        column_ = stop;
        return;
    }
    default:
        Store(byte);
    }
}

void SerialTeletype::Store(Cell cell) {
    if (column_ == kLineColumns) {
        EndLine();
        lineOpen_ = true;
        lineStart_ = now_;
    }
    if (column_ == line_.size()) {
        line_.push_back(cell);
    } else {
        line_[column_] = cell;
    }
    ++column_;
}

void SerialTeletype::EndLine() {
    if (backlog_.size() == kMaxBacklog) {
        backlog_.pop_front();
        ++dropped_;
    }
    backlog_.push_back(Shown());
    line_.clear();
    column_ = 0;
    lineOpen_ = false;
}

std::string SerialTeletype::Shown() const {
    std::string text;
    if (timeStamps_) {
        char stamp[32];
        std::snprintf(stamp, sizeof stamp, "[%5llu.%03u] ", static_cast<unsigned long long>(lineStart_ / 1000),
                      static_cast<unsigned>(lineStart_ % 1000));
        text = stamp;
    }
    return text + (hex_ ? ShownHex() : ShownText());
}

std::string SerialTeletype::ShownText() const {
    std::string text;
    text.reserve(line_.size());
    for (Cell cell : line_) {
        if (cell & kRawByte) {
            text += "\\x";
            AppendHex(text, cell);
        } else if (cell < 0x20 || cell == kDelete) {
            text.push_back('^');
            text.push_back(static_cast<char>(cell ^ 0x40));
        } else {
            AppendUtf8(text, cell);
        }
    }
    return text;
}

// "48 65 6C 6C 6F 0D 0A 00  01 ...  |Hello...|": the two halves apart, and
// an unfinished line padded so its ASCII lines up with the full ones.
std::string SerialTeletype::ShownHex() const {
    std::string text;
    for (std::size_t i = 0; i < kHexBytesPerLine; ++i) {
        if (i > 0) text += i == kHexBytesPerLine / 2 ? "  " : " ";
        if (i < line_.size()) {
            AppendHex(text, line_[i]);
        } else {
            text += "  ";
        }
    }
    text += "  |";
    for (Cell byte : line_) text.push_back(byte >= 0x20 && byte < kDelete ? static_cast<char>(byte) : '.');
    text.push_back('|');
    return text;
}

}  // namespace ferrow::panels
