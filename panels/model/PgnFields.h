// A decoded NMEA 2000 message as the rows an operator reads: each field's
// name, its value as text and its unit. The decoder's JSON gives names and
// values; the database's description of the PGN gives each field's unit and
// resolution, which sets how many decimals a value shows.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace ferrow::panels {

struct FieldRow {
    std::string name;
    std::string value;
    std::string unit;
    bool operator==(const FieldRow& o) const { return name == o.name && value == o.value && unit == o.unit; }
};

class PgnFields {
public:
    struct Scale {
        std::string unit;
        // 0 where the description gives none.
        double resolution = 0;
    };
    // By field name.
    using Scales = std::map<std::string, Scale, std::less<>>;

    // The scales of a description; none for text that is not one.
    static Scales ScalesOf(std::string_view described);

    // One row per field in the decoder's order; the members of a repeating
    // set follow as "[1] name", "[2] name", those of a second set as
    // "[2.1] name". No rows for text that is not a decoded message.
    static std::vector<FieldRow> Rows(std::string_view decoded, const Scales& scales);

    // "130316 Temperature Extended Range", or "" for text that is not a
    // decoded message.
    static std::string Title(std::string_view decoded);

    // Calls `write`, a writer of the decoder's kind (given a buffer and its
    // size, the length written, or -1), with ever larger buffers until the
    // text fits; "" when it never does.
    static std::string Written(const std::function<int(char*, int)>& write);
};

}  // namespace ferrow::panels
