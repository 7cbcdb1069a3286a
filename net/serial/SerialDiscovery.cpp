#include "net/serial/SerialDiscovery.h"

#include "net/serial/DleFrameDecoder.h"
#include "net/serial/SerialGatewayCommands.h"
#include "net/serial/SerialMessageCodec.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace ferrow::net {
namespace {

// Number order within each name stem: ttyUSB2 before ttyUSB10.
bool NumberOrder(const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

}  // namespace

SerialDiscovery::SerialDiscovery(std::vector<std::string> candidates, int limit, uint32_t baud,
                                 std::chrono::milliseconds probeTime)
    : candidates_(std::move(candidates)), limit_(limit), baud_(baud), probeTime_(probeTime) {}

std::vector<std::string> SerialDiscovery::PresentDevices(const std::string& dir) {
    std::vector<std::string> found;
    for (const char* stem : {"ttyUSB", "ttyACM"}) {
        std::vector<std::string> named;
        std::error_code failed;
        for (std::filesystem::directory_iterator entry(dir, failed), end; !failed && entry != end;
             entry.increment(failed)) {
            const std::string name = entry->path().filename().string();
            if (name.rfind(stem, 0) == 0) named.push_back(entry->path().string());
        }
        std::sort(named.begin(), named.end(), NumberOrder);
        found.insert(found.end(), named.begin(), named.end());
    }
    return found;
}

std::string SerialDiscovery::Probe(const SerialPort& port) const {
    std::vector<uint8_t> request;
    SerialGatewayCommands::AppendStartup(request);
    if (::write(port.Fd(), request.data(), request.size()) != static_cast<ssize_t>(request.size())) {
        return std::string("cannot write: ") + std::strerror(errno);
    }
    DleFrameDecoder decoder;
    uint8_t buffer[512];
    const auto deadline = std::chrono::steady_clock::now() + probeTime_;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        pollfd fd{port.Fd(), POLLIN, 0};
        if (poll(&fd, 1, static_cast<int>(left.count())) <= 0) continue;
        const ssize_t n = ::read(port.Fd(), buffer, sizeof buffer);
        if (n < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (n <= 0) return n == 0 ? "hung up" : std::strerror(errno);
        const uint8_t* cursor = buffer;
        while (const auto frame = decoder.Next(cursor, buffer + n)) {
            if (frame->command == SerialGatewayCommands::kReply ||
                frame->command == SerialMessageCodec::kReceivedCommand) {
                return {};
            }
        }
    }
    return "no answer";
}

std::optional<SerialDiscovery::Found> SerialDiscovery::Find(std::string& error) const {
    if (limit_ <= 0) {
        error = "No serial gateway searched for: MAX_PORT_SEARCH is " + std::to_string(limit_) +
                ".";
        return std::nullopt;
    }
    const std::size_t count = std::min(candidates_.size(), static_cast<std::size_t>(limit_));
    if (count == 0) {
        error = "No serial gateway found: no /dev/ttyUSB* or /dev/ttyACM* device is present.";
        return std::nullopt;
    }
    std::string tried;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string& path = candidates_[i];
        Found found{path, SerialPort()};
        std::string why;
        if (found.port.Open(path, baud_, why) == 0) {
            const std::string silence = Probe(found.port);
            if (silence.empty()) return found;
            why = path + ": " + silence + ".";
        }
        tried += " " + why;
    }
    error = "No serial gateway answered within " + std::to_string(probeTime_.count()) +
            " ms; tried:" + tried;
    return std::nullopt;
}

}  // namespace ferrow::net
