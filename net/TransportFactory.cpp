#include "net/TransportFactory.h"

#include "net/PortSpec.h"
#include "net/formats/CandumpLineFormat.h"
#include "net/formats/RawLineFormat.h"
#include "net/links/FrameTransport.h"
#include "net/links/LogReplayLink.h"
#include "net/links/SocketCanLink.h"
#include "net/links/TcpClientLink.h"
#include "net/links/TcpListenLink.h"
#include "net/links/UdpLink.h"
#include "net/serial/SerialDiscovery.h"
#include "net/serial/SerialTransport.h"
#include "net/transport/OperatorMessage.h"
#include "net/vbus/CanBusLink.h"
#include "net/vbus/VirtualBusTransport.h"

namespace ferrow::net {
namespace {

// A transport that cannot be opened: a port name of a known kind that is
// malformed gives a clear refusal at Connect, never a silent substitute.
class RefusedTransport : public GatewayTransport {
public:
    explicit RefusedTransport(std::string portName) : portName_(std::move(portName)) {}
    int Open() override {
        OperatorMessage::Show("GW_PORT_NAME \"" + portName_ +
                              "\" is not a port name this gateway understands");
        return -1;
    }
    void Close() override {}
    N2KStatus Send(const N2KMsg&) override { return N2K_NOT_CONNECTED; }
    N2KStatus Fetch(N2KMsg&) override { return N2K_NOT_CONNECTED; }
    uint64_t Dropped() const override { return 0; }

private:
    std::string portName_;
};

// A client writes RAW lines as a gateway takes them from a PC; our device as
// the gateway writes them as gateways send them, which chart software reads.
std::unique_ptr<LineFormat> FormatFor(const PortSpec& port) {
    if (port.candump) return std::make_unique<CandumpLineFormat>();
    return std::make_unique<RawLineFormat>(port.kind == PortSpec::Kind::TcpListen
                                               ? RawLineFormat::Form::FromGateway
                                               : RawLineFormat::Form::ToGateway);
}

std::unique_ptr<FrameLink> LinkFor(const PortSpec& port) {
    switch (port.kind) {
        case PortSpec::Kind::TcpClient:
            return std::make_unique<TcpClientLink>(port.name, port.port, FormatFor(port));
        case PortSpec::Kind::TcpListen:
            return std::make_unique<TcpListenLink>(port.name, port.port, FormatFor(port));
        case PortSpec::Kind::Udp:
            return std::make_unique<UdpLink>(port.name, port.port,
                                             port.localPort != 0 ? port.localPort : port.port,
                                             FormatFor(port));
        case PortSpec::Kind::SocketCan:
            return std::make_unique<SocketCanLink>(port.name);
        case PortSpec::Kind::VirtualCanBus:
            return std::make_unique<CanBusLink>(port.name);
        case PortSpec::Kind::LogFile:
        case PortSpec::Kind::VirtualBus:
        case PortSpec::Kind::Serial:
        case PortSpec::Kind::SerialAuto:
            break;
    }
    LogReplayLink::Options options;
    options.pace = port.fast ? LogReplayLink::Pace::AsFastAsPossible : LogReplayLink::Pace::Recorded;
    return std::make_unique<LogReplayLink>(port.name, options);
}

}  // namespace

std::unique_ptr<GatewayTransport> TransportForPort(const TransportRequest& request) {
    const std::string& portName = request.portName;
    const std::optional<PortSpec> wanted = PortSpec::Parse(portName);
    if (!wanted) return std::make_unique<RefusedTransport>(portName);
    if (wanted->fellBack) {
        OperatorMessage::Note("GW_PORT_NAME \"" + portName +
                              "\" names no network here: using the in-process virtual bus \"" +
                              wanted->name + "\"");
    }
    std::unique_ptr<FrameLog> log =
        request.logPath.empty() ? nullptr : std::make_unique<FrameLog>(request.logPath);
    if (wanted->kind == PortSpec::Kind::VirtualBus) {
        return std::make_unique<VirtualBusTransport>(wanted->name, std::move(log));
    }
    if (wanted->kind == PortSpec::Kind::Serial) {
        return std::make_unique<SerialTransport>(wanted->name, wanted->baud, std::move(log));
    }
    if (wanted->kind == PortSpec::Kind::SerialAuto) {
        SerialDiscovery discovery(SerialDiscovery::PresentDevices(), request.portSearchLimit,
                                  wanted->baud);
        return std::make_unique<SerialTransport>(std::move(discovery), wanted->baud, std::move(log));
    }
    return std::make_unique<FrameTransport>(LinkFor(*wanted), FrameTransport::Clock{},
                                            std::move(log));
}

}  // namespace ferrow::net
