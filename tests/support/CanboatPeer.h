// The canboatjs peer (tests/peer): node run on the scripts there, which
// decode and encode NMEA 2000 traffic independently of our code. The including
// target defines FERROW_PEER_DIR as the tests/peer folder. Without node or the
// installed package REQUIRE_PEER skips the test, or fails it when CI is set.
#pragma once

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace ferrow::test {

// No node run may take longer than this.
constexpr auto kNodeTimeout = std::chrono::seconds(60);

inline std::string PeerDir() { return FERROW_PEER_DIR; }

inline std::string FindNode() {
    if (const char* given = std::getenv("FERROW_NODE"); given && *given) {
        return ::access(given, X_OK) == 0 ? given : "";
    }
    const char* path = std::getenv("PATH");
    std::istringstream dirs(path ? path : "");
    std::string dir;
    while (std::getline(dirs, dir, ':')) {
        if (dir.empty()) continue;
        const std::string candidate = dir + "/node";
        if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return {};
}

// Why the peer cannot run, empty when it can.
inline std::string PeerMissing() {
    if (FindNode().empty()) return "no node to run (FERROW_NODE, else PATH)";
    const std::string package = PeerDir() + "/node_modules/@canboat/canboatjs/package.json";
    if (!std::filesystem::exists(package)) {
        return "canboatjs is not installed: run tests/peer/install.sh (no " + package + ")";
    }
    return {};
}

inline bool InCi() {
    const char* ci = std::getenv("CI");
    return ci && *ci;
}

// Fails under CI, skips elsewhere, when the peer cannot run.
#define REQUIRE_PEER()                                                                   \
    do {                                                                                 \
        const std::string missing = ::ferrow::test::PeerMissing();                       \
        if (!missing.empty()) {                                                          \
            if (::ferrow::test::InCi()) {                                                \
                FAIL() << "CI is set and the canboatjs peer is missing: " << missing;    \
            }                                                                            \
            GTEST_SKIP() << "canboatjs peer not available: " << missing;                 \
        }                                                                                \
    } while (0)

struct NodeRun {
    bool finished = false;  // false: killed at the timeout, or not started
    int exitCode = -1;
    std::string out;
    std::string err;
};

// Starts `node SCRIPT args...` (SCRIPT in tests/peer) with its output in
// files under `dir`; -1 with `error` set when it cannot start.
inline pid_t StartNode(const TempDir& dir, const std::string& script,
                       const std::vector<std::string>& args, std::string& error) {
    const std::string outFile = dir.File("node.out");
    const std::string errFile = dir.File("node.err");
    std::vector<std::string> argv = {FindNode(), PeerDir() + "/" + script};
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<char*> cargv;
    for (std::string& arg : argv) cargv.push_back(arg.data());
    cargv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outFile.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errFile.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    const int spawned = posix_spawn(&pid, cargv[0], &actions, nullptr, cargv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        error = std::string("cannot start node: ") + std::strerror(spawned);
        return -1;
    }
    return pid;
}

// Runs `node SCRIPT args...` with its output in files under `dir`, killed
// when it outlasts kNodeTimeout.
inline NodeRun RunPeer(const TempDir& dir, const std::vector<std::string>& args,
                       const std::string& script = "decode.js") {
    NodeRun run;
    const pid_t pid = StartNode(dir, script, args, run.err);
    if (pid < 0) return run;
    const auto deadline = std::chrono::steady_clock::now() + kNodeTimeout;
    int status = 0;
    for (;;) {
        const pid_t done = ::waitpid(pid, &status, WNOHANG);
        if (done == pid) {
            run.finished = true;
            break;
        }
        if (done < 0 || std::chrono::steady_clock::now() >= deadline) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (run.finished && WIFEXITED(status)) run.exitCode = WEXITSTATUS(status);
    run.out = TempDir::Read(dir.File("node.out"));
    run.err += TempDir::Read(dir.File("node.err"));
    return run;
}

inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) lines.push_back(line);
    }
    return lines;
}

// Equal as JSON values: numbers within rounding, anything else as written.
inline bool SameValue(const std::string& got, const std::string& want) {
    char* gotEnd = nullptr;
    char* wantEnd = nullptr;
    const double g = std::strtod(got.c_str(), &gotEnd);
    const double w = std::strtod(want.c_str(), &wantEnd);
    if (!got.empty() && !want.empty() && *gotEnd == '\0' && *wantEnd == '\0') {
        return std::fabs(g - w) <= 1e-9 * std::max(1.0, std::fabs(w));
    }
    return got == want;
}

// What canboatjs decoded.
struct Decoded {
    uint32_t pgn = 0;
    int src = -1;
    int dst = -1;
    int prio = -1;
    int frames = 0;
    std::string payload;
    std::map<std::string, std::string> fields;
};

inline std::vector<Decoded> ParseDecoded(const std::vector<std::string>& lines,
                                         std::vector<std::string>& complaints) {
    std::vector<Decoded> decoded;
    for (const std::string& line : lines) {
        std::istringstream in(line);
        std::string kind;
        in >> kind;
        if (kind == "MSG") {
            Decoded d;
            in >> d.pgn >> d.src >> d.dst >> d.prio >> d.frames >> d.payload;
            decoded.push_back(d);
        } else if (kind == "FIELD" && !decoded.empty()) {
            std::string key;
            in >> key;
            std::string value;
            std::getline(in >> std::ws, value);
            decoded.back().fields[key] = value;
        } else if (kind != "END") {
            complaints.push_back(line);
        }
    }
    return decoded;
}

}  // namespace ferrow::test
