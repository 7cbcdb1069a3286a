// The image and its file. Every path that would lose what the firmware
// stored (no file to write, a failed seek or write) ends the process.
#include "peripherals/eeprom/EEPROM_MSVC_c.h"

#include "peripherals/eeprom/EepromImageFormat.h"
#include "platform/MessageReport.h"
#include "platform/Text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

using ferrow::platform::MessageReport;
using ferrow::platform::Text;

namespace ferrow::peripherals {
namespace {

using Format = EepromImageFormat;

// Straight out, whichever thread asks: exit handlers could wait on the very
// worker thread that is writing the EEPROM.
[[noreturn]] void EndProcess(const char* message) {
    if (message != nullptr) std::fputs(message, stdout);
    std::fflush(nullptr);
    std::_Exit(1);
}

std::FILE* Open(const std::wstring& path, const char* mode) {
    return std::fopen(Text::Narrow(path).c_str(), mode);
}

bool Acceptable(const wchar_t* path) {
    if (path == nullptr) return false;
    size_t length = 0;
    while (length <= EEPROM_MSVC_c::kMaxPath && path[length] != 0) ++length;
    return length > 0 && length <= EEPROM_MSVC_c::kMaxPath;
}

// A file that cannot be written whole would lose the image, so it ends the
// process like one that cannot be opened.
bool WriteAndClose(std::FILE* file, const std::string& text) {
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written;
}

void WriteWholeFile(const std::wstring& path, const uint8_t* image, int32_t size) {
    std::string text;
    Format::AppendRecords(image, 0, static_cast<size_t>(size) / Format::kBytesPerRecord, text);
    std::FILE* file = Open(path, "wb");
    if (file != nullptr && WriteAndClose(file, text)) return;
    MessageReport::Show(L"Fatal Error", L"Unable to open EEPROM file " + path + L" for writing");
    EndProcess(nullptr);
}

}  // namespace

EEPROM_MSVC_c::EEPROM_MSVC_c() : image_(new uint8_t[kDefaultSize]) {
    std::memset(image_.get(), 0xFF, kDefaultSize);
}

int EEPROM_MSVC_c::SetSize(unsigned long size) {
    if (size == 0 || size > static_cast<unsigned long>(kMaxSize) ||
        size % Format::kBytesPerRecord != 0) {
        return -1;
    }
    std::unique_ptr<uint8_t[]> image(new (std::nothrow) uint8_t[size]);
    if (!image) return -1;
    std::memset(image.get(), 0xFF, size);
    image_ = std::move(image);
    size_ = static_cast<int32_t>(size);
    loaded_ = false;
    return 0;
}

int EEPROM_MSVC_c::SetPath(const wchar_t* path) {
    if (!Acceptable(path)) return -1;
    path_ = path;
    return 0;
}

void EEPROM_MSVC_c::Load() {
    std::FILE* file = Open(path_, "rb");
    if (file == nullptr) {
        std::memset(image_.get(), 0xFF, static_cast<size_t>(size_));
        WriteWholeFile(path_, image_.get(), size_);
    } else {
        // Only the records the image needs are read, however long the file is.
        std::vector<uint8_t> text(Format::FileBytes(static_cast<size_t>(size_)));
        const size_t length = std::fread(text.data(), 1, text.size(), file);
        std::fclose(file);
        if (!Format::Parse(text.data(), length, image_.get(), static_cast<size_t>(size_))) {
            std::printf("%s is invalid\nover write with default\n", Text::Narrow(path_).c_str());
            WriteWholeFile(path_, image_.get(), size_);
        }
    }
    loaded_ = true;
}

void EEPROM_MSVC_c::EnsureLoaded() {
    if (!loaded_) Load();
}

void EEPROM_MSVC_c::Read(uint16_t address, uint8_t* destination, uint16_t count) {
    if (address >= size_ || destination == nullptr) return;
    EnsureLoaded();
    const size_t n = std::min<size_t>(count, static_cast<size_t>(size_ - address));
    std::memmove(destination, image_.get() + address, n);
}

void EEPROM_MSVC_c::Write(uint16_t address, const uint8_t* source, uint16_t count) {
    if (address >= size_ || source == nullptr) return;
    EnsureLoaded();
    std::FILE* file = Open(path_, "r+b");
    if (file == nullptr) EndProcess("Can't open eeprom.hex\n");
    const size_t n = std::min<size_t>(count, static_cast<size_t>(size_ - address));
    // The source may be the image itself, reached through Buffer().
    std::memmove(image_.get() + address, source, n);
    std::string text;
    if (n > 0) {
        const size_t first = address / Format::kBytesPerRecord;
        const size_t last = (address + n - 1) / Format::kBytesPerRecord;
        Format::AppendRecords(image_.get(), first, last - first + 1, text);
        if (std::fseek(file, static_cast<long>(first * Format::kRecordBytes), SEEK_SET) != 0) {
            EndProcess("fatal error: seek was unsuccessful\n");
        }
    }
    if (!WriteAndClose(file, text)) EndProcess("fatal error: write was unsuccessful\n");
}

int EEPROM_MSVC_c::SaveAs(const wchar_t* path) {
    if (!Acceptable(path)) return -1;
    if (path_ == path) return 0;
    // Unloaded, the image holds nothing of the working file yet.
    EnsureLoaded();
    WriteWholeFile(path, image_.get(), size_);
    return 0;
}

}  // namespace ferrow::peripherals
