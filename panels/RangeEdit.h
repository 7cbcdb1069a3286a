// Reading back the two range edits of a control panel. An edit shows the
// range value times the panel's scale, truncated, in the panel's current
// number format; reading the text in that same format and comparing it with
// what the stored value would show first means that an edit left untouched
// keeps its value exactly, whatever the format or scale.
#pragma once

#include <functional>
#include <string>

namespace ferrow::panels {

class RangeEdit {
public:
    enum class Kind {
        Ignored,  // empty text or "---": the range stays and the text too
        Junk,     // unreadable, or no range value maps to it: show the stored value again
        Value,    // `value` is the range value the text stands for
    };
    struct Reading {
        Kind kind;
        int value;
    };
    // Reads the panel's number format: the shown number of a text, or false.
    using Parser = std::function<bool(const std::wstring& text, long long& shown)>;

    // The number an edit shows for a range value: value x scale, truncated
    // toward zero, saturated to 32 bits.
    static int Shown(int value, double scale);

    static Reading Read(const std::wstring& text, int stored, double scale, const Parser& parse);
};

}  // namespace ferrow::panels
