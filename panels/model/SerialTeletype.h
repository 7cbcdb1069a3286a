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
//   bytes 0x80 and above pass through unchanged, one column each.
// A line that would grow past 1,024 columns is ended there as a completed line
// and the byte starts the next one.
//
// The window feeds every batch of bytes it takes and then calls Take. It keeps
// one flag, "the last entry shows the pending line": it first removes (or
// overwrites) that entry if the flag is set, appends the completed lines, then
// appends the pending text as the new last entry if it is not empty and sets
// the flag accordingly. So an unfinished line is listed once at most, and is
// replaced by the completed line when it ends. Clearing the window clears the
// flag only: the pending line shows again with the next batch.
//
// Not locked: the window's thread alone uses it.
#pragma once


#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace ferrow::panels {

class SerialTeletype {
public:
    static constexpr std::size_t kLineColumns = 1024;
    static constexpr std::size_t kTabColumns = 8;
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

    void Feed(const unsigned char* bytes, std::size_t count);
    Batch Take();

private:
    void Put(unsigned char byte);
    void Store(unsigned char byte);
    void EndLine();
    static std::string Shown(const std::string& cells);

    // One byte per column; controls are turned into caret notation only when
    // shown, so a backspace steps over a control byte whole.
    std::string line_;
    std::size_t column_ = 0;
    std::deque<std::string> backlog_;
    std::size_t dropped_ = 0;
};

}  // namespace ferrow::panels
