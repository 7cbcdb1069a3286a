// The log line of the Linux CAN tools' candump -L:
// "(1700000000.000000) can0 09F11223#005C3DFF", seconds since the Unix epoch
// with six decimals, the interface name, the identifier, `#`, the data bytes.
// NMEA 2000 frames have extended identifiers only: always 8 digits.
#pragma once

#include "net/formats/LineFormat.h"

#include <string>

namespace ferrow::net {

class CandumpLineFormat : public LineFormat {
public:
    // The interface name written on each line; blanks in it become '_' so
    // that the line still reads back.
    explicit CandumpLineFormat(std::string interfaceName = "can0");

    // Refuses standard (3-digit) identifiers, remote and CAN FD frames, and
    // error frames, none of which NMEA 2000 carries. A trailing " R" or
    // " T", as candump -x writes it, gives the direction; received without.
    std::optional<Line> Parse(std::string_view line) const override;
    // The plain three-field line, whatever the direction, since readers of
    // the format refuse the marker; ends LF. Times before the epoch are
    // written as the epoch.
    std::string Format(const CanFrame& frame, Direction direction,
                       std::chrono::microseconds since) const override;

private:
    std::string interfaceName_;
};

}  // namespace ferrow::net
