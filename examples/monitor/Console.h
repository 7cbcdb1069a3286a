// The serial console's line discipline: bytes from the UART become command
// lines ending in CR or LF (backspace edits), too long a line is dropped
// with a notice, and Print sends one line back.
#pragma once

#include <cstddef>

class Ferrow_Serial_c;

namespace monitor {

class Console {
public:
    static constexpr std::size_t kMaxLine = 63;

    explicit Console(Ferrow_Serial_c& port) : port_(port) {}

    // Names the port, sets its rate and empties it.
    void Open();

    // Takes what has arrived and calls onLine(const char*) for each complete
    // line that is not empty.
    template <class OnLine>
    void Poll(OnLine onLine) {
        unsigned char chunk[64];
        int got = 0;
        while ((got = Read(chunk, sizeof chunk)) > 0) {
            for (int i = 0; i < got; ++i) {
                if (Take(chunk[i])) onLine(line_);
            }
        }
    }

    // printf-style; the line end is added.
    void Print(const char* format, ...) __attribute__((format(printf, 2, 3)));

private:
    int Read(unsigned char* buffer, int size);
    // True when `byte` completed a line, now in line_.
    bool Take(unsigned char byte);

    Ferrow_Serial_c& port_;
    char line_[kMaxLine + 1] = {};
    std::size_t length_ = 0;
    bool overflow_ = false;
};

}  // namespace monitor
