#include "net/PortSpec.h"

#include "net/serial/SerialPort.h"

#include <cstdlib>
#include <vector>

namespace ferrow::net {
namespace {

constexpr const char kDefaultBus[] = "vbus";
constexpr const char kDevices[] = "/dev/";
constexpr const char kWindowsDevices[] = "\\\\.\\";
// The longest name a network interface can have (IFNAMSIZ less its end).
constexpr std::size_t kMaxInterfaceName = 15;

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

bool AllDigits(const std::string& text) {
    if (text.empty()) return false;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
    }
    return true;
}

std::optional<uint16_t> ParsePort(const std::string& text) {
    if (text.size() > 5 || !AllDigits(text)) return std::nullopt;
    const long value = std::strtol(text.c_str(), nullptr, 10);
    if (value < 1 || value > 65535) return std::nullopt;
    return static_cast<uint16_t>(value);
}

// The fields between colons.
std::vector<std::string> Fields(const std::string& text) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (std::size_t colon; (colon = text.find(':', start)) != std::string::npos;
         start = colon + 1) {
        fields.push_back(text.substr(start, colon - start));
    }
    fields.push_back(text.substr(start));
    return fields;
}

// "HOST:PORT", or "HOST:PORT:LOCALPORT" where `withLocalPort`. Host names
// and IPv4 addresses hold no colon.
std::optional<PortSpec> HostAndPort(PortSpec wanted, const std::string& rest, bool withLocalPort) {
    const std::vector<std::string> fields = Fields(rest);
    if (fields.size() < 2 || fields.size() > (withLocalPort ? 3u : 2u) || fields[0].empty()) {
        return std::nullopt;
    }
    const std::optional<uint16_t> port = ParsePort(fields[1]);
    if (!port) return std::nullopt;
    wanted.name = fields[0];
    wanted.port = *port;
    if (fields.size() == 3) {
        const std::optional<uint16_t> localPort = ParsePort(fields[2]);
        if (!localPort) return std::nullopt;
        wanted.localPort = *localPort;
    }
    return wanted;
}

// "DEVICE[:BAUD]", of more than `prefixSize` characters. Where device
// names may hold colons (/dev by-path names do), only all digits after the
// last one are a rate; elsewhere a colon always starts one.
std::optional<PortSpec> SerialDevice(PortSpec wanted, const std::string& path,
                                     std::size_t prefixSize, bool colonsInNames) {
    wanted.kind = PortSpec::Kind::Serial;
    wanted.name = path;
    wanted.baud = SerialPort::kDefaultBaud;
    const std::size_t colon = path.rfind(':');
    const std::string rate = colon == std::string::npos ? "" : path.substr(colon + 1);
    if (colon != std::string::npos && (rate.empty() || AllDigits(rate) || !colonsInNames)) {
        if (rate.size() > 7 || !AllDigits(rate)) return std::nullopt;
        wanted.baud = static_cast<uint32_t>(std::strtoul(rate.c_str(), nullptr, 10));
        if (!SerialPort::SupportsBaud(wanted.baud)) return std::nullopt;
        wanted.name = path.substr(0, colon);
    }
    if (wanted.name.size() <= prefixSize) return std::nullopt;
    return wanted;
}

// Whether `portName` is a COM port's, in any case, such as com3 or COM12:57600,
// well formed or not.
bool IsComPort(const std::string& portName) {
    const std::string name = portName.substr(0, portName.find(':'));
    return name.size() > 3 && (name[0] | 0x20) == 'c' && (name[1] | 0x20) == 'o' &&
           (name[2] | 0x20) == 'm' && AllDigits(name.substr(3));
}

// can0, vcan1, slcan2: the names Linux gives CAN interfaces.
bool IsCanInterfaceName(const std::string& name) {
    for (const char* stem : {"can", "vcan", "slcan"}) {
        const std::string prefix = stem;
        if (StartsWith(name, prefix) && AllDigits(name.substr(prefix.size()))) return true;
    }
    return false;
}

}  // namespace

std::optional<PortSpec> PortSpec::Parse(const std::string& portName, platform::PathStyle style) {
    const bool windows = style == platform::PathStyle::Windows;
    PortSpec wanted;
    std::string rest;
    if (portName == kDefaultBus) {
        wanted.name = kDefaultBus;
        return wanted;
    }
    if (StartsWith(portName, "vbus:")) {
        const std::vector<std::string> fields = Fields(portName.substr(5));
        if (fields.size() > 2 || fields[0].empty()) return std::nullopt;
        if (fields.size() == 2 && fields[1] != "can") return std::nullopt;
        if (fields.size() == 2) wanted.kind = Kind::VirtualCanBus;
        wanted.name = fields[0];
        return wanted;
    }
    if (StartsWith(portName, "file:")) {
        wanted.kind = Kind::LogFile;
        wanted.name = portName.substr(5);
        wanted.fast = TakeSuffix(wanted.name, "fast");
        // C:fast is the file "fast" on drive C.
        if (windows && wanted.fast && wanted.name.size() == 1) {
            wanted.name += ":fast";
            wanted.fast = false;
        }
        if (wanted.name.empty()) return std::nullopt;
        return wanted;
    }
    if (StartsWith(portName, "tcp-listen:")) {
        wanted.kind = Kind::TcpListen;
        rest = portName.substr(11);
        wanted.candump = TakeSuffix(rest, "candump");
        const std::vector<std::string> fields = Fields(rest);
        if (fields.size() > 2 || (fields.size() == 2 && fields[0].empty())) return std::nullopt;
        const std::optional<uint16_t> port = ParsePort(fields.back());
        if (!port) return std::nullopt;
        wanted.name = fields.size() == 2 ? fields[0] : "";
        wanted.port = *port;
        return wanted;
    }
    if (StartsWith(portName, kDevices)) {
        if (windows) return std::nullopt;
        return SerialDevice(wanted, portName, sizeof kDevices - 1, true);
    }
    if (windows && IsComPort(portName)) {
        const std::optional<PortSpec> port = SerialDevice(wanted, portName, 3, false);
        if (!port || port->name[3] == '0' || port->name.size() > 7) return std::nullopt;
        return port;
    }
    if (windows && StartsWith(portName, kWindowsDevices)) {
        return SerialDevice(wanted, portName, sizeof kWindowsDevices - 1, false);
    }
    if (portName == "auto") {
        wanted.kind = Kind::SerialAuto;
        wanted.baud = SerialPort::kDefaultBaud;
        return wanted;
    }
    if (StartsWith(portName, "can:") || IsCanInterfaceName(portName)) {
        wanted.kind = Kind::SocketCan;
        wanted.name = StartsWith(portName, "can:") ? portName.substr(4) : portName;
        if (wanted.name.empty() || wanted.name.size() > kMaxInterfaceName) return std::nullopt;
        return wanted;
    }
    for (auto [prefix, kind] : {std::pair{"tcp:", Kind::TcpClient}, std::pair{"udp:", Kind::Udp}}) {
        if (!StartsWith(portName, prefix)) continue;
        wanted.kind = kind;
        rest = portName.substr(4);
        wanted.candump = TakeSuffix(rest, "candump");
        return HostAndPort(wanted, rest, kind == Kind::Udp);
    }
    wanted.name = kDefaultBus;
    wanted.fellBack = !portName.empty();
    return wanted;
}

}  // namespace ferrow::net
