#include "net/serial/SerialTransport.h"

#include "net/can/Framing.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/serial/SerialGatewayCommands.h"
#include "net/serial/SerialMessageCodec.h"
#include "net/transport/N2KRecord.h"
#include "net/transport/OperatorMessage.h"

#include <algorithm>

namespace ferrow::net {

SerialTransport::Carried& SerialTransport::Carried::operator+=(const Carried& other) {
    frames += other.frames;
    bits += other.bits;
    return *this;
}

SerialTransport::Carried SerialTransport::Batch::TakeWhole() {
    Carried carried;
    for (; whole < messages.size() && messages[whole].end <= written; ++whole) {
        carried += messages[whole].carried;
    }
    return carried;
}

void SerialTransport::Batch::Clear() {
    bytes.clear();
    messages.clear();
    written = 0;
    whole = 0;
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
      path_(std::move(path)) {
    pgns_.reserve(kMaxPgns);
}

SerialTransport::~SerialTransport() { Close(); }

int SerialTransport::Open() {
    Close();
    std::string error;
    if (!thread_.CanRun()) {
        OperatorMessage::Show("The serial gateway cannot run: the process has no file descriptors left.");
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
        OperatorMessage::Show(error);
        return -1;
    }
    // A recording that cannot be made is reported, never in traffic's way.
    if (log_.Open(error) < 0) OperatorMessage::Show(error);
    decoder_.Reset();
    toldRefusal_ = false;
    // Ahead of anything sent once the transport is up.
    AppendSetup(outbox_);
    up_ = true;
    thread_.Start([this] { Run(); });
    return 0;
}

void SerialTransport::Close() {
    thread_.Stop();
    up_ = false;
    port_.Close();
    log_.Close();
    inbox_.Clear();
    std::lock_guard<std::mutex> lock(mutex_);
    outbox_.Clear();
}

std::string SerialTransport::Path() const { return path_; }

SerialTransport::Carried SerialTransport::CarriedOnBus(const N2KMsg& msg) {
    const uint8_t transport = Framing::Choose(msg.pgn, msg.length, msg.transport);
    return {Framing::FramesOf(transport, msg.length), Framing::BitsOf(transport, msg.length)};
}

N2KStatus SerialTransport::Send(const N2KMsg& msg) {
    payload_.clear();
    const N2KStatus status = SerialMessageCodec::EncodeSend(msg, payload_);
    if (status != N2K_OK) return status;
    if (!up_) return N2K_NOT_CONNECTED;
    frame_.clear();
    DleFrameEncoder::Append(SerialMessageCodec::kSendCommand, payload_.data(), payload_.size(),
                            frame_);
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto at = std::lower_bound(pgns_.begin(), pgns_.end(), msg.pgn);
        const bool fresh = at == pgns_.end() || *at != msg.pgn;
        if (fresh && pgns_.size() == kMaxPgns) {
            lock.unlock();
            TellFull(msg.pgn);
            return N2K_BAD_MESSAGE;
        }
        const std::size_t before = outbox_.bytes.size();
        if (fresh) SerialGatewayCommands::AppendEnables(&msg.pgn, 1, outbox_.bytes);
        if (outbox_.bytes.size() + frame_.size() > kOutboxLimit) {
            outbox_.bytes.resize(before);
            return N2K_TX_BUSY;
        }
        if (fresh) pgns_.insert(at, msg.pgn);
        outbox_.bytes.insert(outbox_.bytes.end(), frame_.begin(), frame_.end());
        outbox_.messages.push_back({outbox_.bytes.size(), CarriedOnBus(msg)});
    }
    thread_.Wake();
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

void SerialTransport::TellFull(uint32_t pgn) {
    if (toldFull_) return;
    toldFull_ = true;
    OperatorMessage::Show("The serial gateway transmits at most " + std::to_string(kMaxPgns) + " PGNs: PGN " +
         std::to_string(pgn) + " and every further new PGN are refused.");
}

void SerialTransport::AddStats(FerrowGatewayStats& stats) const {
    const Counters counters = GetCounters();
    stats.framesIn += counters.framesIn;
    stats.framesOut += counters.framesOut;
    stats.busBits += counters.busBits;
    stats.dropped += counters.dropped;
    stats.lostSends += counters.unsent;
    stats.badInput += counters.badFrames;
    stats.peerLosses += counters.losses;
    stats.recordingFailures += log_.Failures();
}

void SerialTransport::AppendSetup(Batch& batch) {
    std::lock_guard<std::mutex> lock(mutex_);
    SerialGatewayCommands::AppendStartup(batch.bytes);
    SerialGatewayCommands::AppendEnables(pgns_.data(), pgns_.size(), batch.bytes);
}

void SerialTransport::Run() {
    std::chrono::milliseconds retry = kFirstRetry;
    Batch writing;
    std::vector<PollThread::Watch> watches;
    for (;;) {
        if (port_.IsOpen()) {
            if (writing.Done()) TakeOutbox(writing);
            std::string lost = port_.WriteIdle() ? Transmit(writing) : std::string();
            if (lost.empty()) {
                watches.assign(1, PollThread::Watch::Device(port_.WaitHandle(), !writing.Done()));
                if (!thread_.Wait(watches, std::chrono::milliseconds(-1))) return;
                lost = Receive(watches[0]);
                if (lost.empty() && watches[0].writable) lost = Transmit(writing);
            }
            if (lost.empty()) continue;
            up_ = false;
            port_.Close();
            decoder_.Reset();
            PublishDecoderCounters(Carried(), 0);
            {
                std::lock_guard<std::mutex> lock(mutex_);
                ++counters_.losses;
            }
            CountUnsent(writing.Unwritten());
            writing.Clear();
            OperatorMessage::Show("Lost the serial gateway at " + path_ + ": " + lost +
                 ". Reopening it in the background.");
        }
        // Frames sent around the loss have nowhere to go.
        TakeOutbox(writing);
        CountUnsent(writing.Unwritten());
        writing.Clear();
        watches.clear();
        if (!thread_.Wait(watches, retry)) return;
        std::string ignored;
        if (port_.Open(path_, baud_, ignored) == 0) {
            retry = kFirstRetry;
            AppendSetup(writing);
            up_ = true;
        } else {
            retry = std::min(retry * 2, kLastRetry);
        }
    }
}

std::string SerialTransport::Receive(const PollThread::Watch& ready) {
    if (!ready.readable && !ready.hungUp) return {};
    std::string error;
    uint8_t buffer[4096];
    const long n = port_.Read(buffer, sizeof buffer, error);
    if (n > 0) {
        Deliver(buffer, static_cast<std::size_t>(n));
    } else if (n == SerialPort::kLost || ready.hungUp) {
        return error.empty() ? "the device hung up" : error;
    }
    return {};
}

std::string SerialTransport::Transmit(Batch& writing) {
    if (writing.Done()) return {};
    std::string error;
    const long n = port_.Write(writing.bytes.data() + writing.written,
                               writing.bytes.size() - writing.written, error);
    if (n == SerialPort::kLost) return error;
    writing.written += static_cast<std::size_t>(n);
    const Carried carried = writing.TakeWhole();
    if (carried.frames > 0) {
        std::lock_guard<std::mutex> lock(mutex_);
        counters_.framesOut += carried.frames;
        counters_.busBits += carried.bits;
    }
    return {};
}

void SerialTransport::Deliver(const uint8_t* bytes, std::size_t size) {
    N2KMsg msg{};
    Carried received;
    uint64_t refused = 0;
    const uint8_t* cursor = bytes;
    while (const auto frame = decoder_.Next(cursor, bytes + size)) {
        if (frame->command == SerialGatewayCommands::kReply &&
            SerialGatewayCommands::RefusedEnable(frame->payload, frame->length)) {
            ++refused;
        }
        if (frame->command != SerialMessageCodec::kReceivedCommand) continue;
        uint32_t gatewayMs = 0;
        if (!SerialMessageCodec::DecodeReceived(frame->payload, frame->length, msg, gatewayMs)) {
            ++malformed_;
            continue;
        }
        msg.timeStamp = net::N2KRecord::TimeStampNow();
        received += CarriedOnBus(msg);
        log_.Record(msg, LineFormat::Direction::Received);
        inbox_.Push(msg);
    }
    if (refused > 0 && !toldRefusal_) {
        toldRefusal_ = true;
        OperatorMessage::Show("The serial gateway at " + path_ +
             " refused to transmit a PGN: messages of that PGN do not reach the bus.");
    }
    PublishDecoderCounters(received, refused);
}

void SerialTransport::PublishDecoderCounters(const Carried& received, uint64_t refusedPgns) {
    const DleFrameDecoder::Counters& decoded = decoder_.GetCounters();
    std::lock_guard<std::mutex> lock(mutex_);
    counters_.badFrames = decoded.discardedFrames + malformed_;
    counters_.discardedBytes = decoded.discardedBytes;
    counters_.framesIn += received.frames;
    counters_.busBits += received.bits;
    counters_.refusedPgns += refusedPgns;
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
