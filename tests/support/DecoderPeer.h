// Our decoder's JSON set against what canboatjs's analyzerjs (tests/peer)
// prints for the same frames, key by key. The including target defines
// FERROW_PEER_DIR, as for CanboatPeer.h, and links nlohmann_json.
#pragma once

#include "tests/support/CanboatPeer.h"

#include <ferrow/N2KDecode.h>
#include <ferrow/N2KMsg.h>

#include <nlohmann/json.hpp>

#include <cmath>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace ferrow::test {

using Json = nlohmann::json;

// Fails under CI, skips elsewhere, when no PGN database loads from the
// default places (data/pgns/install.sh installs it).
#define REQUIRE_PGN_DATABASE()                                                            \
    do {                                                                                  \
        if (FerrowLoadPgnDatabase(nullptr) != 0) {                                        \
            const char* ci = std::getenv("CI");                                           \
            if (ci && *ci) FAIL() << "CI is set and no PGN database loads";               \
            GTEST_SKIP() << "no PGN database: run data/pgns/install.sh";                  \
        }                                                                                 \
    } while (0)

// analyzerjs's object for each message in `file` (candump -L or plain lines,
// mixed as one likes), in the order it printed them. Also the PGNs the
// database knows only by their range, as our decoder gives them.
inline ::testing::AssertionResult Analyze(const TempDir& dir, const std::string& file,
                                          std::vector<Json>& objects) {
    std::string out;
    auto ran = RunPeer(dir, {"--show-non-matches", "--file", file}, out,
                       "node_modules/.bin/analyzerjs");
    if (!ran) return ran;
    for (const std::string& line : Lines(out)) {
        Json object = Json::parse(line, nullptr, false);
        if (object.is_discarded() || !object.is_object()) {
            return ::testing::AssertionFailure() << "analyzerjs printed no object: " << line;
        }
        objects.push_back(std::move(object));
    }
    return ::testing::AssertionSuccess();
}

// Our decoder's object for `msg`; a string saying why when it gave none.
inline Json DecodeOurs(const N2KMsg& msg) {
    std::string text(64 * 1024, '\0');
    const int length = FerrowDecodeN2K(&msg, text.data(), int(text.size()));
    if (length < 0) return "FerrowDecodeN2K refused the message";
    text.resize(std::size_t(length));
    Json object = Json::parse(text, nullptr, false);
    if (object.is_discarded()) return "not JSON: " + text;
    return object;
}

// Each field's resolution by name, as the database describes `pgn` (its
// first definition): repeated fields too, whatever list they are in.
inline const std::map<std::string, double>& Resolutions(unsigned long pgn) {
    static std::mutex mutex;
    static std::map<unsigned long, std::map<std::string, double>> known;
    std::lock_guard<std::mutex> lock(mutex);
    auto [at, added] = known.try_emplace(pgn);
    if (!added) return at->second;
    std::string text(256 * 1024, '\0');
    const int length = FerrowDescribePgn(pgn, text.data(), int(text.size()));
    if (length < 0) return at->second;
    text.resize(std::size_t(length));
    const Json described = Json::parse(text, nullptr, false);
    if (described.is_discarded() || !described.contains("fields")) return at->second;
    for (const Json& field : described["fields"]) {
        if (field.contains("name") && field.contains("resolution") &&
            field["resolution"].is_number()) {
            at->second[field["name"].get<std::string>()] = field["resolution"].get<double>();
        }
    }
    return at->second;
}

namespace detail {

inline void Differ(const Json& ours, const Json& theirs, const std::string& path,
                   const std::string& name, const std::map<std::string, double>& resolutions,
                   std::vector<std::string>& found) {
    const auto say = [&] {
        found.push_back(path + ": ours " + ours.dump() + ", analyzerjs " + theirs.dump());
    };
    if (ours.is_number() && theirs.is_number()) {
        const double a = ours.get<double>();
        const double b = theirs.get<double>();
        // analyzerjs rounds to the resolution's digits: 1500.25 at 0.25 prints 1500.3.
        const auto resolution = resolutions.find(name);
        const double within = std::max(resolution == resolutions.end() ? 0.0 : resolution->second,
                                       1e-9 * std::max(1.0, std::fabs(b)));
        if (!(std::fabs(a - b) <= within)) say();
        return;
    }
    if (ours.is_object() && theirs.is_object()) {
        for (const auto& [key, value] : ours.items()) {
            if (!theirs.contains(key)) {
                found.push_back(path + "." + key + ": only ours, " + value.dump());
            } else {
                Differ(value, theirs[key], path + "." + key, key, resolutions, found);
            }
        }
        for (const auto& [key, value] : theirs.items()) {
            if (!ours.contains(key)) {
                found.push_back(path + "." + key + ": only analyzerjs, " + value.dump());
            }
        }
        return;
    }
    if (ours.is_array() && theirs.is_array()) {
        if (ours.size() != theirs.size()) return say();
        for (std::size_t i = 0; i < ours.size(); ++i) {
            // A list's entries keep the list's name for their numbers' resolution.
            Differ(ours[i], theirs[i], path + "." + std::to_string(i), name, resolutions, found);
        }
        return;
    }
    if (ours != theirs) say();
}

}  // namespace detail

// The differences docs/decoder-differences.md explains: the PGN (0: any)
// and the key's path under the message ("fields.list").
struct Explained {
    uint32_t pgn;
    const char* path;
};
inline constexpr Explained kExplained[] = {
    // canboatjs copies the fields a definition is matched on under camelCase keys.
    {0, "fields.manufacturerCode"},
    {0, "fields.industryCode"},
    {0, "fields.proprietaryId"},
    {0, "fields.messageId"},
    {0, "fields.report"},
    {126208, "fields.functionCode"},
    // canboatjs reads the padding of a fast packet's last frame as more repeated fields.
    {126464, "fields.list"},
    {130824, "fields.list"},
    {129808, "fields.list"},
    // canboatjs reads 32-bit floats as integers.
    {129045, "fields.Rotation in X"},
    {129045, "fields.Rotation in Y"},
    {129045, "fields.Rotation in Z"},
    {129045, "fields.Scale"},
    {129045, "fields.Ellipsoid Flattening Inverse"},
    // canboatjs drops the field a definition failed to match on when it falls back to another.
    {129808, "fields.DSC Category"},
    // Two decimal digits a byte, read by canboatjs as a 32-bit integer.
    {129808, "fields.DSC Message Address"},
    {129808, "fields.MMSI of Ship In Distress"},
};

// The entry of kExplained a line of Differences for `pgn` is, if any.
inline const Explained* FindExplained(uint32_t pgn, const std::string& difference) {
    for (const Explained& explained : kExplained) {
        const std::string path = std::string(explained.path) + ":";
        if ((explained.pgn == 0 || explained.pgn == pgn) &&
            difference.compare(0, path.size(), path) == 0) {
            return &explained;
        }
    }
    return nullptr;
}

// Where `ours` and `theirs` disagree, one line a key ("fields.Speed: ours
// 1500, analyzerjs 1500.3"); numbers agree within the field's resolution.
// Not compared: analyzerjs's input lines, and the time stamp (ours is the
// message's, theirs the line's or the moment it read it).
inline std::vector<std::string> Differences(const Json& ours, const Json& theirs) {
    std::vector<std::string> found;
    if (!ours.is_object() || !theirs.is_object()) {
        found.push_back("ours " + ours.dump() + ", analyzerjs " + theirs.dump());
        return found;
    }
    Json a = ours;
    Json b = theirs;
    for (const char* key : {"input", "timestamp"}) {
        a.erase(key);
        b.erase(key);
    }
    const unsigned long pgn = b.value("pgn", 0ul);
    detail::Differ(a, b, "", "", Resolutions(pgn), found);
    for (std::string& line : found) {
        if (!line.empty() && line.front() == '.') line.erase(0, 1);
    }
    return found;
}

}  // namespace ferrow::test
