// File names as this library hands them to the C library: 8-bit text, and on
// Windows in the system's code page, which is what fopen takes there. The
// rules of both systems are here for either build, so that each can be
// checked on the other.
#pragma once

#include <string>

namespace ferrow::platform {

enum class PathStyle { Posix, Windows };

#ifdef _WIN32
inline constexpr PathStyle kNativePaths = PathStyle::Windows;
#else
inline constexpr PathStyle kNativePaths = PathStyle::Posix;
#endif

// Posix: a leading slash. Windows: a colon anywhere (a drive or a device) or
// a leading backslash or slash, which also covers a share's "\\server".
bool IsAbsolutePath(const char* name, PathStyle style = kNativePaths);

// `dir` and `name` with the style's separator between them, unless `dir`
// already ends in one.
std::string JoinPath(const std::string& dir, const std::string& name,
                     PathStyle style = kNativePaths);

// `path` up to its last separator, or empty when it holds none.
std::string DirectoryOf(const std::string& path, PathStyle style = kNativePaths);

// Empty when it cannot be read.
std::string CurrentDirectory();

}  // namespace ferrow::platform
