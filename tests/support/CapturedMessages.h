// Collects the library's messages and beeps for the life of the object.
#pragma once

#include "platform/MessageReport.h"

#include <mutex>
#include <string>
#include <vector>

namespace ferrow::test {

class CapturedMessages : public ferrow::platform::MessageReport::Sink {
public:
    CapturedMessages() { previous_ = ferrow::platform::MessageReport::SetSink(this); }
    ~CapturedMessages() override { ferrow::platform::MessageReport::SetSink(previous_); }

    void Show(const std::wstring& title, const std::wstring& text) override {
        std::lock_guard<std::mutex> guard(mutex_);
        shown_.push_back(title + L"|" + text);
    }
    void Beep() override {
        std::lock_guard<std::mutex> guard(mutex_);
        ++beeps_;
    }

    std::vector<std::wstring> Shown() {
        std::lock_guard<std::mutex> guard(mutex_);
        return shown_;
    }
    int Beeps() {
        std::lock_guard<std::mutex> guard(mutex_);
        return beeps_;
    }

private:
    std::mutex mutex_;  // protects: shown_, beeps_
    std::vector<std::wstring> shown_;
    int beeps_ = 0;
    Sink* previous_;
};

}  // namespace ferrow::test
