// A fresh directory for one test, removed with everything in it at the end.
#pragma once

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

namespace ferrow::test {

// Keeps the directories of test programs running side by side apart.
inline long ProcessId() {
#ifdef _WIN32
    return ::_getpid();
#else
    return ::getpid();
#endif
}

class TempDir {
public:
    TempDir() {
        static std::atomic<unsigned> counter{0};
        path_ = std::filesystem::temp_directory_path() /
                ("ferrow_test_" + std::to_string(ProcessId()) + "_" + std::to_string(counter++));
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    std::string File(const std::string& name) const { return (path_ / name).string(); }

    static std::string Read(const std::string& file) { return Slurp(file, std::ios::binary); }
    // As a text file: on Windows the line ends the C library wrote as CR LF
    // come back as they were given, LF.
    static std::string ReadText(const std::string& file) { return Slurp(file, std::ios::in); }
    static void Write(const std::string& file, const std::string& text) {
        std::ofstream(file, std::ios::binary) << text;
    }

private:
    static std::string Slurp(const std::string& file, std::ios::openmode mode) {
        std::ifstream in(file, mode);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }

    std::filesystem::path path_;
};

}  // namespace ferrow::test
