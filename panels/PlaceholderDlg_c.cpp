#include <ferrow/panels/PlaceholderDlg_c.h>

#include <wx/button.h>

PlaceholderDlg_c::PlaceholderDlg_c(unsigned int templateId, CWnd* parentWnd,
                                   const wchar_t* caption)
    : FloatingDlg_c(templateId, parentWnd), caption_(caption) {}

int PlaceholderDlg_c::Create() { return Create(nullptr, 10); }

void PlaceholderDlg_c::OnInitDialog() {
    SetTitle(caption_);
    SetTemplateSize(186, 90);
    auto* ok = new wxButton(this, wxID_OK, "OK");
    PlaceCtrl(ok, 129, 7, 50, 14);
    ok->SetDefault();
    PlaceCtrl(new wxButton(this, wxID_CANCEL, "Cancel"), 129, 24, 50, 14);
}
