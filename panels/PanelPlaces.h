// Where each panel was last in this session, by template and caption, so a
// panel shown again or made again for the same peripheral opens there. A
// session lasts from FerrowPanels_Install to FerrowPanels_Uninstall. GUI
// thread only.
#pragma once

#include <wx/gdicmn.h>
#include <wx/string.h>

#include <optional>

namespace ferrow::panels {

class PanelPlaces {
public:
    static void Remember(unsigned int templateId, const wxString& caption, const wxRect& place);
    static std::optional<wxRect> Recall(unsigned int templateId, const wxString& caption);
    static void Forget();
};

}  // namespace ferrow::panels
