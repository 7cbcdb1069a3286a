#include "platform/FilePath.h"

#include <cstring>

#ifdef _WIN32
#include <windows.h>
#else
#include <filesystem>
#include <system_error>
#endif

namespace ferrow::platform {

namespace {

bool IsSeparator(char c, PathStyle style) {
    return c == '/' || (style == PathStyle::Windows && c == '\\');
}

}  // namespace

bool IsAbsolutePath(const char* name, PathStyle style) {
    if (name == nullptr || name[0] == '\0') return false;
    if (style == PathStyle::Posix) return name[0] == '/';
    return IsSeparator(name[0], style) || std::strchr(name, ':') != nullptr;
}

std::string JoinPath(const std::string& dir, const std::string& name, PathStyle style) {
    std::string joined = dir;
    if (joined.empty() || !IsSeparator(joined.back(), style)) {
        joined += style == PathStyle::Windows ? '\\' : '/';
    }
    return joined + name;
}

std::string DirectoryOf(const std::string& path, PathStyle style) {
    for (std::size_t end = path.size(); end > 0; --end) {
        if (IsSeparator(path[end - 1], style)) return path.substr(0, end - 1);
    }
    return {};
}

#ifdef _WIN32
// The ANSI form rather than std::filesystem's, which is UTF-8 there and so
// not what fopen opens.
std::string CurrentDirectory() {
    std::string dir(MAX_PATH, '\0');
    for (int attempt = 0; attempt < 3; ++attempt) {
        const DWORD length = GetCurrentDirectoryA(static_cast<DWORD>(dir.size()), dir.data());
        if (length == 0) return {};
        if (length < dir.size()) {
            dir.resize(length);
            return dir;
        }
        dir.resize(length);
    }
    return {};
}
#else
std::string CurrentDirectory() {
    std::error_code error;
    std::string dir = std::filesystem::current_path(error).string();
    return error ? std::string() : dir;
}
#endif

}  // namespace ferrow::platform
