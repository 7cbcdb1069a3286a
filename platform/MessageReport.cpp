#include "platform/MessageReport.h"

#include "platform/Text.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace ferrow::platform {
namespace {

std::atomic<MessageReport::Sink*> g_sink{nullptr};
std::mutex g_stderrMutex;  // protects: interleaving of stderr lines

void PrintLine(const std::wstring& title, const std::wstring& text) {
    std::lock_guard<std::mutex> guard(g_stderrMutex);
    std::fprintf(stderr, "%s: %s\n", Text::Narrow(title).c_str(), Text::Narrow(text).c_str());
}

}  // namespace

void MessageReport::Show(const std::wstring& title, const std::wstring& text) {
    if (Sink* sink = g_sink.load()) {
        sink->Show(title, text);
        return;
    }
    PrintLine(title, text);
}

void MessageReport::Note(const std::wstring& title, const std::wstring& text) { PrintLine(title, text); }

void MessageReport::Beep() {
    if (Sink* sink = g_sink.load()) sink->Beep();
}

MessageReport::Sink* MessageReport::SetSink(Sink* sink) { return g_sink.exchange(sink); }

}  // namespace ferrow::platform
