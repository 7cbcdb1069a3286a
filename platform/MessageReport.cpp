#include "platform/MessageReport.h"

#include "platform/Text.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace ferrow::platform {
namespace {

std::atomic<MessageReport::Sink*> g_sink{nullptr};
std::mutex g_stderrMutex;  // protects: interleaving of stderr lines

}  // namespace

void MessageReport::Show(const std::wstring& title, const std::wstring& text) {
    if (Sink* sink = g_sink.load()) {
        sink->Show(title, text);
        return;
    }
    std::lock_guard<std::mutex> guard(g_stderrMutex);
    std::fprintf(stderr, "%s: %s\n", Text::Narrow(title).c_str(), Text::Narrow(text).c_str());
}

void MessageReport::Beep() {
    if (Sink* sink = g_sink.load()) sink->Beep();
}

MessageReport::Sink* MessageReport::SetSink(Sink* sink) { return g_sink.exchange(sink); }

}  // namespace ferrow::platform
