#include "panels/ChannelList.h"

#include "platform/Text.h"

namespace ferrow::panels {

wxString ChannelList::Name(const char* name) {
    return wxString(platform::Text::Widen(name != nullptr ? name : ""));
}

wxString ChannelList::PinNumber(unsigned long pin) {
    return wxString::Format("0x%02X", static_cast<unsigned>(pin & 0xFFFFFFFFUL));
}

}  // namespace ferrow::panels
