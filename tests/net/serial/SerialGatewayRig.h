// A serial gateway for tests and benchmarks: a pseudo-terminal whose slave
// end is the device our transport opens, and on its master end a thread that
// behaves as the gateway device does: it hears the messages sent to it,
// answers the startup command with a status frame, echoes each message back
// as received from the bus (those short enough to come back), and sends whatever messages or raw bytes it is
// given, as fast as the terminal takes them.
#pragma once

#include "net/serial/DleFrameDecoder.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/serial/SerialDiscovery.h"
#include "net/serial/SerialMessageCodec.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ferrow::test {

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
    // The payloads of the messages sent to it, in order.
    std::vector<std::vector<uint8_t>> Heard() {
        std::lock_guard<std::mutex> lock(mutex_);
        return heard_;
    }
    std::size_t HeardCount() {
        std::lock_guard<std::mutex> lock(mutex_);
        return heard_.size();
    }
    std::size_t StartupRequests() const { return startups_; }

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
            if (frame->command == net::SerialDiscovery::kStartupCommand) {
                ++startups_;
                if (!options_.answersStartup) continue;
                const uint8_t status[] = {0x11, 0x01, 0x00, 0x00};
                net::DleFrameEncoder::Append(net::SerialDiscovery::kStatusCommand, status,
                                                  sizeof status, answers);
            }
            if (frame->command != net::SerialMessageCodec::kSendCommand) continue;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                heard_.emplace_back(frame->payload, frame->payload + frame->length);
            }
            N2KMsg msg{};
            if (!options_.echo ||
                !net::SerialMessageCodec::DecodeSend(frame->payload, frame->length, msg)) {
                continue;
            }
            msg.addressA = kEchoSource;
            std::vector<uint8_t> payload;
            if (net::SerialMessageCodec::EncodeReceived(msg, Ms(), payload) != N2K_OK) continue;
            net::DleFrameEncoder::Append(net::SerialMessageCodec::kReceivedCommand,
                                              payload.data(), payload.size(), answers);
        }
        if (!answers.empty()) InjectBytes(answers);
    }

    const int master_;
    const Options options_;
    int wake_[2] = {-1, -1};
    std::atomic<bool> reads_;
    std::atomic<bool> stopping_{false};
    std::atomic<std::size_t> startups_{0};
    net::DleFrameDecoder decoder_;  // the thread's
    std::mutex mutex_;                   // protects: pending_, heard_
    std::vector<uint8_t> pending_;
    std::vector<std::vector<uint8_t>> heard_;
    std::thread thread_;
};

}  // namespace ferrow::test
