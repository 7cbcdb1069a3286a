// Where a gateway connection gets its transport. By default the port name
// chooses it (see PortSpec); a test or a host hands the gateway a factory of
// its own instead and so needs no port name at all.
#pragma once

#include "net/transport/GatewayTransport.h"

#include <functional>
#include <memory>
#include <string>

namespace ferrow::net {

// What the gateway knows when it connects.
struct TransportRequest {
    std::string portName;
    // Where to record every CAN frame; empty for nowhere.
    std::string logPath;
    // How many devices the search for a serial gateway ("auto") may try.
    int portSearchLimit = 20;
};

// A transport, not yet open; never null.
using TransportFactory = std::function<std::unique_ptr<GatewayTransport>(const TransportRequest&)>;

// The transport the port name selects. A name of a known kind that is
// malformed gives a transport whose Open refuses with a sentence.
std::unique_ptr<GatewayTransport> TransportForPort(const TransportRequest& request);

}  // namespace ferrow::net
