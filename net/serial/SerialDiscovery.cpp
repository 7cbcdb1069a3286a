#include "net/serial/SerialDiscovery.h"

#include "net/serial/DleFrameDecoder.h"
#include "net/serial/SerialGatewayCommands.h"
#include "net/serial/SerialMessageCodec.h"

#include <algorithm>
#include <filesystem>

namespace ferrow::net {
namespace {

// Number order within each name stem: ttyUSB2 before ttyUSB10, COM2
// before COM10.
bool NumberOrder(const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

}  // namespace

SerialDiscovery::SerialDiscovery(std::vector<std::string> candidates, int limit, uint32_t baud,
                                 std::chrono::milliseconds probeTime)
    : candidates_(std::move(candidates)), limit_(limit), baud_(baud), probeTime_(probeTime) {}

std::vector<std::string> SerialDiscovery::PresentDevices() {
#ifdef _WIN32
    return InNumberOrder(SerialPort::ListedComPorts());
#else
    return UsbDevicesIn("/dev");
#endif
}

std::vector<std::string> SerialDiscovery::UsbDevicesIn(const std::string& dir) {
    std::vector<std::string> found;
    for (const char* stem : {"ttyUSB", "ttyACM"}) {
        std::vector<std::string> named;
        std::error_code failed;
        for (std::filesystem::directory_iterator entry(dir, failed), end; !failed && entry != end;
             entry.increment(failed)) {
            const std::string name = entry->path().filename().string();
            if (name.rfind(stem, 0) == 0) named.push_back(entry->path().string());
        }
        const std::vector<std::string> ordered = InNumberOrder(std::move(named));
        found.insert(found.end(), ordered.begin(), ordered.end());
    }
    return found;
}

std::vector<std::string> SerialDiscovery::InNumberOrder(std::vector<std::string> names) {
    std::sort(names.begin(), names.end(), NumberOrder);
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

std::string SerialDiscovery::Probe(SerialPort& port) const {
    std::vector<uint8_t> request;
    SerialGatewayCommands::AppendStartup(request);
    std::size_t written = 0;
    bool answered = false;
    DleFrameDecoder decoder;
    uint8_t buffer[512];
    std::string error;
    const auto deadline = std::chrono::steady_clock::now() + probeTime_;
    for (;;) {
        if (written < request.size()) {
            const long n = port.Write(request.data() + written, request.size() - written, error);
            if (n == SerialPort::kLost) return "cannot write: " + error;
            written += static_cast<std::size_t>(n);
        }
        // Not before the request is out: the port is handed on with no
        // write of ours under way.
        if (answered && written == request.size()) return {};
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        if (!port.Wait(left, written < request.size())) continue;
        const long n = port.Read(buffer, sizeof buffer, error);
        if (n == SerialPort::kLost) return error.empty() ? "hung up" : error;
        const uint8_t* cursor = buffer;
        while (const auto frame = decoder.Next(cursor, buffer + n)) {
            answered = answered || frame->command == SerialGatewayCommands::kReply ||
                       frame->command == SerialMessageCodec::kReceivedCommand;
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
#ifdef _WIN32
        error = "No serial gateway found: no COM port is present.";
#else
        error = "No serial gateway found: no /dev/ttyUSB* or /dev/ttyACM* device is present.";
#endif
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
