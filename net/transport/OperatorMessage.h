// What the gateway tells the operator, always under the caption "Gateway":
// a message box with a display, a line on standard error without one.
#pragma once

#include <string>

namespace ferrow::net {

class OperatorMessage {
public:
    // Something gone wrong that the operator must know of.
    static void Show(const std::string& text);
    // Something worth knowing that asks for nothing.
    static void Note(const std::string& text);
};

}  // namespace ferrow::net
