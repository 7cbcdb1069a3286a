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
std::optional<PortSpec> HostAndPort(PortSpec spec, const std::string& rest) {
    const size_t colon = rest.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    const std::optional<uint16_t> port = ParsePort(rest.substr(colon + 1));
    if (!port) return std::nullopt;
    spec.name = rest.substr(0, colon);
    spec.port = *port;
    return spec;
}

}  // namespace

std::optional<PortSpec> PortSpec::Parse(const std::string& portName) {
    PortSpec spec;
    std::string rest;
    if (portName == kDefaultBus) {
        spec.name = kDefaultBus;
        return spec;
    }
    if (StartsWith(portName, "vbus:")) {
        spec.name = portName.substr(5);
        if (spec.name.empty()) return std::nullopt;
        return spec;
    }
    if (StartsWith(portName, "file:")) {
        spec.kind = Kind::LogFile;
        spec.name = portName.substr(5);
        spec.fast = TakeSuffix(spec.name, "fast");
        if (spec.name.empty()) return std::nullopt;
        return spec;
    }
    if (StartsWith(portName, "tcp-listen:")) {
        spec.kind = Kind::TcpListen;
        rest = portName.substr(11);
        spec.candump = TakeSuffix(rest, "candump");
        const std::optional<uint16_t> port = ParsePort(rest);
        if (!port) return std::nullopt;
        spec.port = *port;
        return spec;
    }
    for (auto [prefix, kind] : {std::pair{"tcp:", Kind::TcpClient}, std::pair{"udp:", Kind::Udp}}) {
        if (!StartsWith(portName, prefix)) continue;
        spec.kind = kind;
        rest = portName.substr(4);
        spec.candump = TakeSuffix(rest, "candump");
        return HostAndPort(spec, rest);
    }
    spec.name = kDefaultBus;
    spec.fellBack = !portName.empty();
    return spec;
}

}  // namespace ferrow::platform
