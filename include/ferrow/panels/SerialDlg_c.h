// The serial port's panel, the far end of the firmware's UART: a log of what
// the firmware transmits, read as a teletype reads it (line feed ends a line,
// carriage return goes back to its start, backspace steps back), and two
// input lines whose text goes to the firmware's receive side.
//
// The log reads like a terminal: a fixed-width font, 80 columns wide at the
// default size, UTF-8 shown as text, and on demand a time stamp per line
// ("Time") or the bytes in hex ("Hex"), for binary protocols. Lines are
// selected with the mouse (Shift and Ctrl extend the selection) and copied
// with Ctrl+C or Copy. While nothing, or only the newest line, is selected,
// the log selects and shows each newest line as it comes; any other
// selection holds the view until the newest line is selected again.
//
// The log is filled from a timer that runs while the window exists, shown or
// not, every SERIAL_DISP_PERIOD ms of the emulator's configuration (100 when
// absent). Pause stops taking bytes: the firmware's transmit ring keeps them
// until it is full, after which the firmware's PutTX fails.
//
// The unfinished line: a refresh that brings bytes lists the line still being
// written as the log's last entry, and the next refresh that brings bytes
// replaces that entry with the line as it then stands, completed or not. The
// panel remembers whether its last entry is such a line, so no line is ever
// listed twice, after a carriage return either. Clear forgets the entry; the
// unfinished line shows again with the next bytes.
//
// Sending a line delivers its first 255 characters, each cut to 8 bits, then
// a carriage return, as two deliveries: the firmware's receive callback runs
// twice, also for an empty line. The line keeps its text. Enter sends the
// input line that has, or last had, the keyboard focus (the upper one each
// time the panel is shown); on a button Enter presses the button instead.
#pragma once

#include <ferrow/panels/FloatingDlg_c.h>

#include <wx/timer.h>

#include <memory>
#include <string>
#include <vector>

class Ferrow_Serial_c;
class wxButton;
class wxCheckBox;
class wxKeyEvent;
class wxListBox;
class wxShowEvent;
class wxSizeEvent;
class wxTextCtrl;

namespace ferrow::panels {
class SerialTeletype;
}

class FERROW_PANELS_API SerialDlg_c : public FloatingDlg_c {
public:
    static constexpr unsigned int kTemplateId = 31000;
    // Window ids of the controls.
    static constexpr int kPauseId = 1025;
    static constexpr int kClearId = 1090;
    static constexpr int kLogId = 1089;
    static constexpr int kUpperLineId = 1091;
    static constexpr int kUpperSendId = 1096;
    static constexpr int kLowerLineId = 1087;
    static constexpr int kLowerSendId = 1088;
    static constexpr int kCopyId = 1097;
    static constexpr int kTimeStampsId = 1098;
    static constexpr int kHexId = 1099;
    static constexpr int kTimerId = 12;
    static constexpr int kDefaultPeriodMs = 100;
    static constexpr int kMaxSendChars = 255;
    // The log keeps the newest entries up to this count, so that a firmware
    // printing for hours does not grow it without end.
    static constexpr unsigned int kMaxLogEntries = 10000;

    SerialDlg_c(CWnd* parentWnd, Ferrow_Serial_c* serial);
    // Stops the timer before the controls go.
    ~SerialDlg_c() override;

    // Creates the window hidden, without a refresh thread. 0 or -1.
    int Create();
    using FloatingDlg_c::Create;

    // Titles the panel after the port first, so that it opens where the
    // panel of that port was last.
    int Show(int priority) override;
    using FloatingDlg_c::Show;

    // The selected lines, one per line, as the log shows them.
    wxString SelectedText() const;

    // The running refresh timer's interval in ms, or 0 while it is stopped.
    int TimerInterval() const;

protected:
    void OnInitDialog() override;
    // Resizable and minimisable: the controls follow the edges.
    long TemplateStyle() const override;

private:
    // The controls that follow the panel's edges, in the order of margins_.
    static constexpr int kAnchoredCount = 8;

    void CreateControls();
    // Widens the panel until the log shows 80 columns of its font.
    void FitTerminalWidth();
    wxWindow* AnchoredControl(int index) const;
    void AnchorControls();
    void UpdateTitle();
    void RefreshLog();
    void ShowLines(const std::vector<std::string>& lines, const std::string& pending);
    // Shows what the teletype holds after a change of its view.
    void ShowTaken();
    void SendLine(const wxTextCtrl* line);
    void CopySelection();

    void OnTimer(wxTimerEvent& event);
    void OnPause(wxCommandEvent& event);
    void OnClear(wxCommandEvent& event);
    void OnShow(wxShowEvent& event);
    void OnSize(wxSizeEvent& event);
    void OnCharHook(wxKeyEvent& event);

    Ferrow_Serial_c* serial_;
    // The emulator's configuration object, used only while the panel
    // initialises; null without an emulator. A CfgFile_c with wide keys when
    // wideConfig_ is set, else a CFG_File.
    void* config_;
    bool wideConfig_;
    int displayPeriod_ = kDefaultPeriodMs;
    bool paused_ = false;
    // Whether the log's last entry shows the unfinished line.
    bool pendingShown_ = false;
    std::unique_ptr<ferrow::panels::SerialTeletype> tty_;

    wxButton* pauseButton_ = nullptr;
    wxButton* clearButton_ = nullptr;
    wxButton* copyButton_ = nullptr;
    wxCheckBox* timeStampsBox_ = nullptr;
    wxCheckBox* hexBox_ = nullptr;
    wxListBox* log_ = nullptr;
    wxTextCtrl* upperLine_ = nullptr;
    wxButton* upperSend_ = nullptr;
    wxTextCtrl* lowerLine_ = nullptr;
    wxButton* lowerSend_ = nullptr;
    // The input line Enter sends; null until a line has had the focus.
    wxTextCtrl* sendTarget_ = nullptr;

    wxTimer timer_;
    int margins_[kAnchoredCount][4] = {};
};
