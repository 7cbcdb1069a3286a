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
#include <utility>
#include <vector>

extern char** environ;

namespace ferrow::test {

// No node run may take longer than this.
constexpr auto kNodeTimeout = std::chrono::seconds(60);

inline std::string FindNode() {
    if (const char* given = std::getenv("FERROW_NODE"); given && *given) {
        return ::access(given, X_OK) == 0 ? given : "";
    }
    const char* path = std::getenv("PATH");
    std::istringstream dirs(path ? path : "");
    for (std::string dir; std::getline(dirs, dir, ':');) {
        if (!dir.empty() && ::access((dir + "/node").c_str(), X_OK) == 0) return dir + "/node";
    }
    return {};
}

// Why the peer cannot run, empty when it can.
inline std::string PeerMissing() {
    if (FindNode().empty()) return "no node to run (FERROW_NODE, else PATH)";
    const std::string package =
        std::string(FERROW_PEER_DIR) + "/node_modules/@canboat/canboatjs/package.json";
    if (std::filesystem::exists(package)) return {};
    return "canboatjs is not installed: run tests/peer/install.sh (no " + package + ")";
}

// Fails under CI, skips elsewhere, when the peer cannot run.
#define REQUIRE_PEER()                                                                   \
    do {                                                                                 \
        const std::string missing = ::ferrow::test::PeerMissing();                       \
        const char* ci = std::getenv("CI");                                              \
        if (!missing.empty() && ci && *ci) {                                             \
            FAIL() << "CI is set and the canboatjs peer is missing: " << missing;        \
        }                                                                                \
        if (!missing.empty()) GTEST_SKIP() << "canboatjs peer not available: " << missing; \
    } while (0)

// `node SCRIPT args...` (SCRIPT in tests/peer) with its output in node.out and
// node.err under `dir`; killed at the latest when it goes out of scope.
class NodeProcess {
public:
    NodeProcess(const TempDir& dir, const std::string& script, std::vector<std::string> args) {
        args.insert(args.begin(), {FindNode(), std::string(FERROW_PEER_DIR) + "/" + script});
        std::vector<char*> argv;
        for (std::string& arg : args) argv.push_back(arg.data());
        argv.push_back(nullptr);
        const std::string out = dir.File("node.out");
        const std::string err = dir.File("node.err");
        constexpr int kCreate = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), kCreate, 0644);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), kCreate, 0644);
        const int spawned = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (spawned != 0) {
            pid_ = -1;
            error_ = std::string("cannot start node: ") + std::strerror(spawned);
        }
    }
    NodeProcess(const NodeProcess&) = delete;
    NodeProcess& operator=(const NodeProcess&) = delete;
    ~NodeProcess() { Stop(); }

    const std::string& Error() const { return error_; }
    // Its exit code once it has exited, -1 while it runs or when it was killed.
    int ExitCode() const { return exitCode_; }

    bool Running() {
        if (pid_ <= 0) return false;
        int status = 0;
        const pid_t done = ::waitpid(pid_, &status, WNOHANG);
        if (done == 0) return true;
        if (done == pid_ && WIFEXITED(status)) exitCode_ = WEXITSTATUS(status);
        pid_ = -1;
        return false;
    }
    void Stop() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    int exitCode_ = -1;
    std::string error_;
};

// Runs `node SCRIPT args...` to its end, killed when it outlasts kNodeTimeout;
// `out` is what it wrote. A failure unless it exited with 0.
inline ::testing::AssertionResult RunPeer(const TempDir& dir, const std::vector<std::string>& args,
                                          std::string& out,
                                          const std::string& script = "decode.js") {
    NodeProcess node(dir, script, args);
    const auto deadline = std::chrono::steady_clock::now() + kNodeTimeout;
    while (node.Running()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return ::testing::AssertionFailure() << "node did not finish within the timeout";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    out = TempDir::Read(dir.File("node.out"));
    if (node.ExitCode() == 0) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "node exited with " << node.ExitCode() << ": "
                                         << node.Error() << TempDir::Read(dir.File("node.err"));
}

inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) lines.push_back(line);
    }
    return lines;
}

// What canboatjs decoded.
struct Decoded {
    uint32_t pgn = 0;
    int src = -1, dst = -1, prio = -1, frames = 0;
    std::string payload;  // hex
    std::map<std::string, std::string> fields;
};

// canboatjs's decoding of the candump -L lines in `log`. Any line but a
// decoded message (a dropped frame sequence, a warning) fails the test.
inline ::testing::AssertionResult DecodeLog(const TempDir& dir, const std::string& log,
                                            std::vector<Decoded>& decoded) {
    std::string out;
    if (auto ran = RunPeer(dir, {"decode", log}, out); !ran) return ran;
    for (const std::string& line : Lines(out)) {
        std::istringstream in(line);
        std::string kind;
        in >> kind;
        if (kind == "MSG") {
            Decoded& d = decoded.emplace_back();
            in >> d.pgn >> d.src >> d.dst >> d.prio >> d.frames >> d.payload;
        } else if (kind == "FIELD" && !decoded.empty()) {
            std::string key, value;
            in >> key;
            std::getline(in >> std::ws, value);
            decoded.back().fields[key] = value;
        } else if (kind != "END") {
            ADD_FAILURE() << "canboatjs complained: " << line;
        }
    }
    return ::testing::AssertionSuccess();
}

using Fields = std::vector<std::pair<std::string, std::string>>;

// Each field's value (JSON) as canboatjs decoded it: numbers within
// `tolerance` (at least rounding), anything else as written.
inline void ExpectFields(const Decoded& d, const Fields& fields, double tolerance = 0) {
    for (const auto& [key, want] : fields) {
        const auto field = d.fields.find(key);
        if (field == d.fields.end()) {
            ADD_FAILURE() << "canboatjs found no field " << key << " in " << d.pgn;
            continue;
        }
        const std::string& got = field->second;
        char* gotEnd = nullptr;
        char* wantEnd = nullptr;
        const double g = std::strtod(got.c_str(), &gotEnd);
        const double w = std::strtod(want.c_str(), &wantEnd);
        const double within = std::max(tolerance, 1e-9 * std::max(1.0, std::fabs(w)));
        const bool numbers = !got.empty() && !want.empty() && !*gotEnd && !*wantEnd;
        EXPECT_TRUE(numbers ? std::fabs(g - w) <= within : got == want)
            << d.pgn << " " << key << ": canboatjs " << got << ", expected " << want;
    }
}

}  // namespace ferrow::test
