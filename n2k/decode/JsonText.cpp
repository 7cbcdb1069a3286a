#include "n2k/decode/JsonText.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace ferrow::n2k::json_text {

void AppendNumber(std::string& out, double value) {
    if (!std::isfinite(value)) {
        out += "null";
        return;
    }
    char text[40];
    if (value == std::trunc(value) && std::fabs(value) < 1e15) {
        const auto end = std::to_chars(text, text + sizeof text, static_cast<int64_t>(value)).ptr;
        out.append(text, end);
        return;
    }
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific).ptr;
    // "-d.ddde+XX": the digits and the decimal exponent of the first one.
    const char* p = text;
    if (*p == '-') {
        out += '-';
        ++p;
    }
    char digits[24];
    int k = 0;
    for (; *p != 'e'; ++p) {
        if (*p != '.') digits[k++] = *p;
    }
    int exponent = 0;
    std::from_chars(p + (p[1] == '+' ? 2 : 1), end, exponent);
    const int n = exponent + 1;  // the value is 0.digits x 10^n
    if (k <= n && n <= 21) {
        out.append(digits, static_cast<std::size_t>(k));
        out.append(static_cast<std::size_t>(n - k), '0');
    } else if (0 < n && n <= 21) {
        out.append(digits, static_cast<std::size_t>(n));
        out += '.';
        out.append(digits + n, static_cast<std::size_t>(k - n));
    } else if (-6 < n && n <= 0) {
        out += "0.";
        out.append(static_cast<std::size_t>(-n), '0');
        out.append(digits, static_cast<std::size_t>(k));
    } else {
        out += digits[0];
        if (k > 1) {
            out += '.';
            out.append(digits + 1, static_cast<std::size_t>(k - 1));
        }
        out += 'e';
        out += n - 1 >= 0 ? '+' : '-';
        const auto e = std::to_chars(text, text + sizeof text, std::abs(n - 1)).ptr;
        out.append(text, e);
    }
}

void AppendString(std::string& out, const char* text, std::size_t size) {
    static const char kHex[] = "0123456789abcdef";
    out += '"';
    for (std::size_t i = 0; i < size; ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\b': out += "\\b"; break;
            case '\f': out += "\\f"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (c < 0x20) {
                    out += "\\u00";
                    out += kHex[c >> 4];
                    out += kHex[c & 15];
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    out += '"';
}

namespace {

bool Continuation(uint8_t b) { return (b & 0xC0) == 0x80; }

// Length of the well-formed sequence at `s`, or 0 with `consumed` the length
// of its longest valid beginning (at least 1), which one U+FFFD replaces.
std::size_t Sequence(const uint8_t* s, std::size_t left, std::size_t& consumed) {
    const uint8_t lead = s[0];
    consumed = 1;
    if (lead < 0x80) return 1;
    std::size_t need = 0;
    uint8_t low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        need = 1;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        need = 2;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        need = 3;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    for (std::size_t i = 1; i <= need; ++i) {
        if (i >= left) return 0;
        const uint8_t b = s[i];
        if (i == 1 ? (b < low || b > high) : !Continuation(b)) return 0;
        consumed = i + 1;
    }
    return need + 1;
}

bool IsSpace(uint32_t cp) {
    return (cp >= 0x09 && cp <= 0x0D) || cp == 0x20 || cp == 0xA0 || cp == 0x1680 ||
           (cp >= 0x2000 && cp <= 0x200A) || cp == 0x2028 || cp == 0x2029 || cp == 0x202F ||
           cp == 0x205F || cp == 0x3000 || cp == 0xFEFF;
}

// The code point of the well-formed UTF-8 sequence at `s` and its length.
uint32_t Decode(const std::string& s, std::size_t at, std::size_t& length) {
    const auto b = [&](std::size_t i) { return static_cast<uint8_t>(s[at + i]); };
    const uint8_t lead = b(0);
    if (lead < 0x80) {
        length = 1;
        return lead;
    }
    if (lead < 0xE0) {
        length = 2;
        return (lead & 0x1Fu) << 6 | (b(1) & 0x3Fu);
    }
    if (lead < 0xF0) {
        length = 3;
        return (lead & 0x0Fu) << 12 | (b(1) & 0x3Fu) << 6 | (b(2) & 0x3Fu);
    }
    length = 4;
    return (lead & 0x07u) << 18 | (b(1) & 0x3Fu) << 12 | (b(2) & 0x3Fu) << 6 | (b(3) & 0x3Fu);
}

}  // namespace

std::string FromUtf8(const uint8_t* bytes, std::size_t size) {
    std::string out;
    out.reserve(size);
    std::size_t i = 0;
    while (i < size) {
        std::size_t consumed = 1;
        const std::size_t length = Sequence(bytes + i, size - i, consumed);
        if (length == 0) {
            out += "\xEF\xBF\xBD";
            i += consumed;
        } else {
            out.append(reinterpret_cast<const char*>(bytes + i), length);
            i += length;
        }
    }
    return out;
}

std::string FromAscii(const uint8_t* bytes, std::size_t size) {
    std::string out(size, '\0');
    for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<char>(bytes[i] & 0x7F);
    return out;
}

std::string Trim(const std::string& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end) {
        std::size_t length = 1;
        if (!IsSpace(Decode(text, begin, length))) break;
        begin += length;
    }
    while (end > begin) {
        std::size_t start = end - 1;
        while (start > begin && (static_cast<uint8_t>(text[start]) & 0xC0) == 0x80) --start;
        std::size_t length = 1;
        if (!IsSpace(Decode(text, start, length))) break;
        end = start;
    }
    return text.substr(begin, end - begin);
}

std::string HexBytes(const uint8_t* bytes, std::size_t size) {
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(size * 3);
    for (std::size_t i = 0; i < size; ++i) {
        if (i) out += ' ';
        out += kHex[bytes[i] >> 4];
        out += kHex[bytes[i] & 15];
    }
    return out;
}

}  // namespace ferrow::n2k::json_text
