// One TCP connection of a socket link, used by its I/O thread only: whole
// lines wait in a bounded buffer until the peer takes them, so that a slow
// peer loses lines rather than stalling the link; received bytes are cut
// into lines.
#pragma once

#include "net/formats/LineSplitter.h"
#include "net/links/Socket.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>

namespace ferrow::net {

class LineStream {
public:
    // Some seconds of a busy network as text.
    static constexpr std::size_t kPendingLimit = 64 * 1024;

    explicit LineStream(Socket socket) : socket_(std::move(socket)) {}

    int Fd() const { return socket_.Fd(); }
    bool WantsWrite() const { return !pending_.empty(); }

    // False, queuing nothing, when the lines do not fit.
    bool Queue(std::string_view lines);
    // False when the connection is lost.
    bool Flush();

    // Reads what has arrived, a bounded amount per call so that one busy
    // peer cannot starve the others. Calls onLine for every complete line;
    // false when the connection is closed or lost. `overlong` counts the
    // lines thrown away.
    template <typename OnLine>
    bool Read(OnLine&& onLine, std::size_t& overlong) {
        char buffer[4096];
        for (int i = 0; i < 16; ++i) {
            const ssize_t n = recv(socket_.Fd(), buffer, sizeof buffer, 0);
            if (n == 0) return false;
            if (n < 0) return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
            overlong += splitter_.Feed(std::string_view(buffer, static_cast<std::size_t>(n)),
                                       onLine);
        }
        return true;
    }

private:
    Socket socket_;
    LineSplitter splitter_;
    std::string pending_;
};

}  // namespace ferrow::net
