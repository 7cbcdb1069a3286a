#include "panels/model/PgnForm.h"

#include "net/formats/HexText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace ferrow::panels {
namespace {

using Json = nlohmann::json;

std::optional<Json> Parse(std::string_view text) {
    Json json = Json::parse(text.begin(), text.end(), nullptr, false);
    if (json.is_discarded()) return std::nullopt;
    return json;
}

std::string StringOf(const Json& object, const char* key) {
    const auto it = object.find(key);
    return it != object.end() && it->is_string() ? it->get<std::string>() : std::string();
}

std::optional<double> NumberOf(const Json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_number()) return std::nullopt;
    return it->get<double>();
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

std::string Trim(std::string_view text) {
    const auto space = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && space(text.front())) text.remove_prefix(1);
    while (!text.empty() && space(text.back())) text.remove_suffix(1);
    return std::string(text);
}

// The encoder fills these bits itself.
bool Hidden(const std::string& type) { return type == "RESERVED" || type == "SPARE"; }

PgnForm::Kind KindOf(const std::string& type, bool hasChoices) {
    if (type == "BITLOOKUP") return PgnForm::Kind::Flags;
    if (hasChoices) return PgnForm::Kind::Choice;
    static const char* const kNumeric[] = {"NUMBER", "FLOAT",    "DECIMAL",    "MMSI",
                                           "PGN",    "ISO_NAME", "FIELD_INDEX", "DYNAMIC_FIELD_LENGTH",
                                           "LOOKUP", "INDIRECT_LOOKUP", "FIELDTYPE_LOOKUP"};
    for (const char* numeric : kNumeric) {
        if (type == numeric) return PgnForm::Kind::Number;
    }
    return PgnForm::Kind::Text;
}

// A lookup's entries carry their value, a bit lookup's their bit.
std::vector<PgnForm::Choice> ChoicesOf(const Json& field) {
    std::vector<PgnForm::Choice> choices;
    const auto lookup = field.find("lookup");
    if (lookup == field.end() || !lookup->is_array()) return choices;
    for (const Json& entry : *lookup) {
        if (!entry.is_object()) continue;
        auto value = entry.find("value");
        if (value == entry.end()) value = entry.find("bit");
        if (value == entry.end() || !value->is_number_integer()) continue;
        choices.push_back({StringOf(entry, "name"), value->get<int64_t>()});
    }
    std::stable_sort(choices.begin(), choices.end(),
                     [](const auto& a, const auto& b) { return a.value < b.value; });
    return choices;
}

// Orders (from 1) of the fields in a repeating set, and of its count field.
struct Repeat {
    unsigned start = 0;
    unsigned size = 0;
    unsigned countField = 0;

    bool Holds(unsigned order) const { return order >= start && order < start + size; }
};

Repeat RepeatOf(const Json& group, const char* key) {
    const auto it = group.find(key);
    if (it == group.end() || !it->is_object()) return {};
    const auto number = [&](const char* name) {
        const auto value = it->find(name);
        return value != it->end() && value->is_number_unsigned() ? value->get<unsigned>() : 0u;
    };
    return {number("start"), number("size"), number("countField")};
}

// The whole text as a number, else nothing.
std::optional<double> NumberIn(const std::string& text) {
    if (text.empty()) return std::nullopt;
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || errno == ERANGE || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

// A whole number stays exact as JSON, up to 64 bits (ISO names).
Json NumberJson(const std::string& text, double value) {
    const bool whole = text.find_first_not_of("-+0123456789") == std::string::npos;
    errno = 0;
    if (whole && text[0] == '-') {
        const long long integer = std::strtoll(text.c_str(), nullptr, 10);
        if (errno == 0) return integer;
    } else if (whole) {
        const unsigned long long integer = std::strtoull(text.c_str(), nullptr, 10);
        if (errno == 0) return integer;
    }
    return value;
}

std::vector<std::string> FlagNames(const std::string& text) {
    std::vector<std::string> names;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        std::string name = Trim(std::string_view(text).substr(start, comma - start));
        if (!name.empty()) names.push_back(std::move(name));
        start = comma + 1;
    }
    return names;
}

const PgnForm::Choice* ChoiceNamed(const PgnForm::Field& field, const std::string& name) {
    for (const PgnForm::Choice& choice : field.choices) {
        if (choice.name == name) return &choice;
    }
    return nullptr;
}

std::string Shown(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

std::string FieldProblem(const PgnForm::Field& field) {
    if (field.text.empty()) return {};
    switch (field.kind) {
        case PgnForm::Kind::Number: {
            const std::optional<double> value = NumberIn(field.text);
            if (!value) return "not a number";
            if (field.min && *value < *field.min) return "below " + Shown(*field.min);
            if (field.max && *value > *field.max) return "above " + Shown(*field.max);
            return {};
        }
        case PgnForm::Kind::Choice:
            return ChoiceNamed(field, field.text) ? std::string() : "no such choice";
        case PgnForm::Kind::Flags:
            for (const std::string& name : FlagNames(field.text)) {
                if (!ChoiceNamed(field, name)) return "no flag " + name;
            }
            return {};
        case PgnForm::Kind::Text:
            return {};
    }
    return {};
}

Json ValueOf(const PgnForm::Field& field) {
    switch (field.kind) {
        case PgnForm::Kind::Number:
            return NumberJson(field.text, *NumberIn(field.text));
        case PgnForm::Kind::Flags:
            return FlagNames(field.text);
        case PgnForm::Kind::Choice:
        case PgnForm::Kind::Text:
            break;
    }
    return field.text;
}

}  // namespace

std::optional<PgnCatalog> PgnCatalog::FromJson(std::string_view json) {
    const std::optional<Json> list = Parse(json);
    if (!list || !list->is_array()) return std::nullopt;
    std::map<uint32_t, std::string> first;
    for (const Json& entry : *list) {
        const auto pgn = entry.is_object() ? entry.find("pgn") : entry.end();
        if (pgn == entry.end() || !pgn->is_number_unsigned()) continue;
        first.emplace(pgn->get<uint32_t>(), StringOf(entry, "description"));
    }
    PgnCatalog catalog;
    for (auto& [pgn, description] : first) catalog.entries_.push_back({pgn, std::move(description)});
    return catalog;
}

std::vector<std::size_t> PgnCatalog::Find(std::string_view text) const {
    const std::string wanted = Lower(Trim(text));
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const std::string number = std::to_string(entries_[i].pgn);
        if (number.compare(0, wanted.size(), wanted) == 0 ||
            Lower(entries_[i].description).find(wanted) != std::string::npos) {
            found.push_back(i);
        }
    }
    return found;
}

std::string PgnCatalog::Label(const PgnEntry& entry) {
    return std::to_string(entry.pgn) + " " + entry.description;
}

std::optional<PgnForm> PgnForm::FromDescription(std::string_view json) {
    const std::optional<Json> group = Parse(json);
    if (!group || !group->is_object()) return std::nullopt;
    const auto pgn = group->find("pgn");
    const auto fields = group->find("fields");
    if (pgn == group->end() || !pgn->is_number_unsigned() || fields == group->end() ||
        !fields->is_array()) {
        return std::nullopt;
    }
    PgnForm form;
    form.pgn_ = pgn->get<uint32_t>();
    form.description_ = StringOf(*group, "description");
    const Repeat repeats[] = {RepeatOf(*group, "repeat1"), RepeatOf(*group, "repeat2")};
    unsigned order = 0;
    for (const Json& entry : *fields) {
        ++order;
        if (!entry.is_object()) continue;
        Field field;
        field.type = StringOf(entry, "type");
        const bool counts = std::any_of(std::begin(repeats), std::end(repeats), [&](const Repeat& r) {
            return r.size != 0 && r.countField == order;
        });
        if (Hidden(field.type) || counts || entry.contains("match")) continue;
        field.name = StringOf(entry, "name");
        field.unit = StringOf(entry, "unit");
        field.min = NumberOf(entry, "min");
        field.max = NumberOf(entry, "max");
        field.choices = ChoicesOf(entry);
        field.kind = KindOf(field.type, !field.choices.empty());
        for (unsigned set = 1; set <= 2; ++set) {
            if (repeats[set - 1].Holds(order)) field.set = set;
        }
        if (field.set == 0) {
            form.fields_.push_back(std::move(field));
        } else {
            form.setFields_[field.set - 1].push_back(std::move(field));
        }
    }
    return form;
}

bool PgnForm::HasSet(unsigned set) const {
    return set >= 1 && set <= 2 && !setFields_[set - 1].empty();
}

unsigned PgnForm::Instances(unsigned set) const { return HasSet(set) ? instances_[set - 1] : 0; }

bool PgnForm::SetInstances(unsigned set, unsigned count) {
    if (!HasSet(set) || count > kMaxSets) return false;
    std::vector<Field> fields;
    for (const Field& field : fields_) {
        if (field.set != set || field.instance <= count) fields.push_back(field);
    }
    for (unsigned instance = instances_[set - 1] + 1; instance <= count; ++instance) {
        for (Field field : setFields_[set - 1]) {
            field.instance = instance;
            fields.push_back(std::move(field));
        }
    }
    std::stable_sort(fields.begin(), fields.end(),
                     [](const Field& a, const Field& b) { return a.set < b.set; });
    fields_ = std::move(fields);
    instances_[set - 1] = count;
    return true;
}

bool PgnForm::Set(std::size_t field, std::string text) {
    if (field >= fields_.size()) return false;
    fields_[field].text = Trim(text);
    return true;
}

std::string PgnForm::Problem() const {
    for (const Field& field : fields_) {
        const std::string problem = FieldProblem(field);
        if (!problem.empty()) return Label(field) + ": " + problem;
    }
    return {};
}

std::string PgnForm::ToJson(unsigned priority, unsigned source, unsigned destination) const {
    if (!Problem().empty()) return {};
    using Ordered = nlohmann::ordered_json;
    Ordered values = Ordered::object();
    Ordered lists[2] = {Ordered::array(), Ordered::array()};
    for (const Field& field : fields_) {
        Ordered* into = &values;
        if (field.set != 0) {
            Ordered& list = lists[field.set - 1];
            while (list.size() < field.instance) list.push_back(Ordered::object());
            into = &list[field.instance - 1];
        }
        if (!field.text.empty()) (*into)[field.name] = ValueOf(field);
    }
    if (instances_[0] != 0) values["list"] = std::move(lists[0]);
    if (instances_[1] != 0) values["list2"] = std::move(lists[1]);
    Ordered message;
    message["pgn"] = pgn_;
    message["prio"] = priority;
    message["src"] = source;
    message["dst"] = destination;
    message["fields"] = std::move(values);
    // Text not in UTF-8 is sent with replacement characters, never thrown on.
    return message.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string PgnForm::Label(const Field& field) {
    return field.set == 0 ? field.name : field.name + " #" + std::to_string(field.instance);
}

std::string PgnForm::Hint(const Field& field) {
    std::string hint = field.unit;
    const auto add = [&hint](const std::string& part) {
        if (!hint.empty()) hint += ", ";
        hint += part;
    };
    // How the encoder reads what is typed, as the decoder prints it.
    if (field.kind == Kind::Flags) add("names separated by commas");
    if (field.type == "BINARY") add("bytes in hex");
    if (field.type == "DATE") add("YYYY.MM.DD");
    if (field.type == "TIME" || field.type == "DURATION") add("HH:MM:SS");
    if (field.kind == Kind::Number && field.min && field.max) {
        add(Shown(*field.min) + " to " + Shown(*field.max));
    }
    return hint;
}

std::optional<unsigned> ParseSmall(std::string_view text, unsigned max) {
    const std::string trimmed = Trim(text);
    if (trimmed.empty() || trimmed.size() > 3 ||
        trimmed.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    const auto value = static_cast<unsigned>(std::stoul(trimmed));
    if (value > max) return std::nullopt;
    return value;
}

std::string BuiltBytes(const N2KMsg& msg) {
    const std::size_t length = std::min<std::size_t>(msg.length, N2KMsg::kMaxData);
    static const char* const kTransports[] = {"", "single frame", "fast packet",
                                              "ISO transport"};
    std::string text = std::to_string(length) + (length == 1 ? " byte" : " bytes");
    if (msg.transport >= 1 && msg.transport <= 3) {
        text += ", ";
        text += kTransports[msg.transport];
    }
    text += "\n";
    for (std::size_t i = 0; i < length; ++i) {
        if (i > 0) text.push_back(' ');
        net::HexText::Append(text, msg.data[i], 2);
    }
    return text;
}

}  // namespace ferrow::panels
