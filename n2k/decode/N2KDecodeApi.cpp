// The exported entry points of <ferrow/N2KDecode.h>.
#include <ferrow/N2KDecode.h>

#include "n2k/decode/Describe.h"
#include "n2k/decode/Encoder.h"
#include "n2k/decode/FieldReader.h"
#include "n2k/decode/PgnDatabase.h"
#include "platform/FilePath.h"
#include "platform/MessageReport.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ferrow::n2k::PgnDatabase;

bool ReadFile(const std::string& path, std::string& text) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    std::ostringstream content;
    content << file.rdbuf();
    text = content.str();
    return static_cast<bool>(file) || file.eof();
}

// The file this code was loaded from: the library, or the program it is
// linked into.
std::string ModuleFile() {
#ifdef _WIN32
    HMODULE module = nullptr;
    if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCSTR>(&FerrowLoadPgnDatabase), &module)) {
        return {};
    }
    char name[MAX_PATH];
    const DWORD length = GetModuleFileNameA(module, name, sizeof name);
    if (length == 0 || length >= sizeof name) return {};
    return std::string(name, length);
#else
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&FerrowLoadPgnDatabase), &info) == 0 || !info.dli_fname) {
        return {};
    }
    return info.dli_fname;
#endif
}

// share/ferrow/canboat.json beside the folder this library was loaded from
// (lib/, or bin/ where Windows keeps the DLL).
std::string InstalledCopy() {
    using ferrow::platform::JoinPath;
    const std::string dir = ferrow::platform::DirectoryOf(ModuleFile());
    if (dir.empty()) return {};
    return JoinPath(JoinPath(JoinPath(JoinPath(dir, ".."), "share"), "ferrow"), "canboat.json");
}

std::vector<std::string> DefaultPlaces() {
    std::vector<std::string> places;
    if (const char* env = std::getenv("FERROW_PGN_DATABASE"); env && *env) places.push_back(env);
    if (std::string installed = InstalledCopy(); !installed.empty()) places.push_back(installed);
#ifdef FERROW_PGN_DATABASE_BUILD
    places.push_back(FERROW_PGN_DATABASE_BUILD);
#endif
    return places;
}

void Refuse(const std::string& why) {
    ferrow::platform::MessageReport::Note(L"FerrowLoadPgnDatabase",
                                          std::wstring(why.begin(), why.end()));
}

// Copies `text` and its terminating zero, or gives -1 when it does not fit.
int Deliver(const std::string& text, char* out, int size) {
    if (text.size() + 1 > static_cast<std::size_t>(size)) return -1;
    std::memcpy(out, text.c_str(), text.size() + 1);
    return static_cast<int>(text.size());
}

}  // namespace

FERROW_API int FerrowLoadPgnDatabase(const char* path) {
    std::vector<std::string> places;
    if (path && *path) {
        places.push_back(path);
    } else {
        places = DefaultPlaces();
    }
    std::string text;
    std::string tried;
    for (const std::string& place : places) {
        if (ReadFile(place, text)) {
            try {
                PgnDatabase::SetCurrent(PgnDatabase::Parse(text));
                return 0;
            } catch (const std::exception& e) {
                Refuse(place + ": " + e.what());
                return -1;
            }
        }
        tried += (tried.empty() ? "" : ", ") + place;
    }
    Refuse("no PGN database found" + (tried.empty() ? std::string() : " at " + tried));
    return -1;
}

FERROW_API int FerrowDecodeN2K(const N2KMsg* msg, char* json, int size) {
    if (!msg || !json || size <= 0) return -1;
    const PgnDatabase* db = PgnDatabase::Current();
    if (!db) return -1;
    thread_local std::string text;
    text.clear();
    ferrow::n2k::DecodeMessage(*db, *msg, text);
    return Deliver(text, json, size);
}

FERROW_API int FerrowEncodeN2K(const char* json, N2KMsg* msg) {
    if (!json || !msg) return -1;
    const PgnDatabase* db = PgnDatabase::Current();
    if (!db) return -1;
    return ferrow::n2k::EncodeMessage(*db, json, *msg) ? 0 : -1;
}

FERROW_API int FerrowDescribePgn(unsigned long pgn, char* json, int size) {
    if (!json || size <= 0) return -1;
    const PgnDatabase* db = PgnDatabase::Current();
    if (!db) return -1;
    std::string text;
    if (!ferrow::n2k::DescribePgn(*db, pgn, text)) return -1;
    return Deliver(text, json, size);
}
