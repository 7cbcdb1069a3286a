// Cuts the bytes a peer sends into lines ended by CR, LF or CR LF: gateways
// and terminal programs end lines either way. Empty lines are no lines, so a
// CR LF ends one line, never two. A line longer than a frame's line can be
// is thrown away whole, up to its end, so that a peer sending endless bytes
// costs no more than one line of memory.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ferrow::net {

class LineSplitter {
public:
    // Longer than any frame in any text format, with room for a time stamp.
    static constexpr std::size_t kMaxLine = 256;

    // Calls onLine with every line completed by `bytes`, without its line
    // end; returns how many overlong lines were thrown away.
    template <typename OnLine>
    std::size_t Feed(std::string_view bytes, OnLine&& onLine) {
        std::size_t overlong = 0;
        for (char c : bytes) {
            if (c == '\r' || c == '\n') {
                if (!overlong_ && !line_.empty()) onLine(std::string_view(line_));
                line_.clear();
                overlong_ = false;
            } else if (overlong_) {
                continue;
            } else if (line_.size() == kMaxLine) {
                line_.clear();
                overlong_ = true;
                ++overlong;
            } else {
                line_.push_back(c);
            }
        }
        return overlong;
    }

    // Ends the line under way, as the end of a datagram does.
    template <typename OnLine>
    void Finish(OnLine&& onLine) {
        if (!overlong_ && !line_.empty()) onLine(std::string_view(line_));
        line_.clear();
        overlong_ = false;
    }

private:
    std::string line_;
    bool overlong_ = false;
};

}  // namespace ferrow::net
