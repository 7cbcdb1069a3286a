#include "net/links/LineStream.h"

#include <algorithm>

namespace ferrow::net {

// Every line format ends its lines in LF; a line partly sent still counts.
std::size_t LineStream::PendingLines() const {
    return static_cast<std::size_t>(std::count(pending_.begin(), pending_.end(), '\n'));
}

bool LineStream::Queue(std::string_view lines) {
    if (lines.size() > Room()) return false;
    pending_.append(lines);
    return true;
}

bool LineStream::Flush() {
    while (!pending_.empty()) {
        const long n = socket_.Send(pending_.data(), pending_.size());
        if (n < 0) return Socket::WouldBlock();
        pending_.erase(0, static_cast<std::size_t>(n));
    }
    return true;
}

bool LineStream::Read(const OnLine& onLine, std::size_t& overlong) {
    char buffer[4096];
    for (int i = 0; i < 16; ++i) {
        const long n = socket_.Receive(buffer, sizeof buffer);
        if (n == 0) return false;
        if (n < 0) return Socket::WouldBlock();
        bytesRead_ += static_cast<uint64_t>(n);
        overlong += splitter_.Feed(std::string_view(buffer, static_cast<std::size_t>(n)), onLine);
    }
    return true;
}

}  // namespace ferrow::net
