#include "panels/model/PgnFields.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace ferrow::panels {
namespace {

// Keeps the decoder's field order, which is the database's.
using Json = nlohmann::ordered_json;

Json Parse(std::string_view text) {
    Json json = Json::parse(text.begin(), text.end(), nullptr, false);
    return json.is_object() ? json : Json();
}

// As many decimals as one step of the resolution needs: 0.001 shows 3,
// 3.125e-5 shows 5, 0.5 shows 1, 10 shows none.
int Decimals(double resolution) {
    if (!(resolution > 0) || resolution >= 1) return 0;
    return std::clamp(static_cast<int>(std::ceil(-std::log10(resolution) - 1e-9)), 0, 12);
}

// Whole numbers come without a fraction whatever the resolution: 1 K in
// steps of 0.001 shows as 1.000.
std::string NumberText(const Json& value, const PgnFields::Scale* scale) {
    const int decimals = scale == nullptr ? 0 : Decimals(scale->resolution);
    if (decimals == 0) return value.dump();
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value.get<double>());
    return text;
}

std::string ValueText(const Json& value, const PgnFields::Scale* scale) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_number()) return NumberText(value, scale);
    if (value.is_array() &&
        std::all_of(value.begin(), value.end(), [](const Json& v) { return v.is_string(); })) {
        std::string text;
        for (const Json& name : value) {
            if (!text.empty()) text += ", ";
            text += name.get<std::string>();
        }
        return text;
    }
    return value.dump();
}

// A repeating set: an array whose members are all objects of fields.
bool IsSet(const Json& value) {
    return value.is_array() && !value.empty() &&
           std::all_of(value.begin(), value.end(), [](const Json& v) { return v.is_object(); });
}

void AddFields(const Json& fields, const std::string& prefix, const PgnFields::Scales& scales,
               std::vector<FieldRow>& rows) {
    for (const auto& [name, value] : fields.items()) {
        const auto found = scales.find(name);
        const PgnFields::Scale* scale = found == scales.end() ? nullptr : &found->second;
        // A unit belongs to a number: a time of day or a date comes as text.
        std::string unit = scale != nullptr && value.is_number() ? scale->unit : std::string();
        rows.push_back({prefix + name, ValueText(value, scale), std::move(unit)});
    }
}

}  // namespace

PgnFields::Scales PgnFields::ScalesOf(std::string_view described) {
    Scales scales;
    const Json description = Parse(described);
    if (!description.contains("fields") || !description["fields"].is_array()) return scales;
    for (const Json& field : description["fields"]) {
        if (!field.is_object() || !field.contains("name") || !field["name"].is_string()) continue;
        Scale scale;
        if (field.contains("unit") && field["unit"].is_string())
            scale.unit = field["unit"].get<std::string>();
        if (field.contains("resolution") && field["resolution"].is_number()) {
            scale.resolution = field["resolution"].get<double>();
        }
        // The first of a name wins, as the decoder's keys do.
        scales.emplace(field["name"].get<std::string>(), std::move(scale));
    }
    return scales;
}

std::vector<FieldRow> PgnFields::Rows(std::string_view decoded, const Scales& scales) {
    std::vector<FieldRow> rows;
    const Json message = Parse(decoded);
    if (message.is_null()) return rows;
    const auto fields = message.find("fields");
    if (fields == message.end() || !fields->is_object()) return rows;
    Json plain = Json::object();
    std::vector<std::pair<std::string, const Json*>> sets;
    for (const auto& [name, value] : fields->items()) {
        if (IsSet(value)) {
            sets.emplace_back(name, &value);
        } else {
            plain[name] = value;
        }
    }
    AddFields(plain, {}, scales, rows);
    for (std::size_t set = 0; set < sets.size(); ++set) {
        std::size_t index = 0;
        for (const Json& member : *sets[set].second) {
            ++index;
            const std::string number =
                set == 0 ? std::to_string(index) : std::to_string(set + 1) + "." + std::to_string(index);
            AddFields(member, "[" + number + "] ", scales, rows);
        }
    }
    return rows;
}

std::string PgnFields::Title(std::string_view decoded) {
    const Json message = Parse(decoded);
    if (message.is_null() || !message.contains("pgn") || !message["pgn"].is_number_unsigned()) return {};
    std::string title = std::to_string(message["pgn"].get<unsigned long>());
    if (message.contains("description") && message["description"].is_string()) {
        title += ' ';
        title += message["description"].get<std::string>();
    }
    return title;
}

std::string PgnFields::Written(const std::function<int(char*, int)>& write) {
    // The largest message is 1,786 bytes; a repeating set of one-bit fields
    // can still spell out to hundreds of kilobytes.
    for (const int size : {16 * 1024, 1024 * 1024}) {
        std::string text(static_cast<std::size_t>(size), '\0');
        const int length = write(text.data(), size);
        if (length >= 0 && length < size) {
            text.resize(static_cast<std::size_t>(length));
            return text;
        }
    }
    return {};
}

}  // namespace ferrow::panels
