// What a gateway port name asks for. The syntax, in the configuration key
// "GW_PORT_NAME":
//   vbus, vbus:NAME            the in-process virtual bus (NAME: "vbus"):
//                              whole messages, at once
//   vbus:NAME:can              an in-process CAN bus of 250 kbit/s: frames
//                              take their bit time, the lowest identifier
//                              first, and a full transmit queue says so.
//                              Each kind has its own names: vbus:x and
//                              vbus:x:can are two buses
//   tcp:HOST:PORT[:candump]    client of a network gateway
//   tcp-listen:[ADDR:]PORT[:candump]
//                              our device is the gateway clients connect to,
//                              on the interface of ADDR only if given
//   udp:HOST:PORT[:LOCALPORT][:candump]
//                              datagrams to HOST:PORT, received on LOCALPORT
//                              (PORT unless given). HOST may be a broadcast
//                              address, shared by every program on PORT; two
//                              programs on one machine cross their ports
//                              instead: udp:127.0.0.1:A:B and udp:127.0.0.1:B:A
//   file:PATH[:fast]           replay of a RAW or candump log; on Windows
//                              PATH may begin with a drive, file:C:\a.log
//   /dev/DEVICE[:BAUD]         a serial (USB) gateway, 115200 baud unless BAUD
//   COMn[:BAUD], \\.\DEVICE[:BAUD]
//                              on Windows, a serial gateway: COM5, COM12:57600,
//                              \\.\COM12. Windows has no /dev: such a name
//                              is refused there
//   auto                       the first serial gateway that answers among
//                              /dev/ttyUSB* and /dev/ttyACM*, on Windows
//                              among the COM ports, in number order
//   can:IFNAME, canN, vcanN, slcanN   a SocketCAN interface
// Socket transports speak the RAW line format unless ":candump" follows: as
// a client (tcp:, udp:) in the form a gateway takes, "09F11223 00 5C 3D",
// and as the gateway (tcp-listen:) in the form it sends, with time and
// direction. A log replays at its recorded pace unless ":fast" follows. A
// name that is none of these (elsewhere than on Windows, the default "COM5"
// among them) stands for the default virtual bus.
#pragma once

#include "platform/FilePath.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ferrow::net {

struct PortSpec {
    enum class Kind {
        VirtualBus,
        VirtualCanBus,
        TcpClient,
        TcpListen,
        Udp,
        LogFile,
        Serial,
        SerialAuto,
        SocketCan,
    };

    Kind kind = Kind::VirtualBus;
    // The bus name, host, log or device path, CAN interface, or the address
    // a listener binds to (empty: every interface).
    std::string name;
    uint16_t port = 0;
    uint32_t baud = 0;
    bool candump = false;
    bool fast = false;
    // Set when the name was not understood and a virtual bus stands in.
    bool fellBack = false;
    // Where UDP is received: `port` unless set.
    uint16_t localPort = 0;

    // nullopt for a name of a known kind that is malformed (a port that is
    // not a number from 1 to 65535, an empty host, path or interface, a baud
    // rate the terminal interface does not have, a bus option other than
    // "can"), and on Windows for a /dev name. Devices are named as paths of
    // `style` are.
    static std::optional<PortSpec> Parse(const std::string& portName,
                                         platform::PathStyle style = platform::kNativePaths);
};

}  // namespace ferrow::net
