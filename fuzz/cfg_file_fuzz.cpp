// Fuzz target for the configuration file. Any file content must load without
// writing past a variable (each one is its own exactly-sized allocation, so
// the address sanitizer sees an overrun), must leave every string terminated
// within its capacity, must fail exactly when it leaves an error text, and
// whatever a load produced must be saved and loaded back unchanged.
#include "fuzz/FuzzSeeds.h"

#include <ferrow/CFG_File.h>
#include <ferrow/CfgFile_c.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <system_error>
#include <vector>
#include <unistd.h>

namespace {

struct FuzzField {
    const char* name;
    int type;
    unsigned char width;
    unsigned long capacity;  // string fields only, in units
};

// No name occurs inside another, so a saved file finds each at its own line.
constexpr FuzzField kFields[] = {
    {"dec_1", CFG_TYPE_DECIMAL, 1, 0},     {"dec_2", CFG_TYPE_DECIMAL, 2, 0},
    {"dec_3", CFG_TYPE_DECIMAL, 3, 0},     {"dec_4", CFG_TYPE_DECIMAL, 4, 0},
    {"dec_8", CFG_TYPE_DECIMAL, 8, 0},     {"hex_1", CFG_TYPE_HEX, 1, 0},
    {"hex_2", CFG_TYPE_HEX, 2, 0},         {"hex_5", CFG_TYPE_HEX, 5, 0},
    {"hex_8", CFG_TYPE_HEX, 8, 0},         {"flt_4", CFG_TYPE_DOUBLE, 4, 0},
    {"dbl_8", CFG_TYPE_DOUBLE, 8, 0},      {"str_a1", CFG_TYPE_STRING, 0, 1},
    {"str_b16", CFG_TYPE_STRING, 0, 16},   {"str_c300", CFG_TYPE_STRING, 0, 300},
    {"wstr_w64", CFG_TYPE_WSTRING, 0, 64},
};
constexpr std::size_t kFieldCount = std::size(kFields);

std::size_t UnitSize(const FuzzField& field) {
    return field.type == CFG_TYPE_WSTRING ? sizeof(wchar_t) : 1;
}

bool IsString(const FuzzField& field) {
    return field.type == CFG_TYPE_STRING || field.type == CFG_TYPE_WSTRING;
}

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "cfg_file_fuzz: %s\n", what);
    std::abort();
}

// One scratch directory for the whole run, removed when the process ends.
class FuzzDir {
public:
    FuzzDir() {
        const auto base = std::filesystem::temp_directory_path();
        for (unsigned serial = 0;; ++serial) {
            path_ = base / ("ferrow-fuzz-" + std::to_string(::getpid()) + "-" +
                            std::to_string(serial));
            if (std::filesystem::create_directory(path_)) break;
        }
    }
    ~FuzzDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string File(const char* name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

const FuzzDir& Dir() {
    static const FuzzDir dir;
    return dir;
}

// Every registered variable, each in an allocation of exactly its own size.
class Variables {
public:
    explicit Variables(unsigned char fill) {
        for (const FuzzField& field : kFields) {
            if (!IsString(field)) {
                storage_.emplace_back(field.width, fill);
                continue;
            }
            // "d" where it fits, so that defaults are not all empty.
            storage_.emplace_back(field.capacity * UnitSize(field), 0);
            if (field.capacity < 2) continue;
            if (field.type == CFG_TYPE_WSTRING) {
                const wchar_t unit = L'd';
                std::memcpy(storage_.back().data(), &unit, sizeof unit);
            } else {
                storage_.back()[0] = 'd';
            }
        }
    }

    void Register(CfgFile_c& cfg) {
        for (std::size_t i = 0; i < kFieldCount; ++i) {
            const FuzzField& field = kFields[i];
            const int index = cfg.AddField(field.name, static_cast<CfgFile_DataType_e>(field.type),
                                           storage_[i].data(), field.width, field.capacity);
            Require(index == static_cast<int>(i), "registration refused");
        }
    }

    void CheckStringsTerminated() const {
        for (std::size_t i = 0; i < kFieldCount; ++i) {
            if (IsString(kFields[i])) {
                Require(StringLength(i) < kFields[i].capacity, "string not terminated");
            }
        }
    }

    // Equal as the file can carry them: integers exactly, strings up to their
    // terminator, doubles as their six-digit text, floats within that text's
    // precision.
    bool SameAs(const Variables& other) const {
        for (std::size_t i = 0; i < kFieldCount; ++i) {
            const FuzzField& field = kFields[i];
            const auto& a = storage_[i];
            const auto& b = other.storage_[i];
            if (IsString(field)) {
                const std::size_t length = StringLength(i);
                if (length != other.StringLength(i)) return false;
                if (std::memcmp(a.data(), b.data(), length * UnitSize(field)) != 0) return false;
            } else if (field.type == CFG_TYPE_DOUBLE && field.width == 4) {
                float x, y;
                std::memcpy(&x, a.data(), 4);
                std::memcpy(&y, b.data(), 4);
                if (!CloseFloats(x, y)) return false;
            } else if (field.type == CFG_TYPE_DOUBLE) {
                double x, y;
                std::memcpy(&x, a.data(), 8);
                std::memcpy(&y, b.data(), 8);
                if (SixDigits(x) != SixDigits(y)) return false;
            } else if (a != b) {
                return false;
            }
        }
        return true;
    }

private:
    std::size_t StringLength(std::size_t i) const {
        const FuzzField& field = kFields[i];
        const std::size_t unit = UnitSize(field);
        const auto& bytes = storage_[i];
        for (std::size_t n = 0; n < field.capacity; ++n) {
            bool zero = true;
            for (std::size_t b = 0; b < unit; ++b) zero = zero && bytes[n * unit + b] == 0;
            if (zero) return n;
        }
        return field.capacity;
    }

    static std::string SixDigits(double value) {
        char text[64];
        std::snprintf(text, sizeof text, "%.6e", value);
        return text;
    }

    static bool CloseFloats(float x, float y) {
        if (std::isnan(x) || std::isnan(y)) return std::isnan(x) && std::isnan(y);
        if (std::isinf(x) || std::isinf(y)) return x == y;
        const double tolerance = 1e-6 * std::fmax(std::fabs(x), std::fabs(y)) +
                                 2.0 * std::numeric_limits<float>::denorm_min();
        return std::fabs(static_cast<double>(x) - y) <= tolerance;
    }

    std::vector<std::vector<unsigned char>> storage_;
};

std::string ReadAll(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool EachNameOnce(const std::string& text) {
    for (const FuzzField& field : kFields) {
        const std::size_t first = text.find(field.name);
        if (first == std::string::npos || text.find(field.name, first + 1) != std::string::npos) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input = Dir().File("input.cfg");
    const std::string saved = Dir().File("saved.cfg");
    // Fresh files rather than truncated ones: ext4 flushes a file truncated
    // and rewritten when it is closed, which would make every run wait on
    // the disk.
    std::remove(input.c_str());
    std::remove(saved.c_str());
    {
        std::ofstream out(input, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }

    Variables loaded(0x5A);
    CfgFile_c cfg;
    Require(cfg.Init(input.c_str(), kFieldCount) == 0, "Init failed");
    loaded.Register(cfg);
    const bool loadedWhole = cfg.LoadFile() == 0;
    Require(loadedWhole == (*cfg.GetLastErrorText() == '\0'), "result and error text disagree");
    loaded.CheckStringsTerminated();

    // Loaded strings hold no quote and no NUL, so every line can be written.
    Require(cfg.SaveFile(saved.c_str()) == 0, "save of loaded values failed");
    const std::string text = ReadAll(saved);
    // Values may hold a field's name, which the reader would find first; such
    // a file cannot round-trip by design.
    if (text.size() >= CFG_File::kTextSize || !EachNameOnce(text)) return 0;

    Variables reloaded(0xA5);
    CfgFile_c again;
    Require(again.Init(saved.c_str(), kFieldCount) == 0, "Init failed");
    reloaded.Register(again);
    Require(again.LoadFile() == 0, "saved file does not load");
    Require(loaded.SameAs(reloaded), "values changed through save and load");
    return 0;
}

// Seed texts for the standalone driver: a valid file, every reader leniency,
// keys around the end of the text buffer and strings at their capacity.
extern "C" const char* const* FerrowFuzzSeeds() {
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> seeds = {
            "dec_1=-1\ndec_2=-32768\ndec_3=8388607\ndec_4=1\ndec_8=-9223372036854775808\n"
            "hex_1=0xFF\nhex_2=0xABCD\nhex_5=0xFFFFFFFFFF\nhex_8=0xFFFFFFFFFFFFFFFF\n"
            "flt_4=1.500000e+03\ndbl_8=2.500000e+00\nstr_a1=\"\"\nstr_b16=\"abc\"\n"
            "str_c300=\"/data/dev.hex\"\nwstr_w64=\"\xC3\xA9t\xC3\xA9\"\n",
            "xdec_1 300 dec_2==70000 dec_4=\n 12 hex_2 abcd hex_8=0X10 flt_4=3.4e38\n"
            "dbl_8=  -1e-310 str_b16= junk \"a\nb\" more wstr_w64=\"\"\n",
            "dec_8=9223372036854775808\nhex_8=10000000000000000\nflt_4=1e39\ndbl_8=nan\n",
            "str_c300=\"only one quote\n",
            "dbl_8=inf\nflt_4=-1e-45\ndec_3=-1\nstr_a1=\"x\"\n",
            "str_b16=\"0123456789abcdef\"\ndec_4=5\nhex_8=10000000000000000\nflt_4=1e39\n"
            "str_a1=\"x\"\ndbl_8=1\n",
        };
        const std::string key = "dec_4=123456\n";
        for (std::size_t end : {std::size_t{CFG_File::kTextSize} - 3,
                                std::size_t{CFG_File::kTextSize} - 1,
                                std::size_t{CFG_File::kTextSize} + 4}) {
            seeds.push_back(std::string(end - key.size(), '#') + key + "str_b16=\"tail\"\n");
        }
        seeds.push_back("str_c300=\"" + std::string(299, 's') + "\"\nwstr_w64=\"" +
                        std::string(63, 'w') + "\"\n");
        seeds.push_back("str_c300=\"" + std::string(300, 's') + "\"\nstr_b16=\"" +
                        std::string(16, 'b') + "\"\n");
        return seeds;
    }();
    return ferrow::fuzz::SeedPointers(texts);
}
