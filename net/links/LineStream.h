// One TCP connection of a socket link, used by its I/O thread only: whole
// lines wait in a bounded buffer until the peer takes them, and received
// bytes are cut into lines.
#pragma once

#include "net/formats/LineSplitter.h"
#include "net/links/Socket.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace ferrow::net {

class LineStream {
public:
    // Some seconds of a busy network as text.
    static constexpr std::size_t kPendingLimit = 64 * 1024;

    using OnLine = std::function<void(std::string_view)>;

    explicit LineStream(Socket socket) : socket_(std::move(socket)) {}

    Socket::Handle Fd() const { return socket_.Fd(); }
    bool WantsWrite() const { return !pending_.empty(); }
    // Bytes Queue takes now.
    std::size_t Room() const { return kPendingLimit - pending_.size(); }
    // Lines queued that the peer has not taken yet.
    std::size_t PendingLines() const;
    // Every byte received so far.
    uint64_t BytesRead() const { return bytesRead_; }

    // False, queuing nothing, when the lines do not fit.
    bool Queue(std::string_view lines);
    // False when the connection is lost.
    bool Flush();

    // Reads what has arrived, a bounded amount per call so that one busy
    // peer cannot starve the others. Calls onLine for every complete line;
    // false when the connection is closed or lost. `overlong` counts the
    // lines thrown away.
    bool Read(const OnLine& onLine, std::size_t& overlong);

private:
    Socket socket_;
    LineSplitter splitter_;
    std::string pending_;
    uint64_t bytesRead_ = 0;
};

}  // namespace ferrow::net
