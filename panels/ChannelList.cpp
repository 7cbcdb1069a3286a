#include "panels/ChannelList.h"

#include "platform/Text.h"

#include <wx/listctrl.h>

namespace ferrow::panels {
namespace {

wxListColumnFormat ListFormat(ColumnLayout::Align align) {
    switch (align) {
        case ColumnLayout::Align::Right:
            return wxLIST_FORMAT_RIGHT;
        case ColumnLayout::Align::Centre:
            return wxLIST_FORMAT_CENTRE;
        case ColumnLayout::Align::Left:
            break;
    }
    return wxLIST_FORMAT_LEFT;
}

}  // namespace

void ChannelList::Reset(wxListCtrl& list, const std::vector<ColumnLayout::Column>& columns) {
    list.ClearAll();
    const int width = list.GetClientSize().x;
    for (size_t i = 0; i < columns.size(); ++i) {
        list.InsertColumn(static_cast<long>(i), columns[i].heading, ListFormat(columns[i].align),
                          ColumnLayout::Width(columns[i], width));
    }
}

wxString ChannelList::Name(const char* name) {
    return wxString(platform::Text::Widen(name != nullptr ? name : ""));
}

wxString ChannelList::PinNumber(unsigned long pin) {
    return wxString::Format("0x%02X", static_cast<unsigned>(pin & 0xFFFFFFFFUL));
}

}  // namespace ferrow::panels
