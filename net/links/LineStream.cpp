#include "net/links/LineStream.h"

namespace ferrow::net {

bool LineStream::Queue(std::string_view lines) {
    if (pending_.size() + lines.size() > kPendingLimit) return false;
    pending_.append(lines);
    return true;
}

bool LineStream::Flush() {
    while (!pending_.empty()) {
        // MSG_NOSIGNAL: a peer that has gone must not kill the process.
        const ssize_t n = send(socket_.Fd(), pending_.data(), pending_.size(),
                               MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0) return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        pending_.erase(0, static_cast<std::size_t>(n));
    }
    return true;
}

}  // namespace ferrow::net
