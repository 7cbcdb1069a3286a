#include "n2k/decode/PgnDatabase.h"

#include "n2k/decode/JsonText.h"
#include "net/can/ProprietaryPgns.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <stdexcept>

namespace ferrow::n2k {
namespace {

using nlohmann::json;

// Every database loaded stays for the process, so that a decoder that took
// one just before a reload never holds a freed one; reloads are rare.
std::mutex g_loadedMutex;
std::vector<std::shared_ptr<const PgnDatabase>> g_loaded;
std::atomic<const PgnDatabase*> g_current{nullptr};

struct KindName {
    const char* name;
    FieldKind kind;
};

constexpr KindName kKinds[] = {
    {"NUMBER", FieldKind::Number},
    {"LOOKUP", FieldKind::Lookup},
    {"BITLOOKUP", FieldKind::BitLookup},
    {"INDIRECT_LOOKUP", FieldKind::IndirectLookup},
    {"RESERVED", FieldKind::Reserved},
    {"SPARE", FieldKind::Spare},
    {"BINARY", FieldKind::Binary},
    {"STRING_FIX", FieldKind::StringFix},
    {"STRING_LZ", FieldKind::StringLz},
    {"STRING_LAU", FieldKind::StringLau},
    {"DATE", FieldKind::Date},
    {"TIME", FieldKind::Time},
    {"DURATION", FieldKind::Duration},
    {"MMSI", FieldKind::Mmsi},
    {"PGN", FieldKind::Pgn},
    {"ISO_NAME", FieldKind::IsoName},
    {"FIELD_INDEX", FieldKind::FieldIndex},
    {"VARIABLE", FieldKind::Variable},
    {"FLOAT", FieldKind::Float},
    {"DECIMAL", FieldKind::Decimal},
    {"DYNAMIC_FIELD_KEY", FieldKind::DynamicKey},
    {"DYNAMIC_FIELD_VALUE", FieldKind::DynamicValue},
    {"DYNAMIC_FIELD_LENGTH", FieldKind::DynamicLength},
};

FieldKind KindOf(const std::string& type) {
    for (const KindName& k : kKinds) {
        if (type == k.name) return k.kind;
    }
    // A type a later database adds is shown as the number its bits hold.
    return FieldKind::Number;
}

std::string Text(const json& object, const char* key) {
    auto it = object.find(key);
    return it != object.end() && it->is_string() ? it->get<std::string>() : std::string();
}

bool Number(const json& object, const char* key, double& out) {
    auto it = object.find(key);
    if (it == object.end()) return false;
    if (it->is_number()) {
        out = it->get<double>();
        return true;
    }
    if (it->is_string()) {
        const std::string s = it->get<std::string>();
        char* end = nullptr;
        out = std::strtod(s.c_str(), &end);
        return end != s.c_str();
    }
    return false;
}

unsigned Unsigned(const json& object, const char* key) {
    double v = 0;
    return Number(object, key, v) && v > 0 && v < 1e6 ? static_cast<unsigned>(v) : 0;
}

bool Flag(const json& object, const char* key) {
    auto it = object.find(key);
    return it != object.end() && it->is_boolean() && it->get<bool>();
}

// "0xE800-0xEE00: ..." gives the range a fallback definition stands for.
bool FallbackRange(const std::string& description, uint32_t& first, uint32_t& last) {
    const auto colon = description.find(':');
    if (colon == std::string::npos) return false;
    const std::string head = description.substr(0, colon);
    const auto dash = head.find('-');
    first = static_cast<uint32_t>(std::strtoul(head.substr(0, dash).c_str(), nullptr, 16));
    last = dash == std::string::npos
               ? first
               : static_cast<uint32_t>(std::strtoul(head.substr(dash + 1).c_str(), nullptr, 16));
    return first != 0 && last >= first;
}

}  // namespace

bool IsProprietaryPgn(uint32_t pgn) { return net::ProprietaryPgns::Contains(pgn); }

std::shared_ptr<const PgnDatabase> PgnDatabase::Parse(const std::string& text) {
    json root = json::parse(text, nullptr, false);
    if (root.is_discarded()) throw std::runtime_error("malformed JSON");
    if (!root.is_object() || !root.contains("PGNs") || !root["PGNs"].is_array()) {
        throw std::runtime_error("not a PGN database: no PGNs list");
    }

    auto db = std::make_shared<PgnDatabase>();
    auto addLookups = [&](const char* section, const char* list, const char* nameKey,
                          const char* valueKey) {
        auto it = root.find(section);
        if (it == root.end() || !it->is_array()) return;
        for (const json& e : *it) {
            if (!e.is_object()) continue;
            auto lookup = std::make_unique<Lookup>();
            lookup->name = Text(e, "Name");
            auto values = e.find(list);
            if (values == e.end() || !values->is_array()) continue;
            for (const json& v : *values) {
                double value = 0;
                if (!v.is_object() || !Number(v, valueKey, value)) continue;
                const std::string name = Text(v, nameKey);
                const auto key = static_cast<int64_t>(value);
                lookup->names.emplace(key, name);
                std::string quoted;
                json_text::AppendString(quoted, name);
                lookup->quoted.emplace(key, std::move(quoted));
                lookup->values.emplace(name, key);
            }
            db->lookups_[std::string(section) + "/" + lookup->name] = std::move(lookup);
        }
    };
    addLookups("LookupEnumerations", "EnumValues", "Name", "Value");
    addLookups("LookupBitEnumerations", "EnumBitValues", "Name", "Bit");
    // An indirect lookup is keyed on two fields; the second value alone keys
    // the name, which is what a message holding one device shows.
    addLookups("LookupIndirectEnumerations", "EnumValues", "Name", "Value2");

    if (auto it = root.find("LookupFieldTypeEnumerations"); it != root.end() && it->is_array()) {
        for (const json& e : *it) {
            if (!e.is_object()) continue;
            auto table = std::make_unique<std::unordered_map<int64_t, KeyedType>>();
            auto values = e.find("EnumFieldTypeValues");
            if (values == e.end() || !values->is_array()) continue;
            for (const json& v : *values) {
                double value = 0;
                if (!v.is_object() || !Number(v, "value", value)) continue;
                KeyedType type;
                type.name = Text(v, "name");
                type.unit = Text(v, "Unit");
                double bits = 0;
                if (Number(v, "Bits", bits) && bits > 0 && bits <= 64) {
                    type.bits = static_cast<unsigned>(bits);
                }
                Number(v, "Resolution", type.resolution);
                table->emplace(static_cast<int64_t>(value), std::move(type));
            }
            db->keyedTypes_[Text(e, "Name")] = std::move(table);
        }
    }

    auto findLookup = [&](const char* section, const std::string& name) -> const Lookup* {
        auto it = db->lookups_.find(std::string(section) + "/" + name);
        return it == db->lookups_.end() ? nullptr : it->second.get();
    };

    const json& pgns = root["PGNs"];
    db->pgns_.reserve(pgns.size());
    for (const json& p : pgns) {
        double number = 0;
        if (!p.is_object() || !Number(p, "PGN", number) || number < 0 || number > 0x3FFFF) continue;
        PgnDef def;
        def.pgn = static_cast<uint32_t>(number);
        def.id = Text(p, "Id");
        def.description = Text(p, "Description");
        json_text::AppendString(def.quotedId, def.id);
        json_text::AppendString(def.quotedDescription, def.description);
        def.fast = Text(p, "Type") == "Fast" || Text(p, "Type") == "ISO";
        def.iso = Text(p, "Type") == "ISO";
        def.fallback = Flag(p, "Fallback");
        if (double priority = 0; Number(p, "Priority", priority) && priority >= 0 && priority <= 7) {
            def.priority = static_cast<uint8_t>(priority);
        }
        def.length = Unsigned(p, "Length");
        def.repeat1Size = Unsigned(p, "RepeatingFieldSet1Size");
        def.repeat1Start = Unsigned(p, "RepeatingFieldSet1StartField");
        def.repeat1Count = Unsigned(p, "RepeatingFieldSet1CountField");
        def.repeat2Size = Unsigned(p, "RepeatingFieldSet2Size");
        def.repeat2Start = Unsigned(p, "RepeatingFieldSet2StartField");
        def.repeat2Count = Unsigned(p, "RepeatingFieldSet2CountField");
        // Repeated "Reserved" fields are told apart by number, as the
        // canboat tools print them.
        unsigned reserved = 0;
        if (auto fields = p.find("Fields"); fields != p.end() && fields->is_array()) {
            for (const json& f : *fields) {
                if (!f.is_object()) continue;
                FieldDef field;
                field.name = Text(f, "Name");
                if (field.name == "Reserved") field.name += std::to_string(++reserved);
                json_text::AppendString(field.key, field.name);
                field.id = Text(f, "Id");
                field.isTimeStamp = field.id == "timeStamp";
                field.unit = Text(f, "Unit");
                if (field.unit == "kWh") {
                    field.unitFactor = 3.6e6;
                } else if (field.unit == "Ah") {
                    field.unitFactor = 3600;
                }
                field.typeName = Text(f, "FieldType");
                field.description = Text(f, "Description");
                field.kind = KindOf(field.typeName);
                field.bits = Unsigned(f, "BitLength");
                field.variable = Flag(f, "BitLengthVariable") || field.bits == 0;
                field.isSigned = Flag(f, "Signed");
                field.hasResolution = Number(f, "Resolution", field.resolution) &&
                                      field.resolution != 0;
                if (!field.hasResolution) field.resolution = 1;
                Number(f, "Offset", field.offset);
                field.hasRange = Number(f, "RangeMin", field.rangeMin) &&
                                 Number(f, "RangeMax", field.rangeMax);
                double match = 0;
                if (Number(f, "Match", match)) {
                    field.hasMatch = true;
                    field.match = static_cast<int64_t>(match);
                    def.hasMatch = true;
                }
                field.onlyForProprietary = Text(f, "Condition") == "PGNIsProprietary";
                field.lengthField = static_cast<int>(Unsigned(f, "BitLengthField"));
                if (field.kind == FieldKind::Lookup) {
                    field.lookup = findLookup("LookupEnumerations", Text(f, "LookupEnumeration"));
                } else if (field.kind == FieldKind::BitLookup) {
                    field.lookup =
                        findLookup("LookupBitEnumerations", Text(f, "LookupBitEnumeration"));
                } else if (field.kind == FieldKind::IndirectLookup) {
                    field.lookup = findLookup("LookupIndirectEnumerations",
                                              Text(f, "LookupIndirectEnumeration"));
                }
                if (auto keyed = db->keyedTypes_.find(Text(f, "LookupFieldTypeEnumeration"));
                    keyed != db->keyedTypes_.end()) {
                    field.keyed = keyed->second.get();
                }
                def.fields.push_back(std::move(field));
            }
        }
        // Repeating sets past the fields are a database fault: repeat nothing.
        if (def.repeat1Start == 0 || def.repeat1Start + def.repeat1Size - 1 > def.fields.size()) {
            def.repeat1Size = 0;
        }
        if (def.repeat2Start == 0 || def.repeat2Start + def.repeat2Size - 1 > def.fields.size()) {
            def.repeat2Size = 0;
        }
        db->pgns_.push_back(std::move(def));
    }
    if (db->pgns_.empty()) throw std::runtime_error("not a PGN database: no PGN definitions");
    for (const PgnDef& def : db->pgns_) {
        // A fallback stands for a whole range, never for its own number.
        if (def.fallback) {
            db->fallbacks_.push_back(&def);
        } else {
            db->byPgn_[def.pgn].push_back(&def);
        }
    }
    return db;
}

const std::vector<const PgnDef*>* PgnDatabase::Find(uint32_t pgn) const {
    auto it = byPgn_.find(pgn);
    return it == byPgn_.end() ? nullptr : &it->second;
}

const FieldDef* PgnDatabase::FieldOf(uint32_t pgn, unsigned order) const {
    const auto* defs = Find(pgn);
    if (!defs || defs->empty() || order == 0) return nullptr;
    const PgnDef& def = *defs->front();
    std::size_t index = order - 1;
    if (index >= def.fields.size()) {
        if (def.repeat1Size == 0) return nullptr;
        const std::size_t start = def.repeat1Start - 1;
        index = start + (index - start) % def.repeat1Size;
    }
    return &def.fields[index];
}

const PgnDef* PgnDatabase::FallbackFor(uint32_t pgn) const {
    for (const PgnDef* def : fallbacks_) {
        uint32_t first = 0, last = 0;
        if (FallbackRange(def->description, first, last) && pgn >= first && pgn <= last) {
            return def;
        }
    }
    return nullptr;
}

const PgnDatabase* PgnDatabase::Current() { return g_current.load(std::memory_order_acquire); }

void PgnDatabase::SetCurrent(std::shared_ptr<const PgnDatabase> db) {
    std::lock_guard<std::mutex> lock(g_loadedMutex);
    g_current.store(db.get(), std::memory_order_release);
    g_loaded.push_back(std::move(db));
}

}  // namespace ferrow::n2k
