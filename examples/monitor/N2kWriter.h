// Builds a message payload field by field, little-endian as NMEA 2000 sends
// it. Bytes past the record's data field are dropped, never written.
#pragma once

#include <ferrow/N2KMsg.h>

#include <cstddef>
#include <cstdint>

namespace monitor {

class N2kWriter {
public:
    // Starts an empty payload in `msg`.
    explicit N2kWriter(N2KMsg& msg) : msg_(msg) { msg_.length = 0; }

    void U8(uint32_t value) {
        if (msg_.length < N2KMsg::kMaxData) msg_.data[msg_.length++] = static_cast<uint8_t>(value);
    }
    void U16(uint32_t value) {
        U8(value);
        U8(value >> 8);
    }
    void U24(uint32_t value) {
        U16(value);
        U8(value >> 16);
    }
    void U32(uint32_t value) {
        U16(value);
        U16(value >> 16);
    }
    void U64(uint64_t value) {
        U32(static_cast<uint32_t>(value));
        U32(static_cast<uint32_t>(value >> 32));
    }
    void Repeat(uint8_t value, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) U8(value);
    }
    // A fixed-width text field: the text, cut to `width`, padded with 0xFF.
    void Text(const char* text, std::size_t width) {
        std::size_t i = 0;
        for (; i < width && text[i] != '\0'; ++i) U8(static_cast<unsigned char>(text[i]));
        Repeat(0xFF, width - i);
    }

private:
    N2KMsg& msg_;
};

}  // namespace monitor
