// The library's messages as message boxes and its beeps as the toolkit's
// bell, both on the GUI thread. A call from another thread queues the box
// and returns at once: a worker never waits for the operator.
#pragma once

#include "platform/MessageReport.h"

namespace ferrow::panels {

class WxMessageSink : public platform::MessageReport::Sink {
public:
    // Process-wide; lives until the process ends, as a thread may still
    // hold it after it was uninstalled.
    static WxMessageSink& Instance();

    void Show(const std::wstring& title, const std::wstring& text) override;
    void Beep() override;

private:
    WxMessageSink() = default;
};

}  // namespace ferrow::panels
