// Reader and writer of the key=value configuration file. Every public
// operation runs under the object's recursive lock; a failure that carries a
// text sounds its beep only after the lock is released, so a report sink
// never runs inside it.
#include <ferrow/CFG_File.h>

#include "platform/FilePath.h"
#include "platform/MessageReport.h"
#include "platform/Text.h"

#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <system_error>

namespace {

constexpr const char* kInvalidPath = "Invalid Config Path Name";
constexpr const char* kNoMemory =
    "There was not enough memory to allocate the configuration file. Please close other "
    "applications and/or restart this program.";
constexpr const char* kInvalidFile = "Invalid Config File";
constexpr const char* kCantOpen = "Can't open config file";
constexpr const char* kInvalidType =
    "This configuration file is not valid. Please correct it or select another file.";
constexpr const char* kCantRead = "Can't read config file";
constexpr const char* kCantWrite = "Can't write config file";
constexpr const char* kTooMany = "Too many configuration fields";
constexpr const char* kBadWidth = "Invalid configuration field width";
constexpr const char* kBadType = "Invalid configuration field type";
constexpr const char* kBadField = "Invalid configuration field";
constexpr const char* kNoCapacity = "String field without capacity";
constexpr const char* kNoCapacityHowTo =
    " has no capacity: give the number of characters its variable holds, terminator included, "
    "as the capacity argument of AddField(name, type, storage, 0, capacity)";
constexpr const char* kSkipped = "Config keys skipped, value does not fit: ";
constexpr const char* kBadString = "Configuration string cannot be written as quoted text";
constexpr const char* kLineTooLong = "Configuration line too long";

// What an operation done under the lock hands back: the value to return and,
// for a failure that has a message, its text.
struct Outcome {
    int result;
    const char* failure;
};

Outcome Ok(int result = 0) { return {result, nullptr}; }
Outcome Silent() { return {-1, nullptr}; }
Outcome Fail(const char* text) { return {-1, text}; }

template <class Op>
int Guarded(std::recursive_mutex& lock, const char*& lastError, Op op) {
    Outcome outcome;
    {
        std::lock_guard<std::recursive_mutex> guard(lock);
        outcome = op();
        if (outcome.failure) lastError = outcome.failure;
    }
    if (outcome.failure) ferrow::platform::MessageReport::Beep();
    return outcome.result;
}

// Why the value being read does not fit its variable, set by the readers just
// before they refuse it. The readers may run in a subclass hook whose
// signature has no room for it; the load loop reads it on the same thread.
thread_local std::string t_doesNotFit;

bool DoesNotFit(std::string reason) {
    t_doesNotFit = std::move(reason);
    return false;
}

// Integer variables are little-endian two's complement of any width from 1
// to 8 bytes; assembling them byte by byte keeps that true on any host.
void StoreLow(void* storage, std::uint64_t value, unsigned size) {
    auto* bytes = static_cast<unsigned char*>(storage);
    for (unsigned i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(value >> (8 * i));
}

std::uint64_t LoadLow(const void* storage, unsigned size) {
    const auto* bytes = static_cast<const unsigned char*>(storage);
    std::uint64_t value = 0;
    for (unsigned i = 0; i < size; ++i) value |= std::uint64_t{bytes[i]} << (8 * i);
    return value;
}

std::int64_t SignExtended(std::uint64_t value, unsigned size) {
    if (size < 8 && (value >> (8 * size - 1)) & 1) value |= ~std::uint64_t{0} << (8 * size);
    return static_cast<std::int64_t>(value);
}

// One character of a string variable, whatever its width; memcpy into an
// integer of the same width keeps the host's byte order.
bool ReadUnit(const unsigned char* at, std::size_t unitSize, std::uint32_t& unit) {
    switch (unitSize) {
        case 1: unit = *at; return true;
        case 2: {
            std::uint16_t u;
            std::memcpy(&u, at, 2);
            unit = u;
            return true;
        }
        case 4: std::memcpy(&unit, at, 4); return true;
        default: return false;
    }
}

bool WriteUnit(unsigned char* at, std::size_t unitSize, std::uint32_t unit) {
    switch (unitSize) {
        case 1: *at = static_cast<unsigned char>(unit); return true;
        case 2: {
            const auto u = static_cast<std::uint16_t>(unit);
            std::memcpy(at, &u, 2);
            return true;
        }
        case 4: std::memcpy(at, &unit, 4); return true;
        default: return false;
    }
}

bool IsCSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// strtoll and strtoull skip white space and take an optional sign; a value
// beyond 64 bits is refused rather than clamped.
bool ReadDecimal(const char* text, std::uint64_t& value) {
    char* end = nullptr;
    errno = 0;
    const long long parsed = std::strtoll(text, &end, 10);
    if (end == text) return false;
    if (errno == ERANGE) return DoesNotFit("beyond 64 bits");
    value = static_cast<std::uint64_t>(parsed);
    return true;
}

bool ReadHex(const char* text, std::uint64_t& value) {
    char* end = nullptr;
    errno = 0;
    const unsigned long long parsed = std::strtoull(text, &end, 16);
    if (end == text) return false;
    if (errno == ERANGE) return DoesNotFit("beyond 64 bits");
    value = parsed;
    return true;
}

// from_chars ignores the process locale, unlike strtod, so a file written
// under one locale reads the same under any other. A float is parsed as a
// float, which refuses values beyond its range instead of narrowing them.
template <class T>
bool ReadFloating(const char* text, const char* end, void* storage) {
    while (text < end && IsCSpace(*text)) ++text;
    if (text < end && *text == '+') {
        ++text;
        if (text < end && (*text == '+' || *text == '-')) return false;
    }
    T value{};
    const auto parsed = std::from_chars(text, end, value, std::chars_format::general);
    if (parsed.ec == std::errc::result_out_of_range) {
        return DoesNotFit(sizeof(T) == sizeof(float) ? "beyond the range of a float"
                                                     : "beyond the range of a double");
    }
    if (parsed.ec != std::errc{}) return false;
    std::memcpy(storage, &value, sizeof value);
    return true;
}

const char* Printed(int length, unsigned lineSize) {
    return length >= 0 && static_cast<unsigned>(length) < lineSize ? nullptr : kLineTooLong;
}

// Builds a line piece by piece without ever writing past its end.
class LineBuilder {
public:
    LineBuilder(char* line, unsigned size) : line_(line), size_(size) {}
    void Append(char c) {
        if (used_ + 1 < size_) line_[used_++] = c;
        else overflow_ = true;
    }
    void Append(const char* text) {
        while (*text) Append(*text++);
    }
    const char* Finish() {
        if (size_ > 0) line_[used_] = '\0';
        return overflow_ || size_ == 0 ? kLineTooLong : nullptr;
    }

private:
    char* line_;
    unsigned size_;
    unsigned used_ = 0;
    bool overflow_ = false;
};

}  // namespace

struct CFG_File::Impl {
    // Protects every member below and the file while it is open. Recursive so
    // that a subclass hook may call the public operations.
    std::recursive_mutex lock;
    bool open = false;
    bool registered = false;
    std::unique_ptr<Field[]> table;
    unsigned short maxFields = 0;
    unsigned short count = 0;
    const char* lastError = "";
    bool hasPath = false;
    std::unique_ptr<char[]> text;
    char path[kPathSize] = {};
    // Texts composed for one failure, naming its key. Each stays as long as
    // the object does, so a pointer GetLastErrorText handed out never dangles.
    std::deque<std::string> texts;

    const char* Keep(std::string text);
    Outcome SetPath(const char* name);
    Outcome Init(const char* name, unsigned short capacity);
    Outcome Add(CFG_File& self, const Field& record);
    Outcome Load(CFG_File& self);
    bool LoadValue(CFG_File& self, Field& field, const char* value, const char* textEnd);
    Outcome Save(CFG_File& self, const char* target);
    const char* FormatLine(CFG_File& self, const Field& field);
};

const char* CFG_File::Impl::Keep(std::string text) {
    for (const std::string& kept : texts) {
        if (kept == text) return kept.c_str();
    }
    texts.push_back(std::move(text));
    return texts.back().c_str();
}

// The path is built aside so that a refused name leaves the previous one.
Outcome CFG_File::Impl::SetPath(const char* name) {
    if (!name) return Fail(kInvalidPath);
    std::string built;
    if (ferrow::platform::IsAbsolutePath(name)) {
        built = name;
    } else {
        const std::string dir = ferrow::platform::CurrentDirectory();
        if (dir.empty() || dir.size() >= kPathSize - 1) return Fail(kInvalidPath);
        built = ferrow::platform::JoinPath(dir, name);
    }
    if (built.size() >= kPathSize) return Fail(kInvalidPath);
    std::memcpy(path, built.c_str(), built.size() + 1);
    hasPath = true;
    return Ok();
}

Outcome CFG_File::Impl::Init(const char* name, unsigned short capacity) {
    count = 0;
    registered = false;
    lastError = "";
    const Outcome pathSet = SetPath(name);
    if (pathSet.result != 0) return pathSet;
    std::unique_ptr<Field[]> newTable(new (std::nothrow) Field[capacity]());
    text.reset();
    text.reset(new (std::nothrow) char[kTextSize]);
    if (!newTable || !text) {
        open = false;
        return Fail(kNoMemory);
    }
    text[kTextSize - 1] = '\0';
    table = std::move(newTable);
    maxFields = capacity;
    open = true;
    return Ok();
}

Outcome CFG_File::Impl::Add(CFG_File& self, const Field& record) {
    if (!open) return Silent();
    if (!record.name || !*record.name || !record.storage) return Fail(kBadField);
    if (const char* refusal = self.CheckField(record)) {
        if (refusal != kNoCapacity) return Fail(refusal);
        return Fail(Keep(std::string("Configuration string field ") + record.name +
                         kNoCapacityHowTo));
    }
    unsigned short at = 0;
    while (at < count && std::strcmp(table[at].name, record.name) != 0) ++at;
    if (at == maxFields) return Fail(kTooMany);
    table[at] = record;
    table[at].index = at;
    if (at == count) ++count;
    registered = true;
    return Ok(at);
}

Outcome CFG_File::Impl::Load(CFG_File& self) {
    if (!open || !hasPath) return Silent();
    errno = 0;
    std::FILE* file = std::fopen(path, "r");
    // Only a file that does not exist is created; any other failure to open
    // must not truncate what is there.
    if (!file) return errno == ENOENT ? Save(self, path) : Fail(kCantOpen);
    const std::size_t length = std::fread(text.get(), 1, kTextSize - 1, file);
    const bool readError = std::ferror(file) != 0;
    std::fclose(file);
    if (readError) return Fail(kCantRead);
    text[length] = '\0';
    const char* const textEnd = text.get() + length;
    const std::string_view all(text.get(), length);
    // A value that does not fit refuses its own key only; one that cannot be
    // read at all ends the load.
    std::string skipped;
    for (unsigned short i = 0; i < count; ++i) {
        Field& field = table[i];
        const std::size_t at = all.find(field.name);
        if (at == std::string_view::npos) continue;
        const char* value = text.get() + at + std::strlen(field.name);
        while (*value == ' ' || *value == '=') ++value;
        t_doesNotFit.clear();
        if (LoadValue(self, field, value, textEnd)) continue;
        if (t_doesNotFit.empty()) {
            if (skipped.empty()) return Fail(kInvalidFile);
            return Fail(Keep(std::string(kInvalidFile) + ". " + kSkipped + skipped));
        }
        if (!skipped.empty()) skipped += ", ";
        skipped += std::string(field.name) + " (" + t_doesNotFit + ")";
    }
    return skipped.empty() ? Ok() : Fail(Keep(kSkipped + skipped));
}

bool CFG_File::Impl::LoadValue(CFG_File& self, Field& field, const char* value,
                               const char* textEnd) {
    std::uint64_t number = 0;
    switch (field.type) {
        case CFG_TYPE_DECIMAL:
            if (!ReadDecimal(value, number)) return false;
            StoreLow(field.storage, number, field.size);
            return true;
        case CFG_TYPE_HEX:
            if (!ReadHex(value, number)) return false;
            StoreLow(field.storage, number, field.size);
            return true;
        case CFG_TYPE_STRING:
            return LoadQuoted(field, value, textEnd, 1);
        case CFG_TYPE_DOUBLE:
            return field.size == 4 ? ReadFloating<float>(value, textEnd, field.storage)
                                   : ReadFloating<double>(value, textEnd, field.storage);
        default:
            return self.LoadOtherType(field, value, textEnd);
    }
}

Outcome CFG_File::Impl::Save(CFG_File& self, const char* target) {
    if (!open || !registered || !hasPath) return Silent();
    if (!target) target = path;
    for (unsigned short i = 0; i < count; ++i) {
        if (const char* failure = FormatLine(self, table[i])) return Fail(failure);
    }
    std::FILE* file = std::fopen(target, "w");
    if (!file) return Fail(kCantOpen);
    // The owners may change a variable between the check above and here, so
    // each line is formatted again rather than trusted.
    const char* failure = nullptr;
    for (unsigned short i = 0; i < count && !failure; ++i) {
        failure = FormatLine(self, table[i]);
        if (!failure && std::fputs(text.get(), file) < 0) failure = kCantWrite;
    }
    if (std::fclose(file) != 0 && !failure) failure = kCantWrite;
    return failure ? Fail(failure) : Ok();
}

const char* CFG_File::Impl::FormatLine(CFG_File& self, const Field& field) {
    char* const line = text.get();
    switch (field.type) {
        case CFG_TYPE_DECIMAL: {
            const std::int64_t value = SignExtended(LoadLow(field.storage, field.size), field.size);
            return Printed(std::snprintf(line, kTextSize, "%s=%" PRId64 "\n", field.name, value),
                           kTextSize);
        }
        case CFG_TYPE_HEX: {
            const std::uint64_t value = LoadLow(field.storage, field.size);
            return Printed(std::snprintf(line, kTextSize, "%s=0x%" PRIX64 "\n", field.name, value),
                           kTextSize);
        }
        case CFG_TYPE_STRING:
            return FormatQuoted(field, 1, line, kTextSize);
        case CFG_TYPE_DOUBLE: {
            double value;
            if (field.size == 4) {
                float narrow;
                std::memcpy(&narrow, field.storage, sizeof narrow);
                value = narrow;
            } else {
                std::memcpy(&value, field.storage, sizeof value);
            }
            // The "%le" form, written without the locale's decimal point.
            char number[32];
            const auto written = std::to_chars(number, number + sizeof number - 1, value,
                                               std::chars_format::scientific, 6);
            if (written.ec != std::errc{}) return kLineTooLong;
            *written.ptr = '\0';
            return Printed(std::snprintf(line, kTextSize, "%s=%s\n", field.name, number),
                           kTextSize);
        }
        default:
            return self.FormatOtherType(field, line, kTextSize);
    }
}

CFG_File::CFG_File() : impl_(new Impl) {}

CFG_File::~CFG_File() { delete impl_; }

int CFG_File::Init(const char* pathName, unsigned short maxFields) {
    return Guarded(impl_->lock, impl_->lastError,
                   [&] { return impl_->Init(pathName, maxFields); });
}

int CFG_File::SetPathName(const char* pathName) {
    return Guarded(impl_->lock, impl_->lastError, [&] { return impl_->SetPath(pathName); });
}

int CFG_File::AddField(const char* name, CfgFile_DataType_e type, void* storage,
                       unsigned char size) {
    return AddField(name, type, storage, size, 0);
}

int CFG_File::AddField(const char* name, CfgFile_DataType_e type, void* storage,
                       unsigned char size, unsigned long capacity) {
    const Field record{0, name, type, storage, size, capacity ? capacity : size};
    return Guarded(impl_->lock, impl_->lastError, [&] { return impl_->Add(*this, record); });
}

int CFG_File::LoadFile() {
    return Guarded(impl_->lock, impl_->lastError, [&] { return impl_->Load(*this); });
}

int CFG_File::SaveFile(const char* pathName) {
    return Guarded(impl_->lock, impl_->lastError, [&] { return impl_->Save(*this, pathName); });
}

const char* CFG_File::GetLastErrorText() const {
    std::lock_guard<std::recursive_mutex> guard(impl_->lock);
    return impl_->lastError;
}

const char* CFG_File::GetPathName() const {
    std::lock_guard<std::recursive_mutex> guard(impl_->lock);
    return impl_->hasPath ? impl_->path : "";
}

unsigned short CFG_File::GetFieldCount() const {
    std::lock_guard<std::recursive_mutex> guard(impl_->lock);
    return impl_->count;
}

const char* CFG_File::CheckField(const Field& field) const {
    switch (field.type) {
        case CFG_TYPE_DECIMAL:
        case CFG_TYPE_HEX:
            return field.size >= 1 && field.size <= 8 ? nullptr : kBadWidth;
        case CFG_TYPE_DOUBLE:
            return field.size == 4 || field.size == 8 ? nullptr : kBadWidth;
        case CFG_TYPE_STRING:
            return field.capacity > 0 ? nullptr : kNoCapacity;
        default:
            return kBadType;
    }
}

bool CFG_File::LoadOtherType(Field&, const char*, const char*) { return false; }

const char* CFG_File::FormatOtherType(const Field&, char*, unsigned) { return kInvalidType; }

// The value is everything between the first two double quotes behind the key;
// it must hold no NUL byte, which a C string could not give back, and fit the
// variable with its terminator.
bool CFG_File::LoadQuoted(Field& field, const char* valueText, const char* textEnd,
                          std::size_t unitSize) {
    const auto* open =
        static_cast<const char*>(std::memchr(valueText, '"', textEnd - valueText));
    if (!open) return false;
    const char* first = open + 1;
    const auto* close = static_cast<const char*>(std::memchr(first, '"', textEnd - first));
    if (!close) return false;
    const std::size_t length = close - first;
    if (std::memchr(first, '\0', length)) return false;
    if (length >= field.capacity) {
        return DoesNotFit("longer than " + std::to_string(field.capacity - 1) + " characters");
    }
    auto* units = static_cast<unsigned char*>(field.storage);
    for (std::size_t i = 0; i <= length; ++i) {
        const std::uint32_t unit = i < length ? ferrow::platform::Text::WidenUnit(first[i]) : 0;
        if (!WriteUnit(units + i * unitSize, unitSize, unit)) return false;
    }
    field.size = static_cast<unsigned short>(length + 1);
    return true;
}

// Refuses what the reader would not give back unchanged: a double quote, a
// unit whose low byte is 0, or a variable without a terminator within its
// capacity.
const char* CFG_File::FormatQuoted(const Field& field, std::size_t unitSize, char* line,
                                   unsigned lineSize) {
    LineBuilder out(line, lineSize);
    out.Append(field.name);
    out.Append("=\"");
    const auto* units = static_cast<const unsigned char*>(field.storage);
    for (unsigned long i = 0;; ++i) {
        std::uint32_t unit = 0;
        if (i == field.capacity || !ReadUnit(units + i * unitSize, unitSize, unit)) {
            return kBadString;
        }
        if (unit == 0) break;
        const char byte = ferrow::platform::Text::NarrowUnit(static_cast<wchar_t>(unit));
        if (byte == '"' || byte == '\0') return kBadString;
        out.Append(byte);
    }
    out.Append("\"\n");
    return out.Finish();
}
