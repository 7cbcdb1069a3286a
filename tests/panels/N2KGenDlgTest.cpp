// The generator panel as an operator meets it: a firmware from the factory on
// a virtual bus answering ISO requests, a second device on the same bus, and
// the panel driven through its controls with the PGN database loaded.
#include "PanelsHost.h"
#include "PgnListRows.h"

#include "panels/model/PgnRowTable.h"
#include "tests/support/TempDir.h"

#include <ferrow/N2KDecode.h>
#include <ferrow/ferrow.h>
#include <ferrow/panels/N2KGenDlg_c.h>
#include <ferrow/panels/N2KMonDlg_c.h>

#include <wx/choice.h>
#include <wx/listctrl.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <memory>
#include <string>

namespace ferrow::panels::test {
namespace {

using ferrow::panels::PgnRowTable;
using ferrow::test::TempDir;

constexpr uint8_t kFirmwareAddress = 0x23;
constexpr uint32_t kIsoRequest = 59904;
constexpr uint32_t kProductInformation = 126996;
constexpr uint32_t kTemperature = 130316;
constexpr uint32_t kPgnList = 126464;

// The firmware answers an ISO request with a message of the group asked for.
void NoMain(void*) {}

void AnsweringLoop(void* obj) {
    auto* emu = static_cast<Ferrow_c*>(obj);
    N2KMsg msg{};
    while (emu->GetMsg(&msg) == N2K_OK) {
        if (msg.pgn != kIsoRequest || msg.length < 3) continue;
        N2KMsg answer{};
        answer.pgn = static_cast<uint32_t>(msg.data[0] | (msg.data[1] << 8) | (msg.data[2] << 16));
        answer.priority = 6;
        answer.addressB = msg.addressA;
        answer.addressA = kFirmwareAddress;
        answer.transport = 1;
        answer.length = 8;
        emu->PutMsg(&answer);
    }
}

// The operator picks `item` in the choice with window id `id`.
void Choose(wxWindow* window, int id, const wxString& item) {
    auto* choice = ControlOf<wxChoice>(window, id);
    ASSERT_NE(choice, nullptr) << id;
    ASSERT_TRUE(choice->SetStringSelection(item)) << item;
    wxCommandEvent picked(wxEVT_CHOICE, id);
    picked.SetEventObject(choice);
    picked.SetInt(choice->GetSelection());
    choice->HandleWindowEvent(picked);
}

class N2KGenPanel : public PanelsHostTest {
protected:
    void SetUp() override {
        PanelsHostTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        static int buses = 0;
        const std::string portLine = "GW_PORT_NAME=\"vbus:n2kgen-" + std::to_string(++buses) + "\"\n";
        TempDir::Write(dir_.File("Ferrow.cfg"), portLine);
        TempDir::Write(dir_.File("peer.cfg"), portLine);
        emu_.reset(create_Ferrow_pObj(Handle(), nullptr, dir_.File("image.hex").c_str(),
                                      dir_.File("Ferrow.cfg").c_str(), 0,
                                      FERROW_N2K_MON | FERROW_N2K_GEN, NoMain, AnsweringLoop, 5,
                                      nullptr, 0));
        ASSERT_NE(emu_, nullptr);
        emu_->SetAutoConnect(0);
        ASSERT_EQ(emu_->Start(), 0);
        ASSERT_EQ(emu_->Connect(), 0);
        peer_ = std::make_unique<Ferrow_c>(nullptr, nullptr, dir_.File("peer.hex").c_str(),
                                           dir_.File("peer.cfg").c_str(), 0);
        ASSERT_EQ(peer_->Connect(), 0);
        panel_ = dynamic_cast<N2KGenDlg_c*>(PanelOf(host_, N2KGenDlg_c::kTemplateId));
        ASSERT_NE(panel_, nullptr);
        emu_->n2kGen->Show();
        ASSERT_TRUE(PumpUntil([&] { return !panel_->OfferedPgns().empty(); }))
            << Text(N2KGenDlg_c::kBytesId);
    }

    void TearDown() override {
        if (emu_) {
            emu_->Stop();
            delete emu_->n2kMon;
            delete emu_->n2kGen;
            emu_.reset();
        }
        peer_.reset();
        PanelsHostTest::TearDown();
    }

    std::string Text(int id) { return ControlOf<wxTextCtrl>(panel_, id)->GetValue().ToStdString(); }
    std::string Result() { return ControlOf<wxStaticText>(panel_, N2KGenDlg_c::kResultId)->GetLabel().ToStdString(); }
    bool SendEnabled() { return ControlOf<wxButton>(panel_, N2KGenDlg_c::kSendId)->IsEnabled(); }
    wxChoice* PgnChoice() { return ControlOf<wxChoice>(panel_, N2KGenDlg_c::kPgnId); }

    void Type(int id, const wxString& text) { ControlOf<wxTextCtrl>(panel_, id)->SetValue(text); }

    // The entry of the picked group's field `name`: each row of the field
    // area is its name, its entry and its hint.
    wxWindow* Entry(const wxString& name) {
        const wxWindowList& row = panel_->FindWindow(N2KGenDlg_c::kFieldsId)->GetChildren();
        for (auto it = row.begin(); it != row.end(); ++it) {
            auto* label = dynamic_cast<wxStaticText*>(*it);
            if (label != nullptr && label->GetLabel() == name && std::next(it) != row.end()) {
                return *std::next(it);
            }
        }
        return nullptr;
    }

    void Fill(const wxString& name, const wxString& text) {
        wxWindow* entry = Entry(name);
        ASSERT_NE(entry, nullptr) << name;
        if (dynamic_cast<wxChoice*>(entry) != nullptr) {
            Choose(panel_->FindWindow(N2KGenDlg_c::kFieldsId), entry->GetId(), text);
        } else {
            dynamic_cast<wxTextCtrl*>(entry)->SetValue(text);
        }
    }

    void Pick(uint32_t pgn) {
        Type(N2KGenDlg_c::kFindId, wxString::Format("%u", pgn));
        ASSERT_TRUE(PgnChoice()->GetStringSelection().StartsWith(wxString::Format("%u ", pgn)))
            << PgnChoice()->GetStringSelection();
    }

    TempDir dir_;
    std::unique_ptr<Ferrow_c> emu_;
    std::unique_ptr<Ferrow_c> peer_;
    N2KGenDlg_c* panel_ = nullptr;
};

TEST_F(N2KGenPanel, FindsAGroupByNumberOrNameAndOffersItsFieldsWithLookupsAsChoices) {
    EXPECT_EQ(panel_->GetTitle(), "N2K Generator");
    EXPECT_EQ(panel_->GetDefaultItem(), ControlOf<wxButton>(panel_, wxID_OK));
    EXPECT_GT(panel_->OfferedPgns().size(), 200u) << "every group of the database";

    Type(N2KGenDlg_c::kFindId, "temperature extended");
    ASSERT_EQ(panel_->OfferedPgns(), std::vector<unsigned long>{kTemperature});
    EXPECT_EQ(PgnChoice()->GetStringSelection(), "130316 Temperature Extended Range");
    auto* source = dynamic_cast<wxChoice*>(Entry("Source"));
    ASSERT_NE(source, nullptr) << "a lookup is a choice";
    EXPECT_NE(source->FindString("Inside Temperature"), wxNOT_FOUND);
    EXPECT_EQ(source->GetStringSelection(), "") << "not available until chosen";
    EXPECT_EQ(Entry("Reserved"), nullptr);

    Fill("Temperature", "300");
    Type(N2KGenDlg_c::kFindId, "1303");
    EXPECT_EQ(PgnChoice()->GetStringSelection(), "130316 Temperature Extended Range")
        << "a group still found stays picked";
    EXPECT_EQ(dynamic_cast<wxTextCtrl*>(Entry("Temperature"))->GetValue(), "300");

    Type(N2KGenDlg_c::kFindId, "no such group at all");
    EXPECT_TRUE(panel_->OfferedPgns().empty());
    EXPECT_EQ(Entry("Temperature"), nullptr);
    EXPECT_FALSE(SendEnabled());
    for (int id : {int{wxID_OK}, int{wxID_CANCEL}}) {
        Press(panel_, id);
        EXPECT_TRUE(PumpUntil([&] { return emu_->n2kGen->IsVisible() == 0; })) << "hidden by " << id;
        emu_->n2kGen->Show();
    }
}

TEST_F(N2KGenPanel, ShowsTheBuiltBytesAsTheFieldsChangeAndWhyWhenTheyCannotBeBuilt) {
    Pick(kTemperature);
    Fill("SID", "0");
    Fill("Instance", "0");
    Fill("Source", "Inside Temperature");
    Fill("Temperature", "274.387");
    EXPECT_EQ(Text(N2KGenDlg_c::kBytesId), "8 bytes, single frame\n00 00 02 D3 2F 04 FF FF");
    EXPECT_TRUE(SendEnabled());

    Fill("Temperature", "-1");
    EXPECT_EQ(Text(N2KGenDlg_c::kBytesId).rfind("Temperature: below ", 0), 0u) << Text(N2KGenDlg_c::kBytesId);
    Fill("Temperature", "");
    Type(N2KGenDlg_c::kSourceId, "254");
    EXPECT_EQ(Text(N2KGenDlg_c::kBytesId), "Source: an address from 0 to 253");
    EXPECT_FALSE(SendEnabled());
    Type(N2KGenDlg_c::kSourceId, "1");

    // A repeating set: as many instances as the operator asks for, each
    // keeping its entries while others come and go.
    EXPECT_FALSE(ControlOf<wxChoice>(panel_, N2KGenDlg_c::kSets1Id)->IsEnabled());
    Pick(kPgnList);
    EXPECT_TRUE(ControlOf<wxChoice>(panel_, N2KGenDlg_c::kSets1Id)->IsEnabled());
    EXPECT_FALSE(ControlOf<wxChoice>(panel_, N2KGenDlg_c::kSets2Id)->IsEnabled());
    Fill("Function Code", "Transmit PGN list");
    Choose(panel_, N2KGenDlg_c::kSets1Id, "2");
    Fill("PGN #1", "59904");
    Fill("PGN #2", "126996");
    EXPECT_EQ(Text(N2KGenDlg_c::kBytesId), "7 bytes, fast packet\n00 00 EA 00 14 F0 01");
    Choose(panel_, N2KGenDlg_c::kSets1Id, "1");
    EXPECT_EQ(Entry("PGN #2"), nullptr);
    EXPECT_EQ(Text(N2KGenDlg_c::kBytesId), "4 bytes, fast packet\n00 00 EA 00");
}

TEST_F(N2KGenPanel, SendsIntoTheFirmwareWhoseAnswerTheMonitorShowsAndOnRequestOntoTheNetwork) {
    auto* monitor = dynamic_cast<N2KMonDlg_c*>(PanelOf(host_, N2KMonDlg_c::kTemplateId));
    ASSERT_NE(monitor, nullptr);
    Pick(kIsoRequest);
    Fill("PGN", wxString::Format("%u", kProductInformation));
    Choose(panel_, N2KGenDlg_c::kPriorityId, "3");
    Type(N2KGenDlg_c::kSourceId, "66");
    Type(N2KGenDlg_c::kDestinationId, wxString::Format("%u", kFirmwareAddress));
    EXPECT_EQ(Text(N2KGenDlg_c::kBytesId), "8 bytes, single frame\n14 F0 01 FF FF FF FF FF")
        << "a single frame is padded to its 8 bytes";
    Press(panel_, N2KGenDlg_c::kSendId);
    EXPECT_EQ(Result(), "Sent to the firmware");

    auto* rx = ControlOf<wxListCtrl>(monitor, N2KMonDlg_c::kRxListId);
    auto* tx = ControlOf<wxListCtrl>(monitor, N2KMonDlg_c::kTxListId);
    EXPECT_TRUE(PumpUntil([&] { return RowOf(rx, kIsoRequest, 66) >= 0 && RowOf(tx, kProductInformation, kFirmwareAddress) >= 0; }));
    // What the peer receives, until a message of `pgn` comes.
    N2KMsg seen{};
    int requests = 0;
    const auto peerReceives = [&](uint32_t pgn) {
        return PumpUntil([&] {
            bool arrived = false;
            while (peer_->GetMsg(&seen) == N2K_OK) {
                if (seen.pgn == kIsoRequest) ++requests;
                arrived = arrived || seen.pgn == pgn;
                if (seen.pgn == pgn) break;
            }
            return arrived;
        });
    };
    EXPECT_TRUE(peerReceives(kProductInformation)) << "the firmware's answer";
    EXPECT_EQ(requests, 0) << "the request stayed off the network";

    Tick(panel_, N2KGenDlg_c::kNetworkId, true);
    Press(panel_, N2KGenDlg_c::kSendId);
    EXPECT_EQ(Result(), "Sent to the firmware and the network");
    ASSERT_TRUE(peerReceives(kIsoRequest));
    EXPECT_EQ(seen.priority, 3);
    EXPECT_EQ(seen.addressA, 66);
    EXPECT_EQ(seen.addressB, kFirmwareAddress);
    EXPECT_EQ(seen.length, 8);
    EXPECT_EQ(seen.data[0] | (seen.data[1] << 8) | (seen.data[2] << 16), int{kProductInformation});
    Fill("PGN", "");
    EXPECT_EQ(Result(), "") << "the last result goes with the change";
}

}  // namespace
}  // namespace ferrow::panels::test
