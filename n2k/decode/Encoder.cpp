#include "n2k/decode/Encoder.h"

#include "platform/CivilTime.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace ferrow::n2k {
namespace {

using nlohmann::json;

// Refuses the whole message; caught once at the top.
struct Refused {};

[[noreturn]] void Refuse() { throw Refused{}; }

// Bits written least significant first, as the decoder reads them.
class BitWriter {
public:
    void Write(uint64_t value, unsigned bits) {
        for (unsigned i = 0; i < bits; ++i) {
            if (at_ / 8 >= N2KMsg::kMaxData) Refuse();
            if (at_ % 8 == 0) bytes_.push_back(0);
            if ((value >> i) & 1) bytes_.back() |= static_cast<uint8_t>(1u << (at_ % 8));
            ++at_;
        }
    }
    void Bytes(const std::vector<uint8_t>& bytes) {
        for (uint8_t b : bytes) Write(b, 8);
    }
    // The byte before the next bit, once bytes are whole.
    int LastByte() const { return at_ % 8 == 0 && !bytes_.empty() ? bytes_.back() : -1; }
    std::vector<uint8_t>& Data() { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
    std::size_t at_ = 0;
};

uint64_t AllOnes(unsigned bits) { return bits >= 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1; }

// The field's "not available" bits, or 0 for a single bit, which has none.
uint64_t Unavailable(const FieldDef& field, unsigned bits) {
    if (bits <= 1) return field.kind == FieldKind::Reserved ? AllOnes(bits) : 0;
    if (field.kind == FieldKind::Spare) return 0;
    return field.isSigned ? AllOnes(bits - 1) : AllOnes(bits);
}

const json* Given(const json& fields, const FieldDef& field) {
    for (const std::string* key : {&field.name, &field.id}) {
        if (key->empty()) continue;
        auto it = fields.find(*key);
        if (it != fields.end() && !it->is_null()) return &*it;
    }
    return nullptr;
}

int64_t LookupValue(const FieldDef& field, const json& value) {
    if (value.is_number()) return value.get<int64_t>();
    if (!value.is_string()) Refuse();
    const std::string name = value.get<std::string>();
    if (field.lookup) {
        auto it = field.lookup->values.find(name);
        if (it != field.lookup->values.end()) return it->second;
    }
    if (field.keyed) {
        for (const auto& [key, type] : *field.keyed) {
            if (type.name == name) return key;
        }
    }
    Refuse();
}

// "2024.01.01" to days since 1970.
double DateDays(const json& value) {
    if (value.is_number()) return value.get<double>();
    int year = 0, month = 0, day = 0;
    if (!value.is_string() ||
        std::sscanf(value.get<std::string>().c_str(), "%d.%d.%d", &year, &month, &day) != 3 ||
        month < 1 || month > 12 || day < 1 || day > 31) {
        Refuse();
    }
    return static_cast<double>(platform::DaysFromCivil(year, month, day));
}

// "12:34:56.5" (or a number of seconds) to seconds.
double TimeSeconds(const json& value) {
    if (value.is_number()) return value.get<double>();
    if (!value.is_string()) Refuse();
    const std::string text = value.get<std::string>();
    const bool negative = !text.empty() && text[0] == '-';
    int hours = 0, minutes = 0;
    double seconds = 0;
    if (std::sscanf(text.c_str() + (negative ? 1 : 0), "%d:%d:%lf", &hours, &minutes, &seconds) !=
            3 ||
        hours < 0 || minutes < 0 || minutes > 59 || seconds < 0 || seconds >= 60) {
        Refuse();
    }
    const double total = hours * 3600.0 + minutes * 60.0 + seconds;
    return negative ? -total : total;
}

std::vector<uint8_t> HexBytes(const std::string& text) {
    std::vector<uint8_t> bytes;
    std::size_t i = 0;
    while (i < text.size()) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        unsigned byte = 0;
        int used = 0;
        if (std::sscanf(text.c_str() + i, "%2x%n", &byte, &used) != 1 || used != 2) Refuse();
        bytes.push_back(static_cast<uint8_t>(byte));
        i += 2;
    }
    return bytes;
}

class Encoder {
public:
    Encoder(const PgnDatabase& db, const PgnDef& def) : db_(db), def_(def) {}

    void Fixed(const json& fields) {
        const std::size_t fixed = def_.fields.size() - def_.repeat1Size - def_.repeat2Size;
        numbers_.assign(def_.fields.size(), NAN);
        for (std::size_t i = 0; i < fixed; ++i) {
            const FieldDef& field = def_.fields[i];
            if (field.onlyForProprietary && !std::isnan(targetPgn_) &&
                !IsProprietaryPgn(static_cast<uint32_t>(targetPgn_))) {
                continue;
            }
            std::optional<json> value;
            if (const json* given = Given(fields, field)) value = *given;
            if (field.hasMatch) value = json(field.match);
            if (!value) value = Implied(fields, i);
            numbers_[i] = Put(field, value ? &*value : nullptr);
            if (field.kind == FieldKind::Pgn) targetPgn_ = numbers_[i];
        }
    }

    void Repeats(const json& fields, const char* key, unsigned start, unsigned size) {
        if (size == 0) return;
        auto list = fields.find(key);
        if (list == fields.end() || list->is_null()) return;
        if (!list->is_array()) Refuse();
        for (const json& group : *list) {
            if (!group.is_object()) Refuse();
            Known(group, start - 1, start - 1 + size);
            for (unsigned i = 0; i < size; ++i) {
                const FieldDef& field = def_.fields[start - 1 + i];
                const json* given = Given(group, field);
                Put(field, given);
            }
        }
    }

    // Every key of `fields` names a field of [first, last), or a list.
    void Known(const json& fields, std::size_t first, std::size_t last) const {
        for (const auto& item : fields.items()) {
            if (item.key() == "list" || item.key() == "list2" || item.key() == "parameterId") continue;
            bool found = false;
            for (std::size_t i = first; i < last && !found; ++i) {
                found = def_.fields[i].name == item.key() || def_.fields[i].id == item.key();
            }
            if (!found) Refuse();
        }
    }

    std::vector<uint8_t>& Data() { return out_.Data(); }

private:
    // A count or length the caller left out, taken from what it counts.
    std::optional<json> Implied(const json& fields, std::size_t index) const {
        const unsigned order = static_cast<unsigned>(index + 1);
        auto count = [&](unsigned countField, const char* key) -> std::optional<json> {
            if (countField != order) return std::nullopt;
            auto list = fields.find(key);
            return json(list != fields.end() && list->is_array() ? list->size() : 0);
        };
        if (auto n = count(def_.repeat1Count, "list")) return n;
        if (auto n = count(def_.repeat2Count, "list2")) return n;
        for (const FieldDef& other : def_.fields) {
            if (other.lengthField != static_cast<int>(order)) continue;
            const json* data = Given(fields, other);
            if (!data || !data->is_string()) return json(0);
            return json(HexBytes(data->get<std::string>()).size());
        }
        return std::nullopt;
    }

    double Put(const FieldDef& field, const json* value) {
        switch (field.kind) {
            case FieldKind::StringFix: return PutStringFix(field, value);
            case FieldKind::StringLz: return PutStringLz(value);
            case FieldKind::StringLau: return PutStringLau(value);
            case FieldKind::BitLookup: return PutBitLookup(field, value);
            case FieldKind::Variable: return PutVariable(value);
            default: break;
        }
        unsigned bits = field.bits;
        double resolution = field.resolution;
        if (field.variable) {
            if (field.kind == FieldKind::DynamicValue) {
                bits = KeyedBits(resolution);
            } else if (field.kind == FieldKind::Binary) {
                const std::vector<uint8_t> bytes =
                    value && value->is_string() ? HexBytes(value->get<std::string>())
                                                : std::vector<uint8_t>();
                if (field.lengthField > 0 &&
                    numbers_[field.lengthField - 1] != static_cast<double>(bytes.size())) {
                    Refuse();
                }
                out_.Bytes(bytes);
                return NAN;
            }
            if (bits == 0) Refuse();
        }
        if (bits == 0 || bits > 64) {
            if (field.kind != FieldKind::Binary) Refuse();
            std::vector<uint8_t> bytes(bits / 8, 0xFF);
            if (value) {
                if (!value->is_string()) Refuse();
                const std::vector<uint8_t> given = HexBytes(value->get<std::string>());
                if (given.size() > bytes.size()) Refuse();
                std::copy(given.begin(), given.end(), bytes.begin());
                // Data that ends the message ends where its bytes do.
                if (&field == &def_.fields.back()) bytes.resize(given.size());
            }
            out_.Bytes(bytes);
            return NAN;
        }
        if (!value) {
            out_.Write(Unavailable(field, bits), bits);
            return NAN;
        }
        if (field.kind == FieldKind::Binary && value->is_string()) {
            const std::vector<uint8_t> bytes = HexBytes(value->get<std::string>());
            if (bytes.size() * 8 > bits) Refuse();
            uint64_t raw = 0;
            for (std::size_t i = 0; i < bytes.size(); ++i) raw |= uint64_t{bytes[i]} << (8 * i);
            out_.Write(raw, bits);
            return NAN;
        }
        if (field.kind == FieldKind::Float) {
            if (!value->is_number()) Refuse();
            const float f = value->get<float>();
            uint32_t raw = 0;
            std::memcpy(&raw, &f, sizeof raw);
            out_.Write(raw, 32);
            return value->get<double>();
        }

        double number = 0;
        switch (field.kind) {
            case FieldKind::Lookup:
            case FieldKind::DynamicKey:
                number = static_cast<double>(LookupValue(field, *value));
                if (field.kind == FieldKind::DynamicKey && field.keyed) {
                    keyField_ = &field;
                    key_ = static_cast<int64_t>(number);
                    length_ = 0;
                }
                break;
            case FieldKind::DynamicLength:
                if (!value->is_number()) Refuse();
                number = length_ = value->get<double>();
                break;
            case FieldKind::Date:
                return PutRaw(field, bits, DateDays(*value));
            case FieldKind::Time:
            case FieldKind::Duration:
                return PutRaw(field, bits, std::round(TimeSeconds(*value) / resolution));
            default:
                if (!value->is_number()) Refuse();
                number = value->get<double>();
        }
        if (field.unit == "kWh") {
            number /= 3.6e6;
        } else if (field.unit == "Ah") {
            number /= 3600.0;
        }
        // Half a step of slack: a value printed rounded to the resolution
        // must be accepted back.
        // Lookups and PGNs are taken whole, as the decoder shows them.
        const bool ranged = field.kind != FieldKind::Lookup && field.kind != FieldKind::DynamicKey &&
                            field.kind != FieldKind::Pgn;
        if (ranged && field.hasRange && (number < field.rangeMin - resolution / 2 ||
                               number > field.rangeMax + resolution / 2)) {
            Refuse();
        }
        PutRaw(field, bits, std::round(number / resolution - field.offset));
        return number;
    }

    double PutRaw(const FieldDef& field, unsigned bits, double raw) {
        const double low = field.isSigned ? -std::ldexp(1.0, static_cast<int>(bits) - 1) : 0;
        const double high = field.isSigned ? std::ldexp(1.0, static_cast<int>(bits) - 1) - 1
                                           : std::ldexp(1.0, static_cast<int>(bits)) - 1;
        if (!std::isfinite(raw) || raw < low || raw > high) Refuse();
        const uint64_t bitsOf = raw < 0 ? static_cast<uint64_t>(static_cast<int64_t>(raw))
                                        : static_cast<uint64_t>(raw);
        out_.Write(bitsOf & AllOnes(bits), bits);
        return raw;
    }

    double PutStringFix(const FieldDef& field, const json* value) {
        std::vector<uint8_t> bytes(field.bits / 8, 0xFF);
        if (value) {
            if (!value->is_string()) Refuse();
            const std::string text = value->get<std::string>();
            if (text.size() > bytes.size()) Refuse();
            std::copy(text.begin(), text.end(), bytes.begin());
        }
        out_.Bytes(bytes);
        return NAN;
    }

    double PutStringLz(const json* value) {
        const std::string text = value && value->is_string() ? value->get<std::string>() : "";
        if (value && !value->is_string()) Refuse();
        if (text.size() > 255) Refuse();
        out_.Write(text.size(), 8);
        out_.Bytes(std::vector<uint8_t>(text.begin(), text.end()));
        return NAN;
    }

    // Control 1 (ASCII) for 7-bit text, 0 otherwise, as the decoder reads them.
    double PutStringLau(const json* value) {
        const std::string text = value && value->is_string() ? value->get<std::string>() : "";
        if (value && !value->is_string()) Refuse();
        if (text.size() > 253) Refuse();
        bool ascii = true;
        for (char c : text) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
        out_.Write(text.size() + 2, 8);
        out_.Write(ascii ? 1 : 0, 8);
        out_.Bytes(std::vector<uint8_t>(text.begin(), text.end()));
        return NAN;
    }

    double PutBitLookup(const FieldDef& field, const json* value) {
        uint64_t raw = 0;
        if (value && value->is_number()) {
            raw = value->get<uint64_t>();
        } else if (value) {
            if (!value->is_array()) Refuse();
            for (const json& name : *value) {
                if (!field.lookup || !name.is_string()) Refuse();
                auto it = field.lookup->values.find(name.get<std::string>());
                if (it == field.lookup->values.end() || it->second < 0 ||
                    it->second >= static_cast<int64_t>(field.bits)) {
                    Refuse();
                }
                raw |= uint64_t{1} << it->second;
            }
        }
        if (field.bits < 64 && raw > AllOnes(field.bits)) Refuse();
        out_.Write(raw, field.bits);
        return NAN;
    }

    // The value of the commanded PGN's field named by the parameter index
    // just written.
    double PutVariable(const json* value) {
        const int parameter = out_.LastByte();
        if (parameter < 0 || std::isnan(targetPgn_)) Refuse();
        const FieldDef* target =
            db_.FieldOf(static_cast<uint32_t>(targetPgn_), static_cast<unsigned>(parameter));
        if (!target || target->kind == FieldKind::Variable) Refuse();
        Put(*target, value);
        if (target->bits % 8 != 0) out_.Write(AllOnes(8 - target->bits % 8), 8 - target->bits % 8);
        return NAN;
    }

    unsigned KeyedBits(double& resolution) const {
        unsigned bits = 0;
        if (keyField_) {
            auto it = keyField_->keyed->find(key_);
            if (it != keyField_->keyed->end()) {
                resolution = it->second.resolution;
                bits = it->second.bits;
            }
        }
        return length_ > 0 && length_ <= 8 ? static_cast<unsigned>(length_) * 8 : bits;
    }

    const PgnDatabase& db_;
    const PgnDef& def_;
    BitWriter out_;
    std::vector<double> numbers_;
    double targetPgn_ = NAN;
    const FieldDef* keyField_ = nullptr;  // the key last written, and its value
    int64_t key_ = 0;
    double length_ = 0;  // the keyed value's length in bytes, when given
};

// Whether `given` names the value a match field expects: by number, by the
// definition's own word for it, or by its lookup name.
bool Matches(const FieldDef& field, const json& given) {
    if (given.is_number()) return given.get<double>() == static_cast<double>(field.match);
    if (!given.is_string()) return false;
    const std::string text = given.get<std::string>();
    if (!field.description.empty() && text == field.description) return true;
    if (field.lookup) {
        auto it = field.lookup->values.find(text);
        return it != field.lookup->values.end() && it->second == field.match;
    }
    return false;
}

bool Names(const PgnDef& def, const std::string& key) {
    for (const FieldDef& field : def.fields) {
        if (field.name == key || field.id == key) return true;
    }
    return key == "list" || key == "list2";
}

// The first definition whose match fields agree with the values given and
// that has a field of every name given.
const PgnDef* Choose(const std::vector<const PgnDef*>& defs, const json& fields) {
    for (const PgnDef* def : defs) {
        bool fits = true;
        for (const auto& item : fields.items()) fits = fits && Names(*def, item.key());
        for (const FieldDef& field : def->fields) {
            if (!field.hasMatch) continue;
            const json* given = Given(fields, field);
            if (given && !Matches(field, *given)) fits = false;
        }
        if (fits) return def;
    }
    return nullptr;
}

int Integer(const json& root, const char* key, int fallback, int high) {
    auto it = root.find(key);
    if (it == root.end() || it->is_null()) return fallback;
    if (!it->is_number_integer() && !it->is_number_unsigned()) Refuse();
    const int64_t value = it->get<int64_t>();
    if (value < 0 || value > high) Refuse();
    return static_cast<int>(value);
}

}  // namespace

bool EncodeMessage(const PgnDatabase& db, const char* text, N2KMsg& msg) {
    const json root = json::parse(text, nullptr, false);
    if (root.is_discarded() || !root.is_object()) return false;
    try {
        const int pgn = Integer(root, "pgn", -1, 0x3FFFF);
        const auto* defs = db.Find(static_cast<uint32_t>(pgn));
        if (!defs || defs->empty()) return false;
        json fields = json::object();
        if (auto it = root.find("fields"); it != root.end() && !it->is_null()) {
            if (!it->is_object()) return false;
            fields = *it;
        }
        const PgnDef* def = Choose(*defs, fields);
        if (!def) return false;

        Encoder encoder(db, *def);
        const std::size_t fixed = def->fields.size() - def->repeat1Size - def->repeat2Size;
        encoder.Known(fields, 0, fixed);
        encoder.Fixed(fields);
        encoder.Repeats(fields, "list", def->repeat1Start, def->repeat1Size);
        encoder.Repeats(fields, "list2", def->repeat2Start, def->repeat2Size);

        std::vector<uint8_t>& data = encoder.Data();
        // Fixed-layout messages are padded to their whole length.
        bool fixedLayout = def->repeat1Size == 0 && !def->fields.empty() &&
                           def->fields.back().kind != FieldKind::Binary;
        for (const FieldDef& field : def->fields) fixedLayout = fixedLayout && !field.variable;
        const std::size_t least = !def->fast ? 8 : fixedLayout ? def->length : 0;
        if (data.size() < least) data.resize(least, 0xFF);
        if (data.size() > N2KMsg::kMaxData || (!def->fast && data.size() > 8)) return false;

        const int priority = Integer(root, "prio", def->priority, 7);
        const int dst = Integer(root, "dst", 255, 255);
        const int src = Integer(root, "src", msg.addressA, 255);
        msg.pgn = static_cast<uint32_t>(pgn);
        msg.priority = static_cast<uint8_t>(priority);
        msg.addressB = static_cast<uint8_t>(dst);
        msg.addressA = static_cast<uint8_t>(src);
        msg.length = static_cast<uint16_t>(data.size());
        msg.transport = def->iso || data.size() > N2KMsg::kMaxFastPacket ? 3 : def->fast ? 2 : 1;
        std::memcpy(msg.data, data.data(), data.size());
        return true;
    } catch (const Refused&) {
        return false;
    } catch (const json::exception&) {
        return false;
    }
}

}  // namespace ferrow::n2k
