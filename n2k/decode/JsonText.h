// JSON text written the way JavaScript's JSON.stringify writes it, so that
// our output compares as text with the canboat tools': numbers in their
// shortest round-trip form, strings escaped alike, and the two byte-string
// decodings those tools apply to message text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ferrow::n2k::json_text {

// A finite number as JSON.stringify prints it ("0.1", "1e+21", "1.5e-7").
void AppendNumber(std::string& out, double value);
// `text` (UTF-8) as a quoted JSON string.
void AppendString(std::string& out, const char* text, std::size_t size);
inline void AppendString(std::string& out, const std::string& text) {
    AppendString(out, text.data(), text.size());
}

// Bytes read as UTF-8, each malformed sequence replaced by U+FFFD.
std::string FromUtf8(const uint8_t* bytes, std::size_t size);
// Bytes read as 7-bit ASCII: the top bit of each is dropped.
std::string FromAscii(const uint8_t* bytes, std::size_t size);
// Unicode white space taken off both ends, as String.prototype.trim does.
std::string Trim(const std::string& text);

// Two lower-case hex digits a byte, separated by single spaces.
std::string HexBytes(const uint8_t* bytes, std::size_t size);

}  // namespace ferrow::n2k::json_text
