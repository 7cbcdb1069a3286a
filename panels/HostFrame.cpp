#include "panels/HostFrame.h"

#include <wx/app.h>
#include <wx/button.h>
#include <wx/listbox.h>
#include <wx/panel.h>
#include <wx/sizer.h>

namespace ferrow::panels {

HostFrame::HostFrame(const wxString& title)
    : wxFrame(nullptr, wxID_ANY, title, wxDefaultPosition, wxSize(280, 240)) {
    auto* content = new wxPanel(this);
    list_ = new wxListBox(content, wxID_ANY);
    auto* show = new wxButton(content, wxID_ANY, "Show panel");
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(list_, 1, wxEXPAND | wxALL, 6);
    sizer->Add(show, 0, wxALIGN_RIGHT | wxLEFT | wxRIGHT | wxBOTTOM, 6);
    content->SetSizer(sizer);

    show->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { ShowSelected(); });
    list_->Bind(wxEVT_LISTBOX_DCLICK, [this](wxCommandEvent&) { ShowSelected(); });
    // Captions may change after a panel is made (from the peripheral's name).
    Bind(wxEVT_ACTIVATE, [this](wxActivateEvent& event) {
        if (event.GetActive()) RefreshList();
        event.Skip();
    });
    Bind(wxEVT_CLOSE_WINDOW, &HostFrame::OnClose, this);
}

void HostFrame::RefreshList() {
    const int selected = list_->GetSelection();
    panels_.clear();
    wxArrayString captions;
    for (wxWindow* child : GetChildren()) {
        auto* panel = dynamic_cast<FloatingDlg_c*>(child);
        if (panel == nullptr || panel->IsBeingDeleted() || panel->IsModal()) continue;
        panels_.emplace_back(panel);
        const wxString caption = panel->GetTitle();
        captions.Add(caption.empty() ? wxString::Format("Panel %u", panel->TemplateId())
                                     : caption);
    }
    list_->Set(captions);
    if (selected != wxNOT_FOUND && selected < static_cast<int>(list_->GetCount())) {
        list_->SetSelection(selected);
    }
}

void HostFrame::ShowSelected() {
    const int selected = list_->GetSelection();
    if (selected == wxNOT_FOUND || selected >= static_cast<int>(panels_.size())) return;
    if (FloatingDlg_c* panel = panels_[selected]) panel->Show(0);
}

void HostFrame::OnClose(wxCloseEvent& event) {
    if (event.CanVeto()) event.Veto();
    wxFrame::Show(false);
    if (wxTheApp != nullptr) wxTheApp->ExitMainLoop();
}

}  // namespace ferrow::panels
