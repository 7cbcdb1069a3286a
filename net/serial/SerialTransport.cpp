#include "net/serial/SerialTransport.h"

#include "net/N2KRecord.h"
#include "platform/MessageReport.h"
#include "platform/Text.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/serial/SerialMessageCodec.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace ferrow::net {
namespace {

constexpr short kHangUp = POLLHUP | POLLERR | POLLNVAL;

void Show(const std::string& text) { platform::MessageReport::Show(L"Gateway", platform::Text::Widen(text)); }

bool Transient(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

std::size_t SerialTransport::Batch::Unwritten() const {
    return static_cast<std::size_t>(ends.end() - std::upper_bound(ends.begin(), ends.end(), written));
}

void SerialTransport::Batch::Clear() {
    bytes.clear();
    ends.clear();
    written = 0;
}

SerialTransport::SerialTransport(std::string path, uint32_t baud, std::unique_ptr<FrameLog> log)
    : SerialTransport(std::nullopt, std::move(path), baud, std::move(log)) {}

SerialTransport::SerialTransport(SerialDiscovery discovery, uint32_t baud,
                                 std::unique_ptr<FrameLog> log)
    : SerialTransport(std::move(discovery), std::string(), baud, std::move(log)) {}

SerialTransport::SerialTransport(std::optional<SerialDiscovery> discovery, std::string path,
                                 uint32_t baud, std::unique_ptr<FrameLog> log)
    : discovery_(std::move(discovery)),
      baud_(baud),
      log_(std::move(log)),
      path_(std::move(path)),
      wake_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

SerialTransport::~SerialTransport() { Close(); }

int SerialTransport::Open() {
    Close();
    std::string error;
    if (!wake_) {
        Show("The serial gateway cannot run: the process has no file descriptors left.");
        return -1;
    }
    if (discovery_) {
        std::optional<SerialDiscovery::Found> found = discovery_->Find(error);
        if (found) {
            path_ = found->path;
            port_ = std::move(found->port);
        }
    } else {
        port_.Open(path_, baud_, error);
    }
    if (!port_.IsOpen()) {
        Show(error);
        return -1;
    }
    // A recording that cannot be made is reported, never in traffic's way.
    if (log_.Open(error) < 0) Show(error);
    decoder_.Reset();
    stopping_ = false;
    up_ = true;
    thread_ = std::thread([this] { Run(); });
    return 0;
}

void SerialTransport::StopThread() {
    if (!thread_.joinable()) return;
    stopping_ = true;
    Wake();
    thread_.join();
}

void SerialTransport::Close() {
    StopThread();
    up_ = false;
    port_.Close();
    log_.Close();
    inbox_.Clear();
    std::lock_guard<std::mutex> lock(mutex_);
    outbox_.Clear();
}

std::string SerialTransport::Path() const { return path_; }

N2KStatus SerialTransport::Send(const N2KMsg& msg) {
    payload_.clear();
    const N2KStatus status = SerialMessageCodec::EncodeSend(msg, payload_);
    if (status != N2K_OK) return status;
    if (!up_) return N2K_NOT_CONNECTED;
    frame_.clear();
    DleFrameEncoder::Append(SerialMessageCodec::kSendCommand, payload_.data(), payload_.size(),
                            frame_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (outbox_.bytes.size() + frame_.size() > kOutboxLimit) return N2K_TX_BUSY;
        outbox_.bytes.insert(outbox_.bytes.end(), frame_.begin(), frame_.end());
        outbox_.ends.push_back(outbox_.bytes.size());
    }
    Wake();
    log_.Record(msg, LineFormat::Direction::Transmitted);
    return N2K_OK;
}

N2KStatus SerialTransport::Fetch(N2KMsg& msg) {
    return inbox_.Pop(msg) ? N2K_OK : N2K_NO_MESSAGE;
}

uint64_t SerialTransport::Dropped() const { return inbox_.Dropped(); }

SerialTransport::Counters SerialTransport::GetCounters() const {
    Counters counters;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        counters = counters_;
    }
    counters.dropped = inbox_.Dropped();
    return counters;
}

void SerialTransport::Run() {
    std::chrono::milliseconds retry = kFirstRetry;
    Batch writing;
    std::vector<pollfd> fds;
    for (;;) {
        if (port_.IsOpen()) {
            if (writing.Done()) TakeOutbox(writing);
            const short events = static_cast<short>(POLLIN | (writing.Done() ? 0 : POLLOUT));
            fds.assign(1, {port_.Fd(), events, 0});
            if (!Wait(fds, std::chrono::milliseconds(-1))) return;
            const std::string lost = Exchange(fds[0].revents, writing);
            if (lost.empty()) continue;
            up_ = false;
            port_.Close();
            decoder_.Reset();
            PublishDecoderCounters();
            CountUnsent(writing.Unwritten());
            writing.Clear();
            Show("Lost the serial gateway at " + path_ + ": " + lost +
                 ". Reopening it in the background.");
        }
        // Frames sent around the loss have nowhere to go.
        TakeOutbox(writing);
        CountUnsent(writing.Unwritten());
        writing.Clear();
        fds.clear();
        if (!Wait(fds, retry)) return;
        std::string ignored;
        if (port_.Open(path_, baud_, ignored) == 0) {
            retry = kFirstRetry;
            up_ = true;
        } else {
            retry = std::min(retry * 2, kLastRetry);
        }
    }
}

std::string SerialTransport::Exchange(short revents, Batch& writing) {
    if (revents & (POLLIN | kHangUp)) {
        uint8_t buffer[4096];
        const ssize_t n = ::read(port_.Fd(), buffer, sizeof buffer);
        if (n > 0) {
            Deliver(buffer, static_cast<std::size_t>(n));
        } else if (n == 0 || !Transient(errno)) {
            return n == 0 ? "the device hung up" : std::strerror(errno);
        } else if (revents & kHangUp) {
            return "the device hung up";
        }
    }
    if ((revents & POLLOUT) && !writing.Done()) {
        const ssize_t n =
            ::write(port_.Fd(), writing.bytes.data() + writing.written, writing.bytes.size() - writing.written);
        if (n > 0) {
            writing.written += static_cast<std::size_t>(n);
        } else if (n < 0 && !Transient(errno)) {
            return std::strerror(errno);
        }
    }
    return {};
}

void SerialTransport::Deliver(const uint8_t* bytes, std::size_t size) {
    N2KMsg msg{};
    const uint8_t* cursor = bytes;
    while (const auto frame = decoder_.Next(cursor, bytes + size)) {
        if (frame->command != SerialMessageCodec::kReceivedCommand) continue;
        uint32_t gatewayMs = 0;
        if (!SerialMessageCodec::DecodeReceived(frame->payload, frame->length, msg, gatewayMs)) {
            ++malformed_;
            continue;
        }
        msg.timeStamp = net::N2KRecord::TimeStampNow();
        log_.Record(msg, LineFormat::Direction::Received);
        inbox_.Push(msg);
    }
    PublishDecoderCounters();
}

void SerialTransport::PublishDecoderCounters() {
    const DleFrameDecoder::Counters& decoded = decoder_.GetCounters();
    std::lock_guard<std::mutex> lock(mutex_);
    counters_.badFrames = decoded.discardedFrames + malformed_;
    counters_.discardedBytes = decoded.discardedBytes;
}

bool SerialTransport::Wait(std::vector<pollfd>& fds, std::chrono::milliseconds timeout) {
    fds.push_back({wake_.Fd(), POLLIN, 0});
    const int ms = timeout.count() < 0 ? -1 : static_cast<int>(timeout.count());
    if (poll(fds.data(), fds.size(), ms) > 0 && (fds.back().revents & POLLIN)) {
        uint64_t count = 0;
        (void)!::read(wake_.Fd(), &count, sizeof count);
    }
    fds.pop_back();
    return !stopping_;
}

void SerialTransport::Wake() {
    // A full counter already wakes the thread: nothing to do on failure.
    const uint64_t one = 1;
    (void)!::write(wake_.Fd(), &one, sizeof one);
}

void SerialTransport::TakeOutbox(Batch& batch) {
    batch.Clear();
    std::lock_guard<std::mutex> lock(mutex_);
    std::swap(batch, outbox_);
}

void SerialTransport::CountUnsent(std::size_t messages) {
    if (messages == 0) return;
    std::lock_guard<std::mutex> lock(mutex_);
    counters_.unsent += messages;
}

}  // namespace ferrow::net
