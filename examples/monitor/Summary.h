// Headless, nothing else empties the monitor's stores and the console's
// transmit ring: this does, passing the console's lines on as they come and
// summing up the traffic: what was sent by PGN, what was received, the
// device's address and instance, and the gateway's figures in the monitor
// panel's status line. With decoding on, every message sent and received is
// also given as one line of JSON, its fields decoded from the PGN database.
#pragma once

#include "MonitorDevice.h"
#include "panels/model/GatewayStatusLine.h"

#include <ferrow/N2KDecode.h>
#include <ferrow/ferrow.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace monitor {

class Summary {
public:
    explicit Summary(MonitorDevice& device) : device_(device), emu_(*device.Emulator()) {}

    // A command of the program's own typed on standard input: true when
    // `line` was one, with `reply` the line to print; false for a line meant
    // for the console. From any thread.
    //   decode on|off   the messages as JSON lines, or no longer
    bool Command(const std::string& line, std::string& reply) {
        if (line.compare(0, 6, "decode") != 0 || (line.size() > 6 && line[6] != ' ')) return false;
        const std::string argument = Trimmed(line.substr(6));
        if (argument == "off") {
            decode_ = false;
            reply = "decode off";
        } else if (argument != "on") {
            reply = "usage: decode on|off";
        } else if (!loaded_ && FerrowLoadPgnDatabase(nullptr) != 0) {
            reply = "decode: no PGN database (canboat.json): install it with data/pgns/install.sh "
                    "or name it in FERROW_PGN_DATABASE";
        } else {
            loaded_ = true;
            decode_ = true;
            reply = "decode on";
        }
        return true;
    }

    // The console's new lines, each as "serial> <line>\n", and with decoding
    // on the messages sent and received since the last call, one JSON line
    // each, in the order they were stamped.
    std::string Drain() {
        std::string lines;
        char line[1100];
        while (emu_.serial->GetTXDataLine(line, sizeof line) > 0) {
            line[std::strcspn(line, "\r\n")] = '\0';
            lines += std::string("serial> ") + line + "\n";
        }
        const bool decode = decode_;
        messages_.clear();
        N2KMsg msg;
        // Received first: within one 10 ms stamp, an answer follows what it answers.
        while (emu_.n2kMon->GetRxMsg(&msg) == 1) {
            ++received_;
            if (decode) messages_.push_back(msg);
        }
        while (emu_.n2kMon->GetTxMsg(&msg) == 1) {
            ++sent_[msg.pgn];
            if (decode) messages_.push_back(msg);
        }
        std::stable_sort(messages_.begin(), messages_.end(), [](const N2KMsg& a, const N2KMsg& b) {
            return a.timeStamp < b.timeStamp;
        });
        for (const N2KMsg& m : messages_) {
            const int length = FerrowDecodeN2K(&m, json_.data(), static_cast<int>(json_.size()));
            if (length > 0) lines.append(json_.data(), static_cast<std::size_t>(length)) += '\n';
        }
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
    static std::string Trimmed(const std::string& text) {
        const auto first = text.find_first_not_of(" \t");
        if (first == std::string::npos) return {};
        return text.substr(first, text.find_last_not_of(" \t") - first + 1);
    }

    // Room for the largest message's object: 1,786 bytes, each a field.
    static constexpr std::size_t kJsonRoom = 256 * 1024;

    MonitorDevice& device_;
    Ferrow_c& emu_;
    std::map<uint32_t, unsigned long> sent_;
    unsigned long received_ = 0;
    std::atomic<bool> decode_{false};
    // The database is read once, at the first `decode on`.
    std::atomic<bool> loaded_{false};
    std::vector<N2KMsg> messages_;
    std::string json_ = std::string(kJsonRoom, '\0');
};

}  // namespace monitor
