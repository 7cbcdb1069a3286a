#include "net/transport/OperatorMessage.h"

#include "platform/MessageReport.h"
#include "platform/Text.h"

namespace ferrow::net {

namespace {
constexpr wchar_t kCaption[] = L"Gateway";
}  // namespace

void OperatorMessage::Show(const std::string& text) {
    platform::MessageReport::Show(kCaption, platform::Text::Widen(text));
}

void OperatorMessage::Note(const std::string& text) {
    platform::MessageReport::Note(kCaption, platform::Text::Widen(text));
}

}  // namespace ferrow::net
