#include "platform/gateway/GatewayTransport.h"

#include "platform/MessageReport.h"
#include "platform/Text.h"
#include "platform/gateway/PortSpec.h"
#include "platform/gateway/VirtualBusTransport.h"

namespace ferrow::platform {
namespace {

// A transport that cannot be opened: a port name of a known kind that is
// malformed gives a clear refusal at Connect, never a silent substitute.
class RefusedTransport : public GatewayTransport {
public:
    explicit RefusedTransport(std::string portName) : portName_(std::move(portName)) {}
    int Open() override {
        MessageReport::Show(L"Gateway", L"GW_PORT_NAME \"" + Text::Widen(portName_) +
                                            L"\" is not a port name this gateway understands");
        return -1;
    }
    void Close() override {}
    N2KStatus Send(const N2KMsg&) override { return N2K_NOT_CONNECTED; }
    N2KStatus Fetch(N2KMsg&) override { return N2K_NOT_CONNECTED; }
    uint64_t Dropped() const override { return 0; }

private:
    std::string portName_;
};

}  // namespace

std::unique_ptr<GatewayTransport> GatewayTransport::ForPort(const std::string& portName) {
    const std::optional<PortSpec> wanted = PortSpec::Parse(portName);
    if (!wanted) return std::make_unique<RefusedTransport>(portName);
    if (wanted->fellBack) {
        MessageReport::Show(L"Gateway", L"GW_PORT_NAME \"" + Text::Widen(portName) +
                                            L"\" names no network here: using the in-process "
                                            L"virtual bus \"" + Text::Widen(wanted->name) + L"\"");
    }
    switch (wanted->kind) {
        case PortSpec::Kind::VirtualBus:
            return std::make_unique<VirtualBusTransport>(wanted->name);
        default:
            return std::make_unique<RefusedTransport>(portName);
    }
}

}  // namespace ferrow::platform
