#include "n2k/decode/FieldReader.h"

#include "n2k/decode/JsonText.h"
#include "platform/CivilTime.h"
#include "platform/ProcessClock.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace ferrow::n2k {
namespace {

using json_text::AppendNumber;
using json_text::AppendString;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// Bits of the payload, least significant first within each byte.
class BitReader {
public:
    BitReader(const uint8_t* data, std::size_t bytes) : data_(data), size_(bytes * 8) {}

    std::size_t Left() const { return size_ - at_; }
    std::size_t At() const { return at_; }
    const uint8_t* Data() const { return data_; }
    void Skip(std::size_t bits) { at_ += bits < Left() ? bits : Left(); }

    // Up to 64 bits; past the end of the data they read as zeros.
    uint64_t Read(unsigned bits) {
        uint64_t value = 0;
        unsigned got = 0;
        while (got < bits && at_ < size_) {
            const unsigned offset = at_ & 7;
            const unsigned take = std::min(bits - got, 8 - offset);
            const uint64_t chunk = (data_[at_ >> 3] >> offset) & ((1u << take) - 1);
            value |= chunk << got;
            got += take;
            at_ += take;
        }
        return value;
    }

private:
    const uint8_t* data_;
    std::size_t size_;
    std::size_t at_ = 0;
};

int64_t SignExtend(uint64_t raw, unsigned bits) {
    if (bits >= 64) return static_cast<int64_t>(raw);
    const uint64_t sign = uint64_t{1} << (bits - 1);
    return static_cast<int64_t>((raw ^ sign) - sign);
}

uint64_t AllOnes(unsigned bits) { return bits >= 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1; }

// A field's value on its way out: left out, a number, or JSON text.
struct Value {
    enum Kind { Absent, Number, Text, Shared } kind = Absent;
    double number = 0;
    std::string text;
    const std::string* shared = nullptr;  // text the database keeps

    static Value Ref(const std::string& t) {
        Value value;
        value.kind = Shared;
        value.shared = &t;
        return value;
    }

    static Value Num(double v) {
        Value value;
        value.kind = std::isfinite(v) ? Number : Absent;
        value.number = v;
        return value;
    }
    static Value Json(std::string t) {
        Value value;
        value.kind = Text;
        value.text = std::move(t);
        return value;
    }
    static Value String(const std::string& s) {
        std::string t;
        AppendString(t, s);
        return Json(std::move(t));
    }
};

// Members of one JSON object in first-set order; setting a key again
// replaces the value in place, as a JavaScript object does. Keys are JSON
// strings that outlive it.
class Members {
public:
    void Set(const std::string& key, const Value& value) {
        if (value.kind == Value::Absent) return;
        for (Entry& entry : entries_) {
            if (entry.key != &key && *entry.key != key) continue;
            std::string text;
            AppendValue(text, value);
            const std::ptrdiff_t shift = static_cast<std::ptrdiff_t>(text.size()) -
                                         static_cast<std::ptrdiff_t>(entry.end - entry.start);
            body_.replace(entry.start, entry.end - entry.start, text);
            for (Entry& later : entries_) {
                if (later.start > entry.start) {
                    later.start += shift;
                    later.end += shift;
                }
            }
            entry.end = entry.start + text.size();
            return;
        }
        if (!entries_.empty()) body_ += ',';
        body_ += key;
        body_ += ':';
        const std::size_t start = body_.size();
        AppendValue(body_, value);
        entries_.push_back({&key, start, body_.size()});
    }
    bool Empty() const { return entries_.empty(); }
    void Clear() {
        body_.clear();
        entries_.clear();
    }
    void AppendTo(std::string& out) const {
        out += '{';
        out += body_;
        out += '}';
    }

private:
    struct Entry {
        const std::string* key;
        std::size_t start;
        std::size_t end;
    };

    static void AppendValue(std::string& out, const Value& value) {
        if (value.kind == Value::Number) {
            AppendNumber(out, value.number);
        } else if (value.kind == Value::Shared) {
            out += *value.shared;
        } else {
            out += value.text;
        }
    }

    std::string body_;
    std::vector<Entry> entries_;
};

const std::string kListKey = "\"list\"";
const std::string kList2Key = "\"list2\"";
const std::string kDataKey = "\"data\"";
const std::string kParameterIdKey = "\"parameterId\"";

// Rounds to `decimals` places, halves away from zero, from the exact value of
// the double as JavaScript's toFixed does.
double RoundExactly(double scaled, int decimals) {
    char exact[400];
    std::snprintf(exact, sizeof exact, "%.60f", std::fabs(scaled));
    std::string digits(exact);
    const std::size_t point = digits.find('.');
    const bool up = digits[point + 1 + decimals] >= '5';
    digits.resize(point + 1 + decimals);
    if (up) {
        std::size_t i = digits.size();
        while (i-- > 0) {
            if (digits[i] == '.') continue;
            if (digits[i] != '9') {
                ++digits[i];
                break;
            }
            digits[i] = '0';
            if (i == 0) digits.insert(digits.begin(), '1');
        }
    }
    const double rounded = std::strtod(digits.c_str(), nullptr);
    return scaled < 0 ? -rounded : rounded;
}

// Rounded to `decimals` places as toFixed rounds, quickly where it can be.
double RoundTo(double scaled, int decimals) {
    static constexpr double kPow10[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (!std::isfinite(scaled) || std::fabs(scaled) >= 1e21) return scaled;
    if (decimals == 0) return std::round(scaled);
    // Small enough that the product's error cannot move a half across.
    if (decimals < 16) {
        const double m = std::fabs(scaled) * kPow10[decimals];
        const double whole = std::floor(m);
        const double fraction = m - whole;
        if (m < 1e8 && std::fabs(fraction - 0.5) > 1e-7) {
            const double rounded = (fraction < 0.5 ? whole : whole + 1) / kPow10[decimals];
            return scaled < 0 ? -rounded : rounded;
        }
    }
    // A double whose shortest form has no more decimals is already there.
    char shortest[400];
    const auto end = std::to_chars(shortest, shortest + sizeof shortest, scaled,
                                   std::chars_format::fixed).ptr;
    const char* point = std::find(shortest, end, '.');
    if (end - point - 1 <= decimals) return scaled;
    return RoundExactly(scaled, decimals);
}

// The value scaled by the field's resolution and rounded to its decimals, so
// that 0.01 * 1234 prints as 12.34.
double Scale(double value, double resolution) {
    int decimals = 0;
    for (double r = resolution; r > 0.0 && r < 1.0; r *= 10.0) ++decimals;
    return RoundTo(value * resolution, decimals);
}

std::string TwoDigits(double v) {
    std::string s;
    AppendNumber(s, v);
    return s.size() == 1 ? "0" + s : s;
}

// Whole seconds first, so that a fraction of a day before the epoch still
// names the day it falls in. The clamp keeps a signed field's extremes from
// overflowing.
std::string DateText(double days) {
    const auto seconds = static_cast<int64_t>(std::clamp(days, -1e12, 1e12) * 86400);
    const platform::CivilDate date = platform::CivilFromSeconds(seconds).date;
    std::string year;
    AppendNumber(year, static_cast<double>(date.year));
    return year + "." + TwoDigits(date.month) + "." + TwoDigits(date.day);
}

// Hours may pass 24: a duration is not a time of day.
std::string TimeText(double raw, double resolution) {
    double seconds = raw * resolution;
    double minutes = seconds / 60;
    seconds = std::fmod(seconds, 60);
    const double hours = std::floor(minutes / 60);
    minutes = std::floor(std::fmod(minutes, 60));
    std::string text =
        TwoDigits(hours) + ":" + TwoDigits(minutes) + ":" + TwoDigits(std::floor(seconds));
    const double fraction = std::fmod(seconds, 1);
    if (fraction > 0) {
        const long digits = std::lround(RoundTo(fraction, 5) * 1e5);
        char part[16];
        // 0.999996 rounds up to "1.00000", whose fraction shows.
        std::snprintf(part, sizeof part, ".%05ld", digits % 100000);
        text += part;
    }
    return text;
}

bool IsMax(uint64_t raw, unsigned bits, bool isSigned) {
    return raw == (isSigned ? AllOnes(bits - 1) : AllOnes(bits));
}

// What the decoder knows of the fields read so far.
struct Context {
    const PgnDatabase& db;
    const PgnDef* def;
    std::vector<double>& numbers;  // each top-level field's value, NaN if none
    double targetPgn = kNone;
    Members* group = nullptr;     // the repeating group being read
    const FieldDef* keyField = nullptr;  // the key last read, and its value
    double key = kNone;
    double length = kNone;  // the keyed value's length in bytes, last read
};

Value ReadField(Context& ctx, const FieldDef& field, BitReader& in, bool resolveLookup);

Value LookupName(const FieldDef& field, double value, uint64_t raw) {
    if (field.isTimeStamp && value < 60) {
        std::string text;
        AppendNumber(text, value);
        return Value::String(text);
    }
    if (field.lookup) {
        auto it = field.lookup->quoted.find(static_cast<int64_t>(value));
        if (it != field.lookup->quoted.end()) return Value::Ref(it->second);
        if (field.bits > 1 && IsMax(raw, field.bits, field.isSigned)) return Value();
    } else if (field.keyed) {
        auto it = field.keyed->find(static_cast<int64_t>(value));
        if (it != field.keyed->end()) return Value::String(it->second.name);
    }
    return Value::Num(value);
}

// A number's raw bits, or false where they say "not available".
bool ReadRaw(const FieldDef& field, unsigned bits, BitReader& in, uint64_t& raw, double& value) {
    raw = in.Read(bits);
    const bool isSigned = field.isSigned;
    switch (bits) {
        case 8:
        case 16:
        case 24:
        case 32:
            if (IsMax(raw, bits, isSigned)) return false;
            value = isSigned ? static_cast<double>(SignExtend(raw, bits))
                             : static_cast<double>(raw);
            return true;
        case 48:
            if (IsMax(raw, bits, isSigned)) return false;
            value = static_cast<double>(raw);
            return true;
        case 64: {
            const uint32_t low = static_cast<uint32_t>(raw);
            const uint32_t high = static_cast<uint32_t>(raw >> 32);
            if ((low >= 0xFFFFFFFE) && high == (isSigned ? 0x7FFFFFFFu : 0xFFFFFFFFu)) return false;
            value = isSigned ? static_cast<double>(static_cast<int64_t>(raw))
                             : static_cast<double>(raw);
            return true;
        }
        default:
            value = isSigned ? static_cast<double>(SignExtend(raw, bits))
                             : static_cast<double>(raw);
            if (field.kind != FieldKind::Lookup && bits > 1 && IsMax(raw, bits, isSigned)) {
                // A field whose range uses every value has none left for
                // "not available".
                const bool fullRange = field.hasRange && field.hasResolution &&
                                       field.rangeMax / field.resolution >=
                                           static_cast<double>(AllOnes(bits));
                if (!fullRange) return false;
            }
            return true;
    }
}

Value ReadStringLau(const FieldDef& field, BitReader& in) {
    if (in.Left() < 16) return Value();
    const int length = static_cast<int>(in.Read(8)) - 2;
    const unsigned control = static_cast<unsigned>(in.Read(8));
    int shown = length;
    if (field.name == "AtoN Name" && length > 20) {
        shown = 20;
    } else if (length <= 0) {
        return Value();
    }
    std::vector<uint8_t> bytes(static_cast<std::size_t>(length), 0);
    int got = 0;
    for (; got < length && in.Left() >= 8; ++got) bytes[got] = static_cast<uint8_t>(in.Read(8));
    if (bytes.back() == 0) --shown;
    const std::size_t count = static_cast<std::size_t>(std::max(0, std::min(got, shown)));
    // Control 0 is taken as UTF-8, as the canboat tools take it.
    const std::string text = control == 0 ? json_text::FromUtf8(bytes.data(), count)
                                          : json_text::FromAscii(bytes.data(), count);
    return Value::String(json_text::Trim(text));
}

Value ReadStringLz(BitReader& in) {
    if (in.Left() < 8) return Value();
    const auto length = static_cast<std::size_t>(in.Read(8));
    std::vector<uint8_t> bytes;
    while (bytes.size() < length && in.Left() >= 8) bytes.push_back(static_cast<uint8_t>(in.Read(8)));
    return Value::String(json_text::FromUtf8(bytes.data(), bytes.size()));
}

Value ReadStringFix(const FieldDef& field, BitReader& in) {
    std::size_t length = field.bits / 8;
    std::vector<uint8_t> bytes(length, 0);
    for (std::size_t i = 0; i < length && in.Left() >= 8; ++i) bytes[i] = static_cast<uint8_t>(in.Read(8));
    // Padding: 0xFF, spaces, NULs or '@'.
    while (length > 0) {
        const uint8_t last = bytes[length - 1];
        if (last != 0xFF && last != ' ' && last != 0 && last != '@') break;
        --length;
    }
    std::size_t end = 0;
    while (end < length && bytes[end] != 0) ++end;
    if (end == 0) return Value();
    return Value::String(json_text::FromAscii(bytes.data(), end));
}

Value ReadBitLookup(const FieldDef& field, BitReader& in) {
    std::string text = "[";
    bool first = true;
    for (unsigned bit = 0; bit < field.bits && in.Left() > 0; ++bit) {
        if (!in.Read(1)) continue;
        if (!first) text += ',';
        first = false;
        const std::string* name = nullptr;
        if (field.lookup) {
            auto it = field.lookup->quoted.find(bit);
            if (it != field.lookup->quoted.end()) name = &it->second;
        }
        if (name) {
            text += *name;
        } else {
            text += "null";
        }
    }
    text += ']';
    return Value::Json(std::move(text));
}

// A value whose type is that of the field of the commanded PGN named by the
// parameter index just before it.
Value ReadVariable(Context& ctx, BitReader& in) {
    if (in.At() < 8 || in.At() % 8 != 0 || !std::isfinite(ctx.targetPgn)) return Value();
    const uint8_t parameter = in.Data()[in.At() / 8 - 1];
    const FieldDef* target = ctx.db.FieldOf(static_cast<uint32_t>(ctx.targetPgn), parameter);
    if (!target || target->kind == FieldKind::Variable) return Value();
    Value value = ReadField(ctx, *target, in, true);
    if (target->bits % 8 != 0) in.Skip(8 - target->bits % 8);
    if (ctx.group) ctx.group->Set(kParameterIdKey, Value::String(target->id));
    return value;
}

// The bits of a keyed value: those its key, read last, gives its type.
// The message's own length in bytes, read last, wins over the key's.
unsigned KeyedBits(const Context& ctx, double& resolution) {
    unsigned bits = 0;
    if (ctx.keyField && std::isfinite(ctx.key)) {
        auto it = ctx.keyField->keyed->find(static_cast<int64_t>(ctx.key));
        if (it != ctx.keyField->keyed->end()) {
            resolution = it->second.resolution;
            bits = it->second.bits;
        }
    }
    if (std::isfinite(ctx.length) && ctx.length > 0 && ctx.length <= 8) {
        bits = static_cast<unsigned>(ctx.length) * 8;
    }
    return bits;
}

Value ReadField(Context& ctx, const FieldDef& field, BitReader& in, bool resolveLookup) {
    switch (field.kind) {
        case FieldKind::StringLau: return ReadStringLau(field, in);
        case FieldKind::StringLz: return ReadStringLz(in);
        case FieldKind::StringFix: return ReadStringFix(field, in);
        case FieldKind::BitLookup: return ReadBitLookup(field, in);
        case FieldKind::Variable: return ReadVariable(ctx, in);
        default: break;
    }
    unsigned bits = field.bits;
    double resolution = field.resolution;
    bool hasResolution = field.hasResolution;
    if (field.variable) {
        if (field.kind == FieldKind::DynamicValue) {
            bits = KeyedBits(ctx, resolution);
            hasResolution = true;
        } else if (field.lengthField > 0 &&
                   static_cast<std::size_t>(field.lengthField) <= ctx.numbers.size() &&
                   std::isfinite(ctx.numbers[field.lengthField - 1])) {
            const double bytes = ctx.numbers[field.lengthField - 1];
            bits = bytes > 0 && bytes < 4096 ? static_cast<unsigned>(bytes) * 8 : 0;
        } else if (field.kind == FieldKind::Binary) {
            bits = static_cast<unsigned>(in.Left());
        }
        if (bits == 0) return Value();
    }
    const bool hexData = field.kind == FieldKind::Binary && (ctx.def->fallback || bits > 64);
    if (!hexData && in.Left() < bits) {
        in.Skip(in.Left());
        return Value();
    }
    if (hexData) {
        const std::size_t take = std::min<std::size_t>(bits, in.Left()) / 8;
        if (take == 0) return Value();
        const std::size_t from = in.At() / 8;
        std::string hex;
        if (in.At() % 8 == 0) {
            hex = json_text::HexBytes(in.Data() + from, take);
            in.Skip(take * 8);
        } else {
            std::vector<uint8_t> bytes(take);
            for (auto& b : bytes) b = static_cast<uint8_t>(in.Read(8));
            hex = json_text::HexBytes(bytes.data(), bytes.size());
        }
        return Value::String(hex);
    }
    if (bits == 0 || bits > 64) return Value();
    if (field.kind == FieldKind::Float && bits == 32) {
        const auto raw = static_cast<uint32_t>(in.Read(32));
        float f;
        std::memcpy(&f, &raw, sizeof f);
        return Value::Num(static_cast<double>(f));
    }

    uint64_t raw = 0;
    double value = 0;
    if (!ReadRaw(field, bits, in, raw, value)) return Value();

    switch (field.kind) {
        case FieldKind::Date:
            if (value >= 0xFFFD) return Value();
            return Value::String(DateText(value));
        case FieldKind::Time:
        case FieldKind::Duration:
            if (value >= 4294967293.0) return Value();
            return Value::String(TimeText(value, resolution));
        default: break;
    }
    value += field.offset;
    const bool rangeChecked = field.kind != FieldKind::Lookup &&
                              field.kind != FieldKind::DynamicKey && field.kind != FieldKind::Pgn;
    if (rangeChecked && field.hasRange && hasResolution && bits > 1 &&
        value > field.rangeMax / resolution) {
        return Value();
    }
    if (hasResolution) value = Scale(value, resolution);
    if (field.kind == FieldKind::DynamicKey && field.keyed) {
        ctx.keyField = &field;
        ctx.key = value;
        ctx.length = kNone;
    } else if (field.kind == FieldKind::DynamicLength) {
        ctx.length = value;
    }
    if ((field.kind == FieldKind::Lookup || field.kind == FieldKind::DynamicKey) && resolveLookup) {
        return LookupName(field, value, raw);
    }
    return Value::Num(value * field.unitFactor);
}

unsigned RepeatCount(const Context& ctx, unsigned countField) {
    if (countField == 0) return 2048;
    if (countField > ctx.numbers.size()) return 0;
    const double count = ctx.numbers[countField - 1];
    return std::isfinite(count) && count > 0 ? static_cast<unsigned>(std::min(count, 2048.0)) : 0;
}

void ReadRepeats(Context& ctx, BitReader& in, unsigned first, unsigned size, unsigned countField,
                 const std::string& key, Members& fields) {
    std::string list = "[";
    bool any = false;
    unsigned count = RepeatCount(ctx, countField);
    while (in.Left() > 0 && count-- > 0) {
        Members group;
        ctx.group = &group;
        for (unsigned i = 0; i < size && in.Left() > 0; ++i) {
            const FieldDef& field = ctx.def->fields[first - 1 + i];
            group.Set(field.key, ReadField(ctx, field, in, true));
        }
        ctx.group = nullptr;
        if (group.Empty()) continue;
        if (any) list += ',';
        any = true;
        group.AppendTo(list);
    }
    list += ']';
    fields.Set(key, Value::Json(std::move(list)));
}

bool NumberOf(const Value& value, double& out) {
    if (value.kind != Value::Number) return false;
    out = value.number;
    return true;
}

// Reads the fixed fields of `defs` (several definitions of one PGN told
// apart by their match fields) and its repeating sets. False when no
// definition matches.
bool ReadFields(Context& ctx, const std::vector<const PgnDef*>& all, BitReader& in,
                Members& fields) {
    // Narrowed only when a match field is met, which most PGNs lack.
    std::vector<const PgnDef*> narrowed;
    const std::vector<const PgnDef*>* candidates = &all;
    for (std::size_t i = 0;; ++i) {
        const PgnDef& def = *ctx.def;
        const std::size_t fixed = def.fields.size() - def.repeat1Size - def.repeat2Size;
        if (i >= fixed) break;
        const FieldDef& field = def.fields[i];
        if (ctx.numbers.size() < def.fields.size()) ctx.numbers.resize(def.fields.size(), kNone);
        if (field.onlyForProprietary && std::isfinite(ctx.targetPgn) &&
            !IsProprietaryPgn(static_cast<uint32_t>(ctx.targetPgn))) {
            continue;
        }
        Value value = ReadField(ctx, field, in, !field.hasMatch);
        double number = kNone;
        NumberOf(value, number);
        if (field.hasMatch) {
            if (!std::isfinite(number) && field.bits == 8 && field.match == 255) number = 255;
            std::vector<const PgnDef*> kept;
            for (const PgnDef* c : *candidates) {
                if (c->fields.size() <= i) continue;
                const FieldDef& other = c->fields[i];
                if (!other.hasMatch || (std::isfinite(number) && other.match == number)) {
                    kept.push_back(c);
                }
            }
            if (kept.empty()) return false;
            narrowed = std::move(kept);
            candidates = &narrowed;
            ctx.def = narrowed.front();
            // The definition's own words for the value it matched; a field
            // the chosen definition leaves open shows what it holds.
            const FieldDef& matched = ctx.def->fields[i];
            if (!matched.hasMatch) {
                value = std::isfinite(number) ? LookupName(matched, number, AllOnes(1))
                                              : Value();
            } else if (matched.description.empty()) {
                value = Value::Num(static_cast<double>(matched.match));
            } else {
                value = Value::String(matched.description);
            }
        }
        ctx.numbers[i] = number;
        fields.Set(field.key, value);
        if (field.kind == FieldKind::Pgn && std::isfinite(number)) ctx.targetPgn = number;
    }
    const PgnDef& def = *ctx.def;
    if (def.repeat1Size > 0) {
        ReadRepeats(ctx, in, def.repeat1Start, def.repeat1Size, def.repeat1Count, kListKey, fields);
    }
    if (def.repeat2Size > 0) {
        ReadRepeats(ctx, in, def.repeat2Start, def.repeat2Size, def.repeat2Count, kList2Key, fields);
    }
    return true;
}

// Wall-clock milliseconds at which the process clock read zero.
int64_t ClockOrigin() {
    static const int64_t origin = [] {
        using namespace std::chrono;
        const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch());
        return static_cast<int64_t>(now.count()) -
               static_cast<int64_t>(platform::ProcessClock::WallMs64());
    }();
    return origin;
}

void AppendTimestamp(std::string& out, uint32_t stamp) {
    const int64_t ms = ClockOrigin() + int64_t{stamp} * 10;
    // Messages come in bursts within one second: its text is kept.
    thread_local int64_t second = -1;
    thread_local char text[64];
    if (ms / 1000 != second) {
        second = ms / 1000;
        const platform::CivilTime at = platform::CivilFromSeconds(second);
        std::snprintf(text, sizeof text, "\"%04d-%02d-%02dT%02d:%02d:%02d.",
                      static_cast<int>(at.date.year), at.date.month, at.date.day, at.hour,
                      at.minute, at.second);
    }
    out += text;
    const int milli = static_cast<int>(ms % 1000);
    out += static_cast<char>('0' + milli / 100);
    out += static_cast<char>('0' + milli / 10 % 10);
    out += static_cast<char>('0' + milli % 10);
    out += "Z\"";
}

}  // namespace

void DecodeMessage(const PgnDatabase& db, const N2KMsg& msg, std::string& out) {
    const std::size_t length = std::min<std::size_t>(msg.length, N2KMsg::kMaxData);
    thread_local Members fields;
    thread_local std::vector<double> numbers;
    fields.Clear();
    const PgnDef* shown = nullptr;

    if (const auto* defs = db.Find(msg.pgn); defs && !defs->empty()) {
        // Several definitions: start from one that has match fields.
        const PgnDef* start = defs->front();
        for (const PgnDef* def : *defs) {
            if (def->hasMatch) {
                start = def;
                break;
            }
        }
        numbers.clear();
        Context ctx{db, start, numbers};
        BitReader in(msg.data, length);
        if (ReadFields(ctx, *defs, in, fields)) shown = ctx.def;
    }
    if (!shown) {
        fields.Clear();
        if (const PgnDef* fallback = db.FallbackFor(msg.pgn)) {
            numbers.clear();
            Context ctx{db, fallback, numbers};
            BitReader in(msg.data, length);
            ReadFields(ctx, std::vector<const PgnDef*>{fallback}, in, fields);
            shown = fallback;
        } else if (length > 0) {
            fields.Set(kDataKey, Value::String(json_text::HexBytes(msg.data, length)));
        }
    }

    out += "{\"pgn\":";
    AppendNumber(out, msg.pgn);
    out += ",\"prio\":";
    AppendNumber(out, msg.priority);
    out += ",\"src\":";
    AppendNumber(out, msg.addressA);
    out += ",\"dst\":";
    AppendNumber(out, msg.addressB);
    out += ",\"timestamp\":";
    AppendTimestamp(out, msg.timeStamp);
    out += ",\"description\":";
    out += shown ? shown->quotedDescription : "\"Unknown PGN\"";
    out += ",\"fields\":";
    fields.AppendTo(out);
    out += ",\"id\":";
    out += shown ? shown->quotedId : "\"unknown\"";
    out += '}';
}

}  // namespace ferrow::n2k
