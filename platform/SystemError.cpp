#include "platform/SystemError.h"

#ifdef _WIN32
#include <windows.h>
#endif

#include <cctype>
#include <cstring>

namespace ferrow::platform {

std::string SystemErrorText(unsigned long code) {
#ifdef _WIN32
    char text[512] = "";
    const DWORD size = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                      nullptr, static_cast<DWORD>(code), 0, text, sizeof text,
                                      nullptr);
    std::string result(text, size);
#else
    std::string result = std::strerror(static_cast<int>(code));
#endif
    while (!result.empty() &&
           (std::isspace(static_cast<unsigned char>(result.back())) != 0 || result.back() == '.')) {
        result.pop_back();
    }
    return result.empty() ? "error " + std::to_string(code) : result;
}

}  // namespace ferrow::platform
