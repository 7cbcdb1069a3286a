#include <ferrow/panels/N2KGenDlg_c.h>

#include "net/transport/N2KRecord.h"
#include "panels/model/PgnForm.h"
#include "platform/ProcessClock.h"

#include <ferrow/Ferrow_N2K_Gen_c.h>
#include <ferrow/Ferrow_c.h>
#include <ferrow/N2KDecode.h>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/choice.h>
#include <wx/scrolwin.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

using ferrow::panels::BuiltBytes;
using ferrow::panels::ParseSmall;
using ferrow::panels::PgnCatalog;
using ferrow::panels::PgnForm;

namespace {

// The template, in dialog units. A choice box is as tall as the toolkit
// draws one; text boxes sit centred beside it.
constexpr int kWidth = 330;
constexpr int kHeight = 234;
constexpr int kChoiceHeight = 18;
constexpr int kFieldsTop = 26;
constexpr int kFieldsHeight = 104;
constexpr int kSetsTop = 134;
constexpr int kAddressTop = 154;
constexpr int kBytesTop = 176;
constexpr int kButtonTop = 214;

constexpr unsigned kDefaultPriority = 6;
constexpr const char* kDefaultSource = "0";
constexpr const char* kDefaultDestination = "255";
// Addresses 254 (no address claimed) and 255 (global) never send.
constexpr unsigned kMaxSource = 253;
constexpr unsigned kMaxDestination = 255;

// A whole lookup of manufacturers fits the first size; the list of every
// group the second.
constexpr int kFirstBuffer = 1 << 16;
constexpr int kLastBuffer = 1 << 22;

// FerrowDescribePgn's text, or "" when it gives none.
std::string Describe(unsigned long pgn) {
    std::string text;
    for (int size = kFirstBuffer; size <= kLastBuffer; size *= 4) {
        text.resize(static_cast<std::size_t>(size));
        const int length = FerrowDescribePgn(pgn, text.data(), size);
        if (length >= 0) {
            text.resize(static_cast<std::size_t>(length));
            return text;
        }
    }
    return {};
}

std::string Narrow(const wxString& text) { return std::string(text.utf8_str()); }

}  // namespace

N2KGenDlg_c::N2KGenDlg_c(CWnd* parentWnd, Ferrow_c* emulator)
    : N2KGenDlg_c(parentWnd, emulator != nullptr ? emulator->n2kGen : nullptr) {}

N2KGenDlg_c::N2KGenDlg_c(CWnd* parentWnd, Ferrow_N2K_Gen_c* generator)
    : FloatingDlg_c(kTemplateId, parentWnd), generator_(generator) {}

N2KGenDlg_c::~N2KGenDlg_c() = default;

std::vector<unsigned long> N2KGenDlg_c::OfferedPgns() const {
    std::vector<unsigned long> pgns;
    for (std::size_t index : offered_) pgns.push_back(catalog_->Entries()[index].pgn);
    return pgns;
}

void N2KGenDlg_c::OnInitDialog() {
    FloatingDlg_c::OnInitDialog();
    SetTitle("N2K Generator");
    CreateControls();
    Bind(wxEVT_TEXT, &N2KGenDlg_c::OnFind, this, kFindId);
    Bind(wxEVT_CHOICE, [this](wxCommandEvent&) { PickGroup(); }, kPgnId);
    Bind(wxEVT_CHOICE, [this](wxCommandEvent&) { Build(); }, kPriorityId);
    Bind(wxEVT_TEXT, [this](wxCommandEvent&) { Build(); }, kSourceId);
    Bind(wxEVT_TEXT, [this](wxCommandEvent&) { Build(); }, kDestinationId);
    Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Send(); }, kSendId);
    // Reading the database takes a while: only a panel the operator opens
    // pays for it.
    Bind(wxEVT_SHOW, [this](wxShowEvent& event) {
        event.Skip();
        if (event.IsShown() && !catalog_) LoadCatalog();
    });
}

void N2KGenDlg_c::CreateControls() {
    SetTemplateSize(kWidth, kHeight);
    PlaceCtrl(new wxStaticText(this, wxID_ANY, "PGN"), 7, 9, 20, 8);
    find_ = new wxTextCtrl(this, kFindId);
    find_->SetHint("number or name");
    PlaceCtrl(find_, 30, 6, 70, 14);
    pgn_ = new wxChoice(this, kPgnId);
    PlaceCtrl(pgn_, 105, 4, kWidth - 112, kChoiceHeight);

    fields_ = new wxScrolledWindow(this, kFieldsId, wxDefaultPosition, wxDefaultSize,
                                   wxVSCROLL | wxBORDER_SUNKEN);
    fields_->SetScrollRate(0, 10);
    PlaceCtrl(fields_, 7, kFieldsTop, kWidth - 14, kFieldsHeight);
    PlaceCtrl(new wxStaticText(this, wxID_ANY, "Repeated sets"), 7, kSetsTop + 5, 50, 8);
    for (unsigned set = 1; set <= 2; ++set) {
        wxChoice* sets = new wxChoice(this, set == 1 ? kSets1Id : kSets2Id);
        for (unsigned count = 0; count <= PgnForm::kMaxSets; ++count) {
            sets->Append(wxString::Format("%u", count));
        }
        sets->SetSelection(0);
        sets->Disable();
        PlaceCtrl(sets, 60 + 34 * static_cast<int>(set - 1), kSetsTop, 30, kChoiceHeight);
        sets->Bind(wxEVT_CHOICE, [this, set](wxCommandEvent&) { OnSets(set); });
        sets_[set - 1] = sets;
    }
    PlaceCtrl(new wxStaticText(this, wxID_ANY, "Priority"), 7, kAddressTop + 5, 30, 8);
    priority_ = new wxChoice(this, kPriorityId);
    for (unsigned p = 0; p <= 7; ++p) priority_->Append(wxString::Format("%u", p));
    priority_->SetSelection(kDefaultPriority);
    PlaceCtrl(priority_, 38, kAddressTop, 28, kChoiceHeight);
    PlaceCtrl(new wxStaticText(this, wxID_ANY, "Source"), 74, kAddressTop + 5, 26, 8);
    source_ = new wxTextCtrl(this, kSourceId, kDefaultSource);
    PlaceCtrl(source_, 100, kAddressTop + 2, 24, 14);
    PlaceCtrl(new wxStaticText(this, wxID_ANY, "Destination"), 132, kAddressTop + 5, 40, 8);
    destination_ = new wxTextCtrl(this, kDestinationId, kDefaultDestination);
    PlaceCtrl(destination_, 172, kAddressTop + 2, 24, 14);
    network_ = new wxCheckBox(this, kNetworkId, "Also send on the network");
    PlaceCtrl(network_, 206, kAddressTop + 3, kWidth - 213, 12);

    bytes_ = new wxTextCtrl(this, kBytesId, wxString(), wxDefaultPosition, wxDefaultSize,
                            wxTE_MULTILINE | wxTE_READONLY);
    PlaceCtrl(bytes_, 7, kBytesTop, kWidth - 14, 32);

    result_ = new wxStaticText(this, kResultId, wxString(), wxDefaultPosition, wxDefaultSize,
                               wxST_NO_AUTORESIZE | wxST_ELLIPSIZE_END);
    PlaceCtrl(result_, 7, kButtonTop + 3, 148, 10);
    send_ = new wxButton(this, kSendId, "Send");
    PlaceCtrl(send_, 163, kButtonTop, 50, 14);
    send_->Disable();
    auto* ok = new wxButton(this, wxID_OK, "OK");
    PlaceCtrl(ok, 218, kButtonTop, 50, 14);
    ok->SetDefault();
    PlaceCtrl(new wxButton(this, wxID_CANCEL, "Cancel"), 273, kButtonTop, 50, 14);
}

void N2KGenDlg_c::LoadCatalog() {
    std::string list = Describe(0);
    if (list.empty() && FerrowLoadPgnDatabase(nullptr) == 0) list = Describe(0);
    std::optional<PgnCatalog> catalog = PgnCatalog::FromJson(list);
    if (!catalog) {
        bytes_->ChangeValue("No PGN database: nothing can be built");
        return;
    }
    catalog_ = std::make_unique<PgnCatalog>(std::move(*catalog));
    ShowMatches();
}

// Keeps the picked group while the text still finds it, else picks the
// first group found.
void N2KGenDlg_c::ShowMatches() {
    if (!catalog_) return;
    const long picked = form_ ? static_cast<long>(form_->Pgn()) : -1;
    offered_ = catalog_->Find(Narrow(find_->GetValue()));
    wxArrayString labels;
    int keep = -1;
    for (std::size_t i = 0; i < offered_.size(); ++i) {
        const ferrow::panels::PgnEntry& entry = catalog_->Entries()[offered_[i]];
        labels.Add(wxString::FromUTF8(PgnCatalog::Label(entry)));
        if (static_cast<long>(entry.pgn) == picked) keep = static_cast<int>(i);
    }
    pgn_->Set(labels);
    if (keep >= 0) {
        pgn_->SetSelection(keep);
        return;
    }
    if (!offered_.empty()) pgn_->SetSelection(0);
    PickGroup();
}

void N2KGenDlg_c::PickGroup() {
    const int selection = pgn_->GetSelection();
    form_.reset();
    if (catalog_ && selection != wxNOT_FOUND && static_cast<std::size_t>(selection) < offered_.size()) {
        const uint32_t pgn = catalog_->Entries()[offered_[static_cast<std::size_t>(selection)]].pgn;
        std::optional<PgnForm> form = PgnForm::FromDescription(Describe(pgn));
        if (form) form_ = std::make_unique<PgnForm>(std::move(*form));
    }
    for (unsigned set = 1; set <= 2; ++set) {
        sets_[set - 1]->SetSelection(0);
        sets_[set - 1]->Enable(form_ && form_->HasSet(set));
    }
    CreateFieldRows();
    result_->SetLabel(wxString());
    Build();
}

void N2KGenDlg_c::OnSets(unsigned set) {
    if (!form_ || !form_->SetInstances(set, static_cast<unsigned>(sets_[set - 1]->GetSelection()))) {
        return;
    }
    CreateFieldRows();
    result_->SetLabel(wxString());
    Build();
}

// One row per field: its name, its entry, and its unit and range. Rows are
// made anew when the sets change, with the entries the form holds.
void N2KGenDlg_c::CreateFieldRows() {
    fields_->Freeze();
    fields_->DestroyChildren();
    entries_.clear();
    auto* grid = new wxFlexGridSizer(3, wxSize(6, 2));
    grid->AddGrowableCol(1);
    const std::vector<PgnForm::Field> none;
    const std::vector<PgnForm::Field>& fields = form_ ? form_->Fields() : none;
    const int entryWidth = ConvertDialogToPixels(wxSize(130, 0)).x;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const PgnForm::Field& field = fields[i];
        const int id = kFieldEntryId + static_cast<int>(i);
        grid->Add(new wxStaticText(fields_, wxID_ANY, wxString::FromUTF8(PgnForm::Label(field))), 0,
                  wxALIGN_CENTER_VERTICAL | wxLEFT, 4);
        wxWindow* entry = nullptr;
        if (field.kind == PgnForm::Kind::Choice) {
            auto* choice = new wxChoice(fields_, id);
            choice->Append(wxString());
            for (const PgnForm::Choice& c : field.choices) choice->Append(wxString::FromUTF8(c.name));
            choice->SetStringSelection(wxString::FromUTF8(field.text));
            choice->Bind(wxEVT_CHOICE, &N2KGenDlg_c::OnFieldChanged, this);
            entry = choice;
        } else {
            auto* text = new wxTextCtrl(fields_, id, wxString::FromUTF8(field.text));
            text->Bind(wxEVT_TEXT, &N2KGenDlg_c::OnFieldChanged, this);
            entry = text;
        }
        entry->SetMinSize(wxSize(entryWidth, -1));
        grid->Add(entry, 1, wxEXPAND);
        grid->Add(new wxStaticText(fields_, wxID_ANY, wxString::FromUTF8(PgnForm::Hint(field))), 0,
                  wxALIGN_CENTER_VERTICAL | wxRIGHT, 4);
        entries_.push_back(entry);
    }
    fields_->SetSizer(grid);
    fields_->FitInside();
    fields_->Scroll(0, 0);
    fields_->Thaw();
}

void N2KGenDlg_c::OnFind(wxCommandEvent&) { ShowMatches(); }

void N2KGenDlg_c::OnFieldChanged(wxCommandEvent& event) {
    const int index = event.GetId() - kFieldEntryId;
    if (!form_ || index < 0 || static_cast<std::size_t>(index) >= entries_.size()) return;
    wxString text;
    if (auto* choice = dynamic_cast<wxChoice*>(entries_[static_cast<std::size_t>(index)])) {
        text = choice->GetStringSelection();
    } else {
        text = static_cast<wxTextCtrl*>(entries_[static_cast<std::size_t>(index)])->GetValue();
    }
    form_->Set(static_cast<std::size_t>(index), Narrow(text));
    result_->SetLabel(wxString());
    Build();
}

bool N2KGenDlg_c::Build() {
    built_.reset();
    send_->Disable();
    if (!form_) {
        if (catalog_) bytes_->ChangeValue(wxString());
        return false;
    }
    const std::optional<unsigned> priority = ParseSmall(Narrow(priority_->GetStringSelection()), 7);
    const std::optional<unsigned> source = ParseSmall(Narrow(source_->GetValue()), kMaxSource);
    const std::optional<unsigned> destination =
        ParseSmall(Narrow(destination_->GetValue()), kMaxDestination);
    std::string problem = form_->Problem();
    if (!source) problem = "Source: an address from 0 to 253";
    if (!destination) problem = "Destination: an address from 0 to 255";
    if (!priority) problem = "Priority: 0 to 7";
    if (!problem.empty()) {
        bytes_->ChangeValue(wxString::FromUTF8(problem));
        return false;
    }
    N2KMsg msg{};
    if (FerrowEncodeN2K(form_->ToJson(*priority, *source, *destination).c_str(), &msg) != 0) {
        bytes_->ChangeValue("These values cannot be built into a message");
        return false;
    }
    bytes_->ChangeValue(BuiltBytes(msg));
    built_ = msg;
    send_->Enable();
    return true;
}

void N2KGenDlg_c::Send() {
    if (!Build()) return;
    N2KMsg msg = *built_;
    msg.timeStamp = ferrow::net::N2KRecord::TimeStampAt(ferrow::platform::ProcessClock::Ms64());
    const int toNetwork = network_->GetValue() ? 1 : 0;
    int queued = -1;
    WithPeripheral([&] {
        if (generator_ != nullptr) queued = generator_->PutMsg(&msg, toNetwork);
    });
    if (queued == 1) {
        result_->SetLabel(toNetwork != 0 ? "Sent to the firmware and the network"
                                         : "Sent to the firmware");
    } else if (queued == 0) {
        result_->SetLabel("Queue full: nothing sent");
    } else {
        result_->SetLabel("No generator: nothing sent");
    }
}
