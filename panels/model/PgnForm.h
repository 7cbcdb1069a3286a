// A parameter group as a form the operator fills in: the PGN database's list
// of groups to pick one from, and the picked group's fields, each kept as the
// text typed or the choice made, checked against its type and range, and
// turned into the object FerrowEncodeN2K builds a message from. Display-free:
// the generator panel shows it, the tests drive it with literal descriptions.
#pragma once

#include <ferrow/N2KMsg.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ferrow::panels {

struct PgnEntry {
    uint32_t pgn = 0;
    std::string description;
};

// The groups of FerrowDescribePgn(0), once per number, sorted by number: a
// number the database defines several times (proprietary groups) is
// described by its first definition only.
class PgnCatalog {
public:
    static std::optional<PgnCatalog> FromJson(std::string_view json);

    const std::vector<PgnEntry>& Entries() const { return entries_; }
    // Indexes of the entries whose number starts with `text` or whose
    // description holds it, ignoring case; every entry for an empty text.
    std::vector<std::size_t> Find(std::string_view text) const;
    // "130316 Temperature Extended Range".
    static std::string Label(const PgnEntry& entry);

private:
    std::vector<PgnEntry> entries_;
};

class PgnForm {
public:
    enum class Kind {
        Number,  // typed as a number, checked against the range
        Choice,  // one name of the lookup
        Flags,   // names of a bit lookup, separated by commas
        Text,    // strings, dates, times, binary data: sent as typed
    };

    struct Choice {
        std::string name;
        int64_t value = 0;
    };

    struct Field {
        std::string name;
        std::string unit;
        std::string type;
        Kind kind = Kind::Number;
        std::optional<double> min;
        std::optional<double> max;
        std::vector<Choice> choices;
        // Which repeating set (1 or 2) the field belongs to, and which
        // instance of it (from 1); 0 for a field outside the sets.
        unsigned set = 0;
        unsigned instance = 0;
        // The operator's entry; empty sends the field as "not available".
        std::string text;
    };

    // Instances of one repeating set the form offers at most.
    static constexpr unsigned kMaxSets = 32;

    // From FerrowDescribePgn's object for one group. Reserved and spare bits,
    // fields whose value the definition fixes and the counts of repeating
    // sets are the encoder's business and get no field. The sets start
    // with no instance.
    static std::optional<PgnForm> FromDescription(std::string_view json);

    uint32_t Pgn() const { return pgn_; }
    const std::string& Description() const { return description_; }
    // The fields outside the sets, then each instance of set 1, then of set 2.
    const std::vector<Field>& Fields() const { return fields_; }

    // The operator's entry for a field (a choice by its name); false for a
    // field it does not have.
    bool Set(std::size_t field, std::string text);

    // Whether the group has repeating set `set` (1 or 2), and how many
    // instances of it the form holds.
    bool HasSet(unsigned set) const;
    unsigned Instances(unsigned set) const;
    // Gives set `set` `count` instances, keeping the entries of those that
    // stay; false for a set the group lacks or more than kMaxSets.
    bool SetInstances(unsigned set, unsigned count);

    // What keeps the entries from being sent, "" when nothing does, e.g.
    // "Temperature: above 655.32".
    std::string Problem() const;

    // {"pgn","prio","src","dst","fields"} with the fields that have an entry
    // and each set's instances under "list" and "list2"; "" while Problem
    // is not.
    std::string ToJson(unsigned priority, unsigned source, unsigned destination) const;

    // "Name", or "Name #2" for the second instance of a set's field.
    static std::string Label(const Field& field);
    // The unit and range the panel shows beside a field: "K, 0 to 655.32".
    static std::string Hint(const Field& field);

private:
    uint32_t pgn_ = 0;
    std::string description_;
    std::vector<Field> fields_;
    // The fields of one instance of each set, without entries.
    std::vector<Field> setFields_[2];
    unsigned instances_[2] = {0, 0};
};

// A whole number from 0 to `max` typed in a box (priority, address), or
// nothing.
std::optional<unsigned> ParseSmall(std::string_view text, unsigned max);

// The built message as the operator checks it before sending:
// "8 bytes, single frame" and on a second line its bytes in hex.
std::string BuiltBytes(const N2KMsg& msg);

}  // namespace ferrow::panels
