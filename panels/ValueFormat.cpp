#include "panels/ValueFormat.h"

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <cwctype>

namespace ferrow::panels {
namespace {

// Beyond any 32-bit value scaled by 1000, and far from overflowing 64 bits.
constexpr long long kDigitLimit = 1000000000000000LL;

template <class T>
std::wstring Printed(const wchar_t* format, T value) {
    wchar_t buffer[64];
    const int n = std::swprintf(buffer, sizeof buffer / sizeof buffer[0], format, value);
    return std::wstring(buffer, n > 0 ? static_cast<size_t>(n) : 0);
}

std::wstring Trimmed(const std::wstring& text) {
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && std::iswspace(text[begin])) ++begin;
    while (end > begin && std::iswspace(text[end - 1])) --end;
    return text.substr(begin, end - begin);
}

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

int HexDigit(wchar_t c) {
    if (IsDigit(c)) return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

bool HasHexPrefix(const std::wstring& text) {
    return text.size() > 2 && text[0] == L'0' && (text[1] == L'x' || text[1] == L'X');
}

// The 32-bit pattern after "0x", as the signed value it was printed from.
bool ParseHex(const std::wstring& text, long long& value) {
    uint64_t pattern = 0;
    for (size_t i = 2; i < text.size(); ++i) {
        const int digit = HexDigit(text[i]);
        if (digit < 0) return false;
        pattern = pattern * 16 + static_cast<uint64_t>(digit);
        if (pattern > UINT32_MAX) return false;
    }
    value = static_cast<int32_t>(static_cast<uint32_t>(pattern));
    return true;
}

// Digits from `pos` on, stopping at the first non-digit; false when the
// number grows beyond kDigitLimit.
bool ParseDigits(const std::wstring& text, size_t& pos, long long& value, size_t& count) {
    value = 0;
    count = 0;
    for (; pos < text.size() && IsDigit(text[pos]); ++pos, ++count) {
        value = value * 10 + (text[pos] - L'0');
        if (value > kDigitLimit) return false;
    }
    return true;
}

// Text in the style of the formats: hexadecimal after "0x", else a signed
// decimal number. With `decimals` above 0 it may carry a fraction and is
// read in units of 10^-decimals, rounded half away from zero at the last
// of them.
bool ParseScaled(const std::wstring& text, int decimals, long long& value) {
    const std::wstring t = Trimmed(text);
    if (HasHexPrefix(t)) return ParseHex(t, value);
    const bool negative = !t.empty() && t[0] == L'-';
    size_t pos = !t.empty() && (t[0] == L'-' || t[0] == L'+') ? 1 : 0;
    long long whole = 0;
    size_t wholeDigits = 0;
    if (!ParseDigits(t, pos, whole, wholeDigits)) return false;
    long long fraction = 0;
    int fractionDigits = 0;
    if (decimals > 0 && pos < t.size() && t[pos] == L'.') {
        for (++pos; pos < t.size() && IsDigit(t[pos]); ++pos, ++fractionDigits) {
            const int digit = t[pos] - L'0';
            if (fractionDigits < decimals) fraction = fraction * 10 + digit;
            if (fractionDigits == decimals && digit >= 5) ++fraction;
        }
    }
    if (wholeDigits + fractionDigits == 0 || pos != t.size()) return false;
    for (int d = 0; d < decimals; ++d) {
        whole *= 10;
        if (d >= fractionDigits) fraction *= 10;
    }
    value = negative ? -(whole + fraction) : whole + fraction;
    return true;
}

}  // namespace

std::wstring ValueFormat::Format(int value, bool hex) {
    return hex ? Printed(L"0x%X", static_cast<unsigned>(value)) : Printed(L"%d", value);
}

std::wstring ValueFormat::FormatUnsigned(int value, bool hex) {
    return hex ? Format(value, true) : Printed(L"%u", static_cast<unsigned>(value));
}

std::wstring ValueFormat::FormatThousandths(int value, bool hex) {
    return hex ? Format(value, true) : Printed(L"%f", static_cast<uint32_t>(value) / 1000.0);
}

bool ValueFormat::Parse(const std::wstring& text, long long& value) {
    return ParseScaled(text, 0, value);
}

bool ValueFormat::ParseThousandths(const std::wstring& text, long long& value) {
    long long read = 0;
    if (!ParseScaled(text, 3, read)) return false;
    // Written unsigned: past the signed range it is the pattern of a negative.
    const bool pattern = read > INT32_MAX && read <= UINT32_MAX;
    value = pattern ? static_cast<int32_t>(static_cast<uint32_t>(read)) : read;
    return true;
}

void ValueFormat::CopyInto(const std::wstring& text, wchar_t* buffer, int size) {
    if (buffer == nullptr || size < 1) return;
    const size_t units = std::min(text.size(), static_cast<size_t>(size) - 1);
    text.copy(buffer, units);
    buffer[units] = 0;
}

}  // namespace ferrow::panels
