#include "net/links/SocketCanLink.h"

namespace ferrow::net {

SocketCanLink::SocketCanLink(std::string interfaceName)
    : interfaceName_(std::move(interfaceName)) {}

SocketCanLink::~SocketCanLink() = default;

int SocketCanLink::Open(std::string& error) {
    error = "SocketCAN interface \"" + interfaceName_ +
            "\" is not available on Windows: use a serial gateway (COMn), tcp:, udp: or vbus.";
    return -1;
}

void SocketCanLink::Close() {}

bool SocketCanLink::Send(const CanFrame&) { return false; }

bool SocketCanLink::Receive(CanFrame&) { return false; }

bool SocketCanLink::IsUp() const { return false; }

void SocketCanLink::AddStats(FerrowGatewayStats&) const {}

}  // namespace ferrow::net
