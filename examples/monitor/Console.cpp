#include "Console.h"

#include "MonitorBoard.h"

#include <ferrow/Ferrow_Serial_c.h>

#include <cstdarg>
#include <cstdio>

namespace monitor {

namespace {

constexpr unsigned char kBackspace = 0x08;
constexpr unsigned char kDelete = 0x7F;

}  // namespace

void Console::Open() {
    port_.SetName(kConsoleName);
    port_.SetBaud(kConsoleBaud);
    port_.Init(nullptr);
}

int Console::Read(unsigned char* buffer, int size) { return port_.GetRX(buffer, size); }

bool Console::Take(unsigned char byte) {
    if (byte == '\r' || byte == '\n') {
        const bool tooLong = overflow_;
        const bool complete = !tooLong && length_ > 0;
        line_[length_] = '\0';
        length_ = 0;
        overflow_ = false;
        if (tooLong) Print("line too long");
        return complete;
    }
    if (byte == kBackspace || byte == kDelete) {
        if (length_ > 0 && !overflow_) --length_;
        return false;
    }
    // A NUL would end the line early for whoever reads it.
    if (byte == '\0' || overflow_) return false;
    if (length_ == kMaxLine) {
        overflow_ = true;
        return false;
    }
    line_[length_++] = static_cast<char>(byte);
    return false;
}

void Console::Print(const char* format, ...) {
    char text[128];
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(text, sizeof text - 1, format, args);
    va_end(args);
    if (n < 0) return;
    if (n > static_cast<int>(sizeof text) - 2) n = sizeof text - 2;
    text[n++] = '\n';
    // With no one reading the line, the transmit ring fills and the rest is
    // dropped, as an unattended UART would.
    port_.PutTX(reinterpret_cast<const unsigned char*>(text), n);
}

}  // namespace monitor
