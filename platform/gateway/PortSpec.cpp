#include "platform/gateway/PortSpec.h"

#include <cstdlib>

namespace ferrow::platform {
namespace {

constexpr const char kDefaultBus[] = "vbus";

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

// Removes a trailing ":<suffix>" and says whether it was there.
bool TakeSuffix(std::string& text, const std::string& suffix) {
    const std::string tail = ":" + suffix;
    if (text.size() <= tail.size() || text.compare(text.size() - tail.size(), tail.size(), tail) != 0) {
        return false;
    }
    text.erase(text.size() - tail.size());
    return true;
}

std::optional<uint16_t> ParsePort(const std::string& text) {
    if (text.empty() || text.size() > 5) return std::nullopt;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
    }
    const long value = std::strtol(text.c_str(), nullptr, 10);
    if (value < 1 || value > 65535) return std::nullopt;
    return static_cast<uint16_t>(value);
}

// "HOST:PORT", the port after the last colon.
std::optional<PortSpec> HostAndPort(PortSpec wanted, const std::string& rest) {
    const size_t colon = rest.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    const std::optional<uint16_t> port = ParsePort(rest.substr(colon + 1));
    if (!port) return std::nullopt;
    wanted.name = rest.substr(0, colon);
    wanted.port = *port;
    return wanted;
}

}  // namespace

std::optional<PortSpec> PortSpec::Parse(const std::string& portName) {
    PortSpec wanted;
    std::string rest;
    if (portName == kDefaultBus) {
        wanted.name = kDefaultBus;
        return wanted;
    }
    if (StartsWith(portName, "vbus:")) {
        wanted.name = portName.substr(5);
        if (wanted.name.empty()) return std::nullopt;
        return wanted;
    }
    if (StartsWith(portName, "file:")) {
        wanted.kind = Kind::LogFile;
        wanted.name = portName.substr(5);
        wanted.fast = TakeSuffix(wanted.name, "fast");
        if (wanted.name.empty()) return std::nullopt;
        return wanted;
    }
    if (StartsWith(portName, "tcp-listen:")) {
        wanted.kind = Kind::TcpListen;
        rest = portName.substr(11);
        wanted.candump = TakeSuffix(rest, "candump");
        const std::optional<uint16_t> port = ParsePort(rest);
        if (!port) return std::nullopt;
        wanted.port = *port;
        return wanted;
    }
    for (auto [prefix, kind] : {std::pair{"tcp:", Kind::TcpClient}, std::pair{"udp:", Kind::Udp}}) {
        if (!StartsWith(portName, prefix)) continue;
        wanted.kind = kind;
        rest = portName.substr(4);
        wanted.candump = TakeSuffix(rest, "candump");
        return HostAndPort(wanted, rest);
    }
    wanted.name = kDefaultBus;
    wanted.fellBack = !portName.empty();
    return wanted;
}

}  // namespace ferrow::platform
