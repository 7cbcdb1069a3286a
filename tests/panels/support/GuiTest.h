// What the panel tests share: the toolkit, started once for the test process
// when a display exists, and a pump that runs the GUI thread's work until a
// condition holds.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>

namespace ferrow::panels::test {

// Why GUI tests cannot run here (no display, or the toolkit did not start);
// empty when they can.
const std::string& GuiMissing();

inline bool InCi() {
    const char* ci = std::getenv("CI");
    return ci != nullptr && *ci != '\0';
}

// Runs the GUI thread's queued work, timers and idle handling until `done`
// holds, within a generous bound; whether it held.
bool PumpUntil(const std::function<bool()>& done,
               std::chrono::milliseconds limit = std::chrono::milliseconds(10000));

}  // namespace ferrow::panels::test

// Fails under CI, skips elsewhere, when the GUI tests cannot run.
#define REQUIRE_GUI()                                                                     \
    do {                                                                                  \
        const std::string& missing = ::ferrow::panels::test::GuiMissing();                \
        if (!missing.empty()) {                                                           \
            if (::ferrow::panels::test::InCi()) FAIL() << "CI is set and " << missing;    \
            GTEST_SKIP() << "no GUI for panel tests: " << missing;                        \
        }                                                                                 \
    } while (0)
