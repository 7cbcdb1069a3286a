// Headless, nothing else empties the monitor's stores and the console's
// transmit ring: this does, passing the console's lines on as they come and
// summing up the traffic: what was sent by PGN, what was received, the
// device's address and instance, and the gateway's figures in the monitor
// panel's status line.
#pragma once

#include "MonitorDevice.h"
#include "panels/model/GatewayStatusLine.h"

#include <ferrow/ferrow.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

namespace monitor {

class Summary {
public:
    explicit Summary(MonitorDevice& device) : device_(device), emu_(*device.Emulator()) {}

    // The console's new lines, each as "serial> <line>\n".
    std::string Drain() {
        std::string lines;
        char line[1100];
        while (emu_.serial->GetTXDataLine(line, sizeof line) > 0) {
            line[std::strcspn(line, "\r\n")] = '\0';
            lines += std::string("serial> ") + line + "\n";
        }
        N2KMsg msg;
        while (emu_.n2kMon->GetTxMsg(&msg) == 1) ++sent_[msg.pgn];
        while (emu_.n2kMon->GetRxMsg(&msg) == 1) ++received_;
        return lines;
    }

    // Two lines: the traffic, then the gateway's figures beneath it.
    std::string Text() {
        std::string sent;
        for (const auto& [pgn, count] : sent_) {
            sent += " " + std::to_string(pgn) + ":" + std::to_string(count);
        }
        char traffic[64];
        std::snprintf(traffic, sizeof traffic, "%5lu s  sent", emu_.t_get_1ms() / 1000);
        FerrowGatewayStats stats{};
        emu_.GetGatewayStats(&stats);
        return traffic + (sent.empty() ? std::string(" 0") : sent) + "  received " +
               std::to_string(received_) + "  address " + std::to_string(device_.SourceAddress()) +
               "  instance " + std::to_string(device_.Instance()) + "\n         " +
               ferrow::panels::StatusLine(stats) + "\n";
    }

private:
    MonitorDevice& device_;
    Ferrow_c& emu_;
    std::map<uint32_t, unsigned long> sent_;
    unsigned long received_ = 0;
};

}  // namespace monitor
