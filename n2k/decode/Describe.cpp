#include "n2k/decode/Describe.h"

#include "n2k/decode/JsonText.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace ferrow::n2k {
namespace {

using json_text::AppendNumber;
using json_text::AppendString;

void Key(std::string& out, const char* key) {
    out += ",\"";
    out += key;
    out += "\":";
}

void AppendField(std::string& out, const FieldDef& field) {
    out += "{\"name\":";
    AppendString(out, field.name);
    Key(out, "id");
    AppendString(out, field.id);
    if (!field.unit.empty()) {
        Key(out, "unit");
        AppendString(out, field.unit);
    }
    Key(out, "type");
    AppendString(out, field.typeName);
    if (!field.variable) {
        Key(out, "bits");
        AppendNumber(out, field.bits);
    }
    if (field.hasResolution) {
        Key(out, "resolution");
        AppendNumber(out, field.resolution);
    }
    Key(out, "signed");
    out += field.isSigned ? "true" : "false";
    if (field.hasRange) {
        Key(out, "min");
        AppendNumber(out, field.rangeMin);
        Key(out, "max");
        AppendNumber(out, field.rangeMax);
    }
    if (field.hasMatch) {
        Key(out, "match");
        AppendNumber(out, static_cast<double>(field.match));
    }
    if (field.lookup && field.kind != FieldKind::IndirectLookup) {
        std::vector<std::pair<int64_t, const std::string*>> entries;
        for (const auto& [value, name] : field.lookup->names) entries.emplace_back(value, &name);
        std::sort(entries.begin(), entries.end());
        Key(out, "lookup");
        out += '[';
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (i) out += ',';
            out += "{\"name\":";
            AppendString(out, *entries[i].second);
            out += field.kind == FieldKind::BitLookup ? ",\"bit\":" : ",\"value\":";
            AppendNumber(out, static_cast<double>(entries[i].first));
            out += '}';
        }
        out += ']';
    }
    out += '}';
}

// An object's opening: its PGN, id and description.
void AppendHead(std::string& out, const PgnDef& def) {
    out += "{\"pgn\":";
    AppendNumber(out, def.pgn);
    Key(out, "id");
    AppendString(out, def.id);
    Key(out, "description");
    AppendString(out, def.description);
}

void AppendRepeat(std::string& out, const char* key, unsigned start, unsigned size,
                  unsigned count) {
    if (size == 0) return;
    Key(out, key);
    out += "{\"start\":";
    AppendNumber(out, start);
    out += ",\"size\":";
    AppendNumber(out, size);
    if (count) {
        out += ",\"countField\":";
        AppendNumber(out, count);
    }
    out += '}';
}

}  // namespace

bool DescribePgn(const PgnDatabase& db, unsigned long pgn, std::string& out) {
    if (pgn == 0) {
        out += '[';
        bool first = true;
        uint32_t last = 0;
        for (const PgnDef& def : db.All()) {
            if (def.fallback || (!first && def.pgn == last)) continue;
            if (!first) out += ',';
            first = false;
            last = def.pgn;
            AppendHead(out, def);
            // Several definitions, told apart by their match fields.
            if (const auto* defs = db.Find(def.pgn); defs && defs->size() > 1) {
                Key(out, "definitions");
                AppendNumber(out, static_cast<double>(defs->size()));
            }
            out += '}';
        }
        out += ']';
        return true;
    }
    if (pgn > 0x3FFFF) return false;
    const auto* defs = db.Find(static_cast<uint32_t>(pgn));
    if (!defs || defs->empty()) return false;
    const PgnDef& def = *defs->front();
    AppendHead(out, def);
    Key(out, "fast");
    out += def.fast ? "true" : "false";
    AppendRepeat(out, "repeat1", def.repeat1Start, def.repeat1Size, def.repeat1Count);
    AppendRepeat(out, "repeat2", def.repeat2Start, def.repeat2Size, def.repeat2Count);
    Key(out, "fields");
    out += '[';
    for (std::size_t i = 0; i < def.fields.size(); ++i) {
        if (i) out += ',';
        AppendField(out, def.fields[i]);
    }
    out += "]}";
    return true;
}

}  // namespace ferrow::n2k
