// The serial log window's reading of what the firmware's UART transmits, as
// a simple terminal on the far end of the wire would show it:
//   LF   ends the line; CR LF therefore ends it once.
//   CR   returns to column 0; what follows overwrites the line from there and
//        the rest of the line stays, as on a screen.
//   BS   steps back one column without erasing, so the next byte overwrites
//        and "ab" BS LF still reads "ab". At column 0, with nowhere to go, it
//        leaves a BEL there and moves past it, so it shows like other controls.
//   HT   moves to the next multiple of 8, padding the line with spaces.
//   other C0 controls and DEL take one column and show in caret notation
//        (BEL as "^G", ESC as "^["), so a stray byte is visible, not lost.
//   UTF-8 sequences show as their character, one column each. A sequence
//        cut between two batches waits for its end; a byte that cannot be
//        part of valid UTF-8 (a lone continuation, an overlong form, a
//        surrogate, a sequence broken off) shows as \xNN, one column.
// A line that would grow past 1,024 columns is ended there as a completed line
// and the byte starts the next one.
//
// Hex view, for binary protocols: every byte counts, 16 to a line, shown as
// hex and beside it as ASCII with '.' for what is not printable. Switching
// the view ends the line under way, so each line is read one way only.
//
// Time stamps: each line can begin with the time its first byte was fed, in
// seconds of the clock the window feeds with. The setting applies to the
// lines completed from then on and to the unfinished one.
//
// Lines are UTF-8 text. The window feeds every batch of bytes it takes and
// then calls Take. It keeps one flag, "the last entry shows the pending
// line": it first replaces that entry if the flag is set, appends the
// completed lines, then appends the pending text as the new last entry if it
// is not empty and sets the flag accordingly. So an unfinished line is listed
// once at most, and is replaced by the completed line when it ends. Clearing
// the window clears the flag only: the pending line shows again with the next
// batch.
//
// Not locked: the window's thread alone uses it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace ferrow::panels {

class SerialTeletype {
public:
    static constexpr std::size_t kLineColumns = 1024;
    static constexpr std::size_t kTabColumns = 8;
    static constexpr std::size_t kHexBytesPerLine = 16;
    // Completed lines kept between two Takes; beyond this the oldest are
    // dropped, so a window that stops taking cannot make memory grow.
    static constexpr std::size_t kMaxBacklog = 4096;

    struct Batch {
        // Completed since the last Take, oldest first.
        std::vector<std::string> lines;
        // The unfinished line as shown; empty when there is none.
        std::string pending;
        // Completed lines lost to the backlog bound since the last Take.
        std::size_t dropped = 0;
    };

    // `nowMs` stamps the lines whose first byte is among `bytes`.
    void Feed(const unsigned char* bytes, std::size_t count, uint64_t nowMs = 0);
    Batch Take();

    void SetHex(bool on);
    void SetTimeStamps(bool on);
    bool Hex() const { return hex_; }
    bool TimeStamps() const { return timeStamps_; }

private:
    // A column's content: a character, or kRawByte plus a byte that is not
    // valid UTF-8.
    using Cell = uint32_t;
    static constexpr Cell kRawByte = 0x80000000u;

    void Put(unsigned char byte);
    void PutText(unsigned char byte);
    // Ends a sequence broken off: its bytes become raw cells.
    void BreakSequence();
    void Control(unsigned char byte);
    void Store(Cell cell);
    void EndLine();
    // The line under way as shown, with its time stamp if on.
    std::string Shown() const;
    std::string ShownText() const;
    std::string ShownHex() const;

    bool hex_ = false;
    bool timeStamps_ = false;
    uint64_t now_ = 0;

    // The line under way: one cell per column in text view, one byte per
    // cell in hex view. Controls are turned into caret notation only when
    // shown, so a backspace steps over a control byte whole.
    std::vector<Cell> line_;
    std::size_t column_ = 0;
    // Whether a byte of the line under way has been fed, and when.
    bool lineOpen_ = false;
    uint64_t lineStart_ = 0;

    // The UTF-8 sequence under way: its bytes so far, the bytes still to
    // come, and the range the next one must lie in.
    std::vector<unsigned char> sequence_;
    std::size_t missing_ = 0;
    unsigned char low_ = 0x80;
    unsigned char high_ = 0xBF;

    std::deque<std::string> backlog_;
    std::size_t dropped_ = 0;
};

}  // namespace ferrow::panels
