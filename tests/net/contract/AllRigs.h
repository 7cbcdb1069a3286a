// Every link and transport the contract suite holds to its rules.
#pragma once

#include "tests/net/contract/CanBusRig.h"
#include "tests/net/contract/SerialRig.h"
#include "tests/net/contract/SocketRigs.h"
#include "tests/net/contract/TransportRigs.h"

namespace ferrow::test {

using Rigs = ::testing::Types<TcpClientRig, TcpListenRig, UdpRig, SocketCanRig, LogReplayRig,
                              FrameTransportRig, SerialRig, VirtualBusRig,
                              CanBusRig>;

}  // namespace ferrow::test
