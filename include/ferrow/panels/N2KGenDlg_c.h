// The panel of a Ferrow_N2K_Gen_c, captioned "N2K Generator": the operator
// picks a parameter group from the PGN database (found by number or name),
// fills in its fields (lookups as choices) and as many instances of its
// repeating sets as it wants, sets priority, source and
// destination, checks the bytes the message is built into, and sends it
// into the firmware's receive path through the generator's queue, and on
// request onto the network too. OK and Cancel hide it.
//
// Messages are built and described through <ferrow/N2KDecode.h> only; the
// panel loads the database from its default places if nothing has yet.
#pragma once

#include <ferrow/N2KMsg.h>
#include <ferrow/panels/FloatingDlg_c.h>

#include <memory>
#include <optional>
#include <vector>

class Ferrow_c;
class Ferrow_N2K_Gen_c;
class wxButton;
class wxCheckBox;
class wxChoice;
class wxCommandEvent;
class wxScrolledWindow;
class wxStaticText;
class wxTextCtrl;
class wxWindow;

namespace ferrow::panels {
class PgnCatalog;
class PgnForm;
}

class FERROW_PANELS_API N2KGenDlg_c : public FloatingDlg_c {
public:
    static constexpr unsigned int kTemplateId = 11001;
    // Window ids of the controls; OK and Cancel are wxID_OK and wxID_CANCEL.
    static constexpr int kFindId = 1100;
    static constexpr int kPgnId = 1101;
    static constexpr int kFieldsId = 1102;
    static constexpr int kPriorityId = 1103;
    static constexpr int kSourceId = 1104;
    static constexpr int kDestinationId = 1105;
    static constexpr int kNetworkId = 1106;
    static constexpr int kBytesId = 1107;
    static constexpr int kSendId = 1108;
    static constexpr int kResultId = 1109;
    // The instances of the group's first and second repeating set.
    static constexpr int kSets1Id = 1110;
    static constexpr int kSets2Id = 1111;
    // The entry of field i of the picked group (a text box, or a choice for
    // a lookup) has id kFieldEntryId + i.
    static constexpr int kFieldEntryId = 2000;

    // The emulator's registered generator, the one whose queue its firmware
    // reads.
    N2KGenDlg_c(CWnd* parentWnd, Ferrow_c* emulator);
    N2KGenDlg_c(CWnd* parentWnd, Ferrow_N2K_Gen_c* generator);
    ~N2KGenDlg_c() override;

    // Creates the window hidden, without a refresh thread. 0 or -1.
    int Create() { return Create(nullptr, 10); }
    using FloatingDlg_c::Create;

    // The groups offered in the PGN choice, in its order.
    std::vector<unsigned long> OfferedPgns() const;

protected:
    void OnInitDialog() override;

private:
    void CreateControls();
    void LoadCatalog();
    void ShowMatches();
    void PickGroup();
    void CreateFieldRows();
    void OnSets(unsigned set);
    // Rebuilds the message from the entries and shows its bytes, or why it
    // cannot be built; whether it was built.
    bool Build();
    void Send();

    void OnFind(wxCommandEvent& event);
    void OnFieldChanged(wxCommandEvent& event);

    Ferrow_N2K_Gen_c* generator_;
    std::unique_ptr<ferrow::panels::PgnCatalog> catalog_;
    std::unique_ptr<ferrow::panels::PgnForm> form_;
    // Indexes into the catalog of what the PGN choice offers.
    std::vector<std::size_t> offered_;
    std::optional<N2KMsg> built_;

    wxTextCtrl* find_ = nullptr;
    wxChoice* pgn_ = nullptr;
    wxScrolledWindow* fields_ = nullptr;
    std::vector<wxWindow*> entries_;
    wxChoice* sets_[2] = {nullptr, nullptr};
    wxChoice* priority_ = nullptr;
    wxTextCtrl* source_ = nullptr;
    wxTextCtrl* destination_ = nullptr;
    wxCheckBox* network_ = nullptr;
    wxTextCtrl* bytes_ = nullptr;
    wxButton* send_ = nullptr;
    wxStaticText* result_ = nullptr;
};
