// The panel of a Ferrow_N2K_Mon_c, captioned "N2K Monitor": what the firmware
// received on the left and what it sent on the right, one row per sender of
// a parameter group, each side with its count and a Clear button; a clock,
// Pause, the gateway's Connect and Disconnect, and "Monitor All PGN", which
// switches the emulator's dispAllPgn. Its timer empties the monitor's stores
// into the lists every display period, whether the panel is shown or not,
// and moves the rates on, so a group that stopped falls to 0.0/s. Under the
// lists a status line shows the gateway's figures (GetGatewayStats), read
// once a second.
//
// Selecting a row in either list shows that row's latest message below the
// lists, decoded into fields (name, value, unit) from the PGN database
// (FerrowDecodeN2K), and follows its new messages at the display period.
//
// Each list shows a row's key, its data bytes and its rate at the default
// size; the panel is resizable, each list taking half the width.
#pragma once

#include <ferrow/N2KMsg.h>
#include <ferrow/panels/FloatingDlg_c.h>

#include <wx/timer.h>

#include <cstdint>
#include <memory>
#include <vector>

class BrovikPgn;
class Ferrow_N2K_Mon_c;
class wxButton;
class wxCheckBox;
class wxCommandEvent;
class wxShowEvent;
class wxSizeEvent;
class wxStaticText;
class wxTextCtrl;

namespace ferrow::panels {
class WxPgnList;
}

class FERROW_PANELS_API N2KMonDlg_c : public FloatingDlg_c {
public:
    static constexpr unsigned int kTemplateId = 11000;
    // Window ids of the controls; Close and the hidden Cancel are wxID_OK
    // and wxID_CANCEL.
    static constexpr int kRxCountId = 1000;
    static constexpr int kClearRxId = 1092;
    static constexpr int kRxListId = 1006;
    static constexpr int kDisplayAllId = 11009;
    static constexpr int kTxCountId = 1012;
    static constexpr int kClearTxId = 1093;
    static constexpr int kTxListId = 1007;
    static constexpr int kTimeId = 1016;
    static constexpr int kPauseId = 1025;
    static constexpr int kDisconnectId = 1002;
    static constexpr int kConnectId = 1001;
    static constexpr int kStatusId = 1030;
    // The selected row's PGN and addresses, and its fields.
    static constexpr int kFieldsTitleId = 1031;
    static constexpr int kFieldsListId = 1032;
    static constexpr int kTimerId = 11;
    static constexpr int kDefaultPeriodMs = 100;

    // The panel reaches the monitor's two stores through the monitor's own
    // Get and Offered calls, each of which copies under the monitor's lock.
    N2KMonDlg_c(CWnd* parentWnd, Ferrow_N2K_Mon_c* monitor);
    // Stops the timer before the controls go.
    ~N2KMonDlg_c() override;

    // One timer tick: unless paused, shows the time, empties the receive
    // store into the RX list and the transmit store into the TX list, shows
    // the selected row's latest message, and when it is due, reads the
    // gateway's figures into the status line.
    void RefreshLists();

    // The running timer's interval in ms, or 0 while it is stopped.
    int TimerInterval() const;

protected:
    void OnInitDialog() override;
    // Resizable, with a minimise box.
    long TemplateStyle() const override;

private:
    // The part of the client area a control keeps its margins in.
    enum class Area { Whole, Left, Right };
    struct Anchored {
        wxWindow* control;
        Area area;
        unsigned flags;
        int margins[4];
    };

    // What differs between the receive and the transmit half.
    struct Side {
        // The receive store, else the transmit store.
        bool receive;
        wxTextCtrl* count = nullptr;
        ferrow::panels::WxPgnList* list = nullptr;
    };

    void CreateControls();
    void CreateSide(Side& side, int x, const char* label, int countId, int clearId, int listId);
    void LoadDisplayPeriod();
    void Anchor(wxWindow* control, Area area, unsigned flags);
    wxRect AreaRect(Area area) const;
    // The emulator's Connect or DisConnect, outside the monitor's link, since
    // a gateway may take its time.
    void Connection(bool connect);
    void UpdateButtons();
    // Empties the side's store into its list and shows the count; false
    // when the monitor has gone.
    bool ListStore(Side& side);
    void ClearSide(Side& side);
    void RefreshStatus(uint64_t ms);
    // Shows the latest message of the row selected last, in whichever list,
    // unless it is shown already.
    void RefreshFields();

    void OnTimer(wxTimerEvent& event);
    void OnPause(wxCommandEvent& event);
    void OnConnect(wxCommandEvent& event);
    void OnDisconnect(wxCommandEvent& event);
    void OnDisplayAll(wxCommandEvent& event);
    void OnShown(wxShowEvent& event);
    void OnSize(wxSizeEvent& event);

    // The latest message of every row of both lists and the decoded fields.
    struct Fields;

    Ferrow_N2K_Mon_c* monitor_;
    std::unique_ptr<BrovikPgn> pgn_;
    int displayPeriod_ = kDefaultPeriodMs;
    bool paused_ = false;
    // When the status line was last read, and whether it is due regardless.
    uint64_t statusMs_ = 0;
    bool statusDue_ = true;
    Side rx_;
    Side tx_;
    // Messages copied out of a store, listed after the copy.
    std::vector<N2KMsg> batch_;
    std::vector<Anchored> anchored_;
    std::unique_ptr<Fields> fields_;

    wxCheckBox* displayAllBox_ = nullptr;
    wxButton* pauseButton_ = nullptr;
    wxButton* connectButton_ = nullptr;
    wxButton* disconnectButton_ = nullptr;
    wxStaticText* fieldsTitle_ = nullptr;
    ferrow::panels::WxPgnList* fieldsList_ = nullptr;
    wxTimer timer_;
};
