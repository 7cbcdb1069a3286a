// The result of sending or fetching one NMEA 2000 message.
#pragma once

enum N2KStatus : int {
    N2K_OK = 0,
    // The gateway is not connected to a network.
    N2K_NOT_CONNECTED = 1,
    // Nothing has been received.
    N2K_NO_MESSAGE = 2,
    // Null record, a length past the data field, or a message its transport
    // cannot carry.
    N2K_BAD_MESSAGE = 3,
    // The network side could not take the message now.
    N2K_TX_BUSY = 4,
    // Longer than the gateway's link carries: a serial gateway takes at most
    // 249 data bytes in one message.
    N2K_TOO_LONG = 5,
};
