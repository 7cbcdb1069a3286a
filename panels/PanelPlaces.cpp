#include "panels/PanelPlaces.h"

#include <map>
#include <string>
#include <utility>

namespace ferrow::panels {
namespace {

using Key = std::pair<unsigned int, std::wstring>;

std::map<Key, wxRect>& Places() {
    static auto* places = new std::map<Key, wxRect>();
    return *places;
}

}  // namespace

void PanelPlaces::Remember(unsigned int templateId, const wxString& caption, const wxRect& place) {
    Places()[{templateId, caption.ToStdWstring()}] = place;
}

std::optional<wxRect> PanelPlaces::Recall(unsigned int templateId, const wxString& caption) {
    const auto it = Places().find({templateId, caption.ToStdWstring()});
    if (it == Places().end()) return std::nullopt;
    return it->second;
}

void PanelPlaces::Forget() { Places().clear(); }

}  // namespace ferrow::panels
