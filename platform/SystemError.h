// The operating system's own words for an error code, to read inside a
// sentence of ours: without a line break or a closing full stop.
#pragma once

#include <string>

namespace ferrow::platform {

// An errno value on POSIX systems, a GetLastError or WSAGetLastError value
// on Windows; "error N" when the system has no text for it.
std::string SystemErrorText(unsigned long code);

}  // namespace ferrow::platform
