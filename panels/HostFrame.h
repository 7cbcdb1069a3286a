// The window a FerrowHost opens: the parent of every panel, with a list of
// the panels made so far and a button that shows the selected one. Closing
// it ends the host's run; it is destroyed only with the host.
#pragma once

#include <ferrow/panels/FloatingDlg_c.h>

#include <wx/frame.h>
#include <wx/weakref.h>

#include <vector>

class wxListBox;

namespace ferrow::panels {

class HostFrame : public wxFrame {
public:
    explicit HostFrame(const wxString& title);

    // Lists the panels whose parent this window is.
    void RefreshList();

private:
    void ShowSelected();
    void OnClose(wxCloseEvent& event);

    wxListBox* list_;
    std::vector<wxWeakRef<FloatingDlg_c>> panels_;
};

}  // namespace ferrow::panels
