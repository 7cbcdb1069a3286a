#include "platform/gateway/GatewayTransport.h"

#include "platform/gateway/VirtualBusTransport.h"

namespace ferrow::platform {

// Every port name is, for now, the name of a virtual bus: gateways that keep
// the default port share one network in the process.
std::unique_ptr<GatewayTransport> GatewayTransport::ForPort(const std::string& portName) {
    return std::make_unique<VirtualBusTransport>(portName);
}

}  // namespace ferrow::platform
