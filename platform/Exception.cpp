#include <ferrow/Exception.h>

namespace utility {

Exception::Exception(const std::ostringstream& text, CODE code) : text_(text.str()), code_(code) {}

Exception::Exception(const std::string& text, CODE code) : text_(text), code_(code) {}

// Out of line so that the type's identity (its vtable and typeinfo) lives in
// the library and a throw from firmware is caught as the same type here.
Exception::~Exception() = default;

}  // namespace utility
