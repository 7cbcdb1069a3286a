// A simulated serial gateway for trying a port by hand, such as a Windows
// build's under Wine: prints the pseudo-terminal it answers on, then
// answers until its input ends.
//   ferrow_simulated_serial_gateway | { read pty; ln -sfn "$pty" ~/.wine/dosdevices/com33; ...; }
#include "tests/net/serial/SerialGatewayRig.h"

#include <cstdio>

int main() {
    ferrow::test::Pty pty;
    if (!pty.Ok()) {
        std::fprintf(stderr, "No pseudo-terminal could be opened.\n");
        return 1;
    }
    std::printf("%s\n", pty.Path().c_str());
    std::fflush(stdout);
    ferrow::test::SimulatedGateway gateway(pty);
    while (std::getchar() != EOF) {
    }
    std::fprintf(stderr, "Heard %zu messages and %zu startup commands.\n", gateway.HeardCount(),
                 gateway.StartupRequests());
    return 0;
}
