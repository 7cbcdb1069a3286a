// A serial gateway for tests and benchmarks: a pseudo-terminal whose slave
// end is the device our transport opens, and on its master end a thread that
// behaves as the gateway device does: it keeps every frame sent to it,
// answers the startup command with a status frame and the commands that
// enable PGNs as the device does, hears the messages sent to it (a strict one
// only those of PGNs enabled and activated), echoes each message heard back
// as received from the bus (those short enough to come back), and sends
// whatever messages or raw bytes it is given, as fast as the terminal takes
// them.
#pragma once

#include "net/serial/DleFrameDecoder.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/serial/SerialGatewayCommands.h"
#include "net/serial/SerialMessageCodec.h"
#include "tests/support/TempDir.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <ostream>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace ferrow::test {

inline constexpr uint32_t kSerialBaud = 115200;

class Pty {
public:
    Pty() {
        termios raw{};
        cfmakeraw(&raw);
        char name[128] = {};
        if (openpty(&master_, &slave_, name, &raw, nullptr) != 0) return;
        path_ = name;
        fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);
    }
    ~Pty() { Close(); }
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    bool Ok() const { return master_ >= 0; }
    int Master() const { return master_; }
    // The device path our transport opens.
    const std::string& Path() const { return path_; }
    // Both ends gone: the device has been unplugged. Stop its gateway first.
    void Close() {
        if (slave_ >= 0) ::close(slave_);
        if (master_ >= 0) ::close(master_);
        slave_ = master_ = -1;
    }

private:
    int master_ = -1;
    // Held open so that the master never sees the device closed while our
    // transport reopens it.
    int slave_ = -1;
    std::string path_;
};

class SimulatedGateway {
public:
    // The address the gateway's echoes come from.
    static constexpr uint8_t kEchoSource = 0x42;

    struct Options {
        bool echo = true;
        bool answersStartup = true;
        bool reads = true;
        // Hears only messages whose PGN is on the active list.
        bool strict = false;
        // Answers every enable with a failure, putting nothing on the list.
        bool refusesPgns = false;
    };
    struct Frame {
        uint8_t command;
        std::vector<uint8_t> payload;
        bool operator==(const Frame& other) const {
            return command == other.command && payload == other.payload;
        }
        friend std::ostream& operator<<(std::ostream& out, const Frame& frame) {
            out << std::hex << int{frame.command} << ':';
            for (uint8_t byte : frame.payload) out << ' ' << int{byte};
            return out << std::dec;
        }
    };

    explicit SimulatedGateway(const Pty& pty) : SimulatedGateway(pty, Options{}) {}
    SimulatedGateway(const Pty& pty, Options options)
        : master_(pty.Master()), options_(options), reads_(options.reads) {
        if (::pipe2(wake_, O_NONBLOCK | O_CLOEXEC) != 0) wake_[0] = wake_[1] = -1;
        thread_ = std::thread([this] { Run(); });
    }
    ~SimulatedGateway() {
        Stop();
        ::close(wake_[0]);
        ::close(wake_[1]);
    }
    SimulatedGateway(const SimulatedGateway&) = delete;
    SimulatedGateway& operator=(const SimulatedGateway&) = delete;

    void Stop() {
        if (!thread_.joinable()) return;
        stopping_ = true;
        Wake();
        thread_.join();
    }
    // Whether it takes what the device sends; one that does not lets the
    // terminal's buffers fill.
    void SetReading(bool reads) {
        reads_ = reads;
        Wake();
    }
    // Sends `msg` as received from the bus.
    void Inject(const N2KMsg& msg) {
        std::vector<uint8_t> payload;
        net::SerialMessageCodec::EncodeReceived(msg, Ms(), payload);
        std::vector<uint8_t> frame;
        net::DleFrameEncoder::Append(net::SerialMessageCodec::kReceivedCommand,
                                          payload.data(), payload.size(), frame);
        InjectBytes(frame);
    }
    void InjectBytes(const std::vector<uint8_t>& bytes) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            pending_.insert(pending_.end(), bytes.begin(), bytes.end());
        }
        Wake();
    }
    std::size_t HeardCount() {
        std::lock_guard<std::mutex> lock(mutex_);
        return heard_.size();
    }
    // The messages it heard, in order, from source 0: the line carries none.
    std::vector<N2KMsg> HeardMessages() {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<N2KMsg> messages;
        for (const auto& payload : heard_) {
            messages.emplace_back();
            net::SerialMessageCodec::DecodeSend(payload.data(), payload.size(), messages.back());
        }
        return messages;
    }
    std::size_t StartupRequests() const { return startups_; }
    // Every frame sent to it, in order.
    std::vector<Frame> Got() {
        std::lock_guard<std::mutex> lock(mutex_);
        return got_;
    }

private:
    static uint32_t Ms() {
        return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                         std::chrono::steady_clock::now().time_since_epoch())
                                         .count());
    }

    void Wake() {
        const char byte = 1;
        (void)!::write(wake_[1], &byte, 1);
    }

    void Run() {
        std::vector<uint8_t> writing;
        std::size_t written = 0;
        while (!stopping_) {
            if (written == writing.size()) {
                writing.clear();
                written = 0;
                std::lock_guard<std::mutex> lock(mutex_);
                writing.swap(pending_);
            }
            const bool output = written < writing.size();
            pollfd fds[2] = {{master_, static_cast<short>((reads_ ? POLLIN : 0) | (output ? POLLOUT : 0)), 0},
                             {wake_[0], POLLIN, 0}};
            if (::poll(fds, 2, -1) <= 0) continue;
            if (fds[1].revents & POLLIN) {
                char drain[64];
                while (::read(wake_[0], drain, sizeof drain) > 0) {
                }
            }
            if (fds[0].revents & POLLIN) Read();
            if ((fds[0].revents & POLLOUT) && output) {
                const ssize_t n = ::write(master_, writing.data() + written, writing.size() - written);
                if (n > 0) written += static_cast<std::size_t>(n);
            }
        }
    }

    void Read() {
        uint8_t buffer[4096];
        const ssize_t n = ::read(master_, buffer, sizeof buffer);
        if (n <= 0) return;
        std::vector<uint8_t> answers;
        const uint8_t* cursor = buffer;
        while (const auto frame = decoder_.Next(cursor, buffer + n)) {
            {
                std::lock_guard<std::mutex> lock(mutex_);
                got_.push_back({frame->command, {frame->payload, frame->payload + frame->length}});
            }
            if (frame->command == Commands::kCommand && frame->length > 0) {
                Obey(frame->payload, frame->length, answers);
                continue;
            }
            N2KMsg msg{};
            if (frame->command != net::SerialMessageCodec::kSendCommand ||
                !net::SerialMessageCodec::DecodeSend(frame->payload, frame->length, msg) ||
                (options_.strict && active_.count(msg.pgn) == 0)) {
                continue;
            }
            {
                std::lock_guard<std::mutex> lock(mutex_);
                heard_.emplace_back(frame->payload, frame->payload + frame->length);
            }
            if (!options_.echo) continue;
            msg.addressA = kEchoSource;
            std::vector<uint8_t> payload;
            if (net::SerialMessageCodec::EncodeReceived(msg, Ms(), payload) != N2K_OK) continue;
            net::DleFrameEncoder::Append(net::SerialMessageCodec::kReceivedCommand,
                                              payload.data(), payload.size(), answers);
        }
        if (!answers.empty()) InjectBytes(answers);
    }

    // Carries out a command and appends its answer.
    void Obey(const uint8_t* payload, std::size_t length, std::vector<uint8_t>& answers) {
        std::vector<uint8_t> reply = {payload[0], Commands::kDone};
        switch (payload[0]) {
            case Commands::kStartup:
                ++startups_;
                if (!options_.answersStartup) return;
                reply.insert(reply.end(), {0x00, 0x00});
                break;
            case Commands::kEnablePgn:
                if (length != 14) return;
                if (options_.refusesPgns) {
                    reply[1] = 0x00;
                } else {
                    listed_.insert(uint32_t{payload[1]} | uint32_t{payload[2]} << 8 |
                                   uint32_t{payload[3]} << 16 | uint32_t{payload[4]} << 24);
                }
                break;
            case Commands::kCommit:
                committed_ = listed_;
                break;
            case Commands::kActivate:
                active_ = committed_;
                break;
            default:
                return;
        }
        net::DleFrameEncoder::Append(Commands::kReply, reply.data(), reply.size(), answers);
    }

    using Commands = net::SerialGatewayCommands;

    const int master_;
    const Options options_;
    int wake_[2] = {-1, -1};
    std::atomic<bool> reads_;
    std::atomic<bool> stopping_{false};
    std::atomic<std::size_t> startups_{0};
    net::DleFrameDecoder decoder_;  // the thread's
    // The thread's: the PGN list as enabled, committed and active.
    std::set<uint32_t> listed_, committed_, active_;
    std::mutex mutex_;  // protects: pending_, heard_, got_
    std::vector<uint8_t> pending_;
    std::vector<std::vector<uint8_t>> heard_;
    std::vector<Frame> got_;
    std::thread thread_;
};

// A strict simulated gateway that does not echo, on a pseudo-terminal
// reached through a link that outlives it, so that it can be unplugged and
// plugged back in as a new device.
struct PluggableGateway {
    PluggableGateway() { PlugIn(); }
    void PlugIn() {
        pty = std::make_unique<Pty>();
        std::filesystem::remove(link);
        std::filesystem::create_symlink(pty->Path(), link);
        SimulatedGateway::Options options;
        options.echo = false;
        options.strict = true;
        gateway = std::make_unique<SimulatedGateway>(*pty, options);
    }
    // The device's name goes first, as a USB device's does: a transport
    // reopening it must not reach the pseudo-terminal that another test
    // process is given next under the same number.
    void Unplug() {
        std::filesystem::remove(link);
        gateway.reset();
        pty.reset();
    }

    TempDir dir;
    const std::string link = dir.File("gateway");
    std::unique_ptr<Pty> pty;
    std::unique_ptr<SimulatedGateway> gateway;
};

}  // namespace ferrow::test
