// A link that plays a recorded log back as the network: a RAW or candump -L
// log, read a line at a time, its frames handed out in file order at the
// recorded pace or as fast as they are taken. Nothing is read ahead of what
// is taken (but the one frame that tells the end), so a reader that falls
// behind makes the replay run late and loses nothing. It ends with the log.
// The owner serialises its calls, as the gateway does.
#pragma once

#include "net/formats/CandumpLineFormat.h"
#include "net/links/FrameLink.h"
#include "net/formats/LineSplitter.h"
#include "net/formats/RawLineFormat.h"

#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <optional>
#include <string>

namespace ferrow::net {

class LogReplayLink : public FrameLink {
public:
    enum class Format { Detect, Raw, Candump };
    enum class Pace { Recorded, AsFastAsPossible };
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    struct Options {
        // Detect goes by the first line that holds a frame in either format.
        Format format = Format::Detect;
        Pace pace = Pace::Recorded;
        // steady_clock when empty, or, built on a thread that runs a
        // simulation, its virtual time.
        Clock clock;
    };

    // Longer lines are no frame of either format and are skipped unread.
    static constexpr std::size_t kMaxLineLength = LineSplitter::kMaxLine;

    explicit LogReplayLink(std::string path);
    LogReplayLink(std::string path, Options options);

    // Fails for a log that cannot be read or that holds no frame at all,
    // which is almost always the wrong file.
    int Open(std::string& error) override;
    void Close() override;
    // A log cannot be written to: frames sent are dropped and the sender
    // carries on as on a bus that nobody answers.
    bool Send(const CanFrame& frame) override;
    bool Receive(CanFrame& frame) override;
    bool IsUp() const override;
    // Its skipped lines are bad input.
    void AddStats(FerrowGatewayStats& stats) const override { stats.badInput += skippedLines_; }

    // Lines that are neither blank nor a frame in the log's format.
    uint64_t SkippedLines() const { return skippedLines_; }

private:
    struct Pending {
        CanFrame frame;
        std::chrono::microseconds due;  // since the log's first frame
    };

    // False at the end of the log. An overlong line comes back empty with
    // `overlong` set.
    bool ReadLine(std::string& line, bool& overlong);
    std::optional<LineFormat::Line> ParseLine(std::string_view line);
    // Reads on to the next frame; none at the end of the log.
    void Advance();
    // When the line's frame is due, since the log's first time. A time of
    // day that jumps back past midnight moves on a day; any other step back,
    // or a line without a time, keeps the time of the frame before.
    std::chrono::microseconds Due(const LineFormat::Line& line);

    std::string path_;
    Options options_;
    RawLineFormat raw_;
    CandumpLineFormat candump_;
    const LineFormat* format_ = nullptr;  // null until detected
    std::ifstream in_;
    std::optional<Pending> pending_;
    std::optional<std::chrono::microseconds> first_;
    std::chrono::microseconds latestDue_{0};
    std::chrono::microseconds dayOffset_{0};
    std::chrono::steady_clock::time_point openedAt_;
    uint64_t skippedLines_ = 0;
};

}  // namespace ferrow::net
