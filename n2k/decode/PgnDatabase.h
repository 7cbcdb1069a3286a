// The open PGN database (canboat.json) as the decoder and encoder use it:
// every definition's fields in wire order, with the lookups they name
// resolved once at load. Immutable once built; the process shares one
// through Current(), replaced whole by a later load.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace ferrow::n2k {

enum class FieldKind : uint8_t {
    Number,
    Lookup,
    BitLookup,
    IndirectLookup,
    Reserved,
    Spare,
    Binary,
    StringFix,
    StringLz,
    StringLau,
    Date,
    Time,
    Duration,
    Mmsi,
    Pgn,
    IsoName,
    FieldIndex,
    Variable,
    Float,
    Decimal,
    DynamicKey,
    DynamicValue,
    DynamicLength,
};

// Value to name, and back, of one lookup table.
struct Lookup {
    std::string name;
    std::unordered_map<int64_t, std::string> names;
    std::unordered_map<int64_t, std::string> quoted;  // the names as JSON strings
    std::unordered_map<std::string, int64_t> values;
};

// One entry of a table that keys a field's type on another field's value:
// the bits its value takes and how to show it.
struct KeyedType {
    std::string name;
    unsigned bits = 0;
    double resolution = 1;
    std::string unit;
};

struct FieldDef {
    std::string name;
    std::string key;  // the name as a JSON string
    std::string id;
    std::string unit;
    std::string typeName;
    std::string description;
    bool isTimeStamp = false;  // a lookup whose small values are seconds
    double unitFactor = 1;     // kWh and Ah shown in J and C
    FieldKind kind = FieldKind::Number;
    unsigned bits = 0;  // 0: the length is carried by the message
    bool variable = false;
    bool isSigned = false;
    bool hasResolution = false;
    double resolution = 1;
    double offset = 0;
    bool hasRange = false;
    double rangeMin = 0;
    double rangeMax = 0;
    bool hasMatch = false;
    int64_t match = 0;
    bool onlyForProprietary = false;  // present only when the PGN it names is proprietary
    int lengthField = 0;              // order of the field holding this one's length in bytes
    const Lookup* lookup = nullptr;   // Lookup, BitLookup, IndirectLookup
    const std::unordered_map<int64_t, KeyedType>* keyed = nullptr;  // DynamicKey
};

struct PgnDef {
    uint32_t pgn = 0;
    std::string id;
    std::string description;
    std::string quotedId;           // id and description as JSON strings
    std::string quotedDescription;
    bool fast = false;  // more than one frame: fast packet or ISO transport
    bool iso = false;   // ISO transport only
    bool fallback = false;
    uint8_t priority = 6;
    unsigned length = 0;  // bytes, where the database fixes it
    bool hasMatch = false;
    std::vector<FieldDef> fields;
    // Repeating sets: size in fields, 1-based order of their first field and
    // of the field counting them (0: repeats to the end of the data).
    unsigned repeat1Size = 0, repeat1Start = 0, repeat1Count = 0;
    unsigned repeat2Size = 0, repeat2Start = 0, repeat2Count = 0;
};

class PgnDatabase {
public:
    // Builds from the file's text; throws std::runtime_error saying why.
    static std::shared_ptr<const PgnDatabase> Parse(const std::string& text);

    // Every definition of `pgn` in the database's order, or null.
    const std::vector<const PgnDef*>* Find(uint32_t pgn) const;
    // Field `order` (1-based) of the first definition of `pgn`; orders past
    // the end wrap within its repeating set. Null where there is none.
    const FieldDef* FieldOf(uint32_t pgn, unsigned order) const;
    // The fallback definition whose range holds `pgn`, or null.
    const PgnDef* FallbackFor(uint32_t pgn) const;
    const std::vector<PgnDef>& All() const { return pgns_; }

    // The database every call of the API uses; null until one loads. A
    // database once current stays valid for the process.
    static const PgnDatabase* Current();
    static void SetCurrent(std::shared_ptr<const PgnDatabase> db);

private:
    std::vector<PgnDef> pgns_;
    std::unordered_map<uint32_t, std::vector<const PgnDef*>> byPgn_;
    std::vector<const PgnDef*> fallbacks_;
    std::unordered_map<std::string, std::unique_ptr<Lookup>> lookups_;
    std::unordered_map<std::string, std::unique_ptr<std::unordered_map<int64_t, KeyedType>>>
        keyedTypes_;
};

// True for the PGNs whose first field is a manufacturer code.
bool IsProprietaryPgn(uint32_t pgn);

}  // namespace ferrow::n2k
