// The list-and-slider panel on which the channel panels are built. Each row
// of the list is one channel; a vertical slider shows and sets the selected
// channel's value between the maximum and minimum shown in two edits; a check
// box switches numbers between decimal and hexadecimal; a timer refreshes the
// rows, follows the slider and shows the elapsed time, and can be paused.
//
// A derived panel supplies the columns, the rows and the traffic with its
// peripheral by overriding FillList, Refresh, SetRange, SetSliderValue and
// OnSliderValue (and FormatValue/ParseValue for its own number form), and may
// ask for a trend strip under the list that plots every value put on the
// slider over the last minute.
//
// The list's columns are kept as wide as their headings and widest cells, and
// the panel widens itself when it lists its rows so that every column shows.
// The slider writes only what the operator moves: the refresh compares it
// with the position the panel itself gave it, so a value beyond the slider's
// range is shown at the end of the range and never written back clamped.
#pragma once

#include <ferrow/panels/FloatingDlg_c.h>

#include <wx/string.h>
#include <wx/timer.h>

#include <memory>

namespace ferrow::panels {
class ListColumns;
class TrendStrip;
}  // namespace ferrow::panels

class Ferrow_c;
class wxButton;
class wxCheckBox;
class wxCommandEvent;
class wxFocusEvent;
class wxListCtrl;
class wxMouseEvent;
class wxScrollEvent;
class wxSizeEvent;
class wxSlider;
class wxStaticText;
class wxTextCtrl;

class FERROW_PANELS_API Control01Dlg_c : public FloatingDlg_c {
public:
    static constexpr unsigned int kTemplateId = 31001;
    // Window ids of the controls.
    static constexpr int kHexBoxId = 11005;
    static constexpr int kMaxEditId = 11002;
    static constexpr int kSliderId = 11000;
    static constexpr int kMinEditId = 11003;
    static constexpr int kPauseId = 1025;
    static constexpr int kTimeId = 1016;
    static constexpr int kTextLineId = 11004;
    static constexpr int kListId = 11007;
    static constexpr int kDefaultButtonId = 31000;
    static constexpr int kTrendId = 11010;
    static constexpr int kTimerId = 13;
    static constexpr int kDefaultPeriodMs = 50;

    // `name` is the caption and names the display-period key
    // "<name>_DISP_PERIOD" in the emulator's configuration.
    Control01Dlg_c(CWnd* parentWnd, Ferrow_c* emulator, const wchar_t* name);
    // Stops the timer before the controls go.
    ~Control01Dlg_c() override;

    // Creates the window hidden, without a refresh thread. 0 or -1.
    int Create();
    using FloatingDlg_c::Create;

    // Lists the rows (rebuilding them when `rebuild` is nonzero), selects the
    // first and starts the refresh timer; nonzero when the timer runs.
    virtual int Start(int rebuild);
    // Re-selects the selected row and re-applies the range; derived panels
    // build their columns and rows first.
    virtual void FillList();
    // The periodic update: derived panels rewrite their live columns, then
    // this moves the slider. It takes the place of the toolkit's repaint
    // request by name only: the two-argument Refresh below stays the
    // toolkit's, and the toolkit calls that one through wxWindow.
    virtual void Refresh();
    void Refresh(bool eraseBackground, const wxRect* rect) override;

    // Writes a cell; an `item` at or past the row count adds a row instead.
    virtual void SetCell(int item, int subItem, const wchar_t* text);
    virtual void SetCell(int item, int subItem, const wxString& text);
    // Formats `value` in hexadecimal (hex 1), decimal (hex 0) or as the Hex
    // box says (hex -1); writes at most `size` units into `buffer`, ending
    // it. Returns the format used: 1 hexadecimal, 0 decimal.
    virtual int FormatValue(int value, wchar_t* buffer, int size, int hex);
    virtual int FormatValue(int value, wxString& text, int hex);
    // Sets the slider's range (maximum on top) and shows maximum and minimum
    // times `scale` in the range edits; equal limits change nothing.
    virtual void SetRange(int maximum, int minimum, float scale);
    virtual void SetRange(int maximum, int minimum);
    virtual void SetSliderValue(int value);
    // The operator put the slider on `value`.
    virtual void OnSliderValue(int value);

    int SelectedItem() const { return selectedItem_; }
    int DisplayPeriod() const { return displayPeriod_; }
    bool IsPaused() const { return paused_; }
    // The running refresh timer's interval in ms, or 0 while it is stopped.
    int TimerInterval() const;

protected:
    // What the trend strip plots: a signed or unsigned 32-bit value as a
    // line, or a pin's level as a logic trace.
    enum class Trend { None, Signed, Unsigned, Logic };

    // Asks for a trend strip; called by a derived panel's constructor.
    void SetTrend(Trend trend) { trendKind_ = trend; }

    void OnInitDialog() override;
    // Resizable: the controls follow the edges.
    long TemplateStyle() const override;

    // Reads text written by FormatValue back into the number it shows; false
    // for text that is not one number. Overridden with FormatValue.
    virtual bool ParseValue(const wxString& text, long long& shown);

    // `value` as FormatValue writes it in the Hex box's format.
    wxString FormatCell(int value);
    // Runs `use` with the selected row while the peripheral is there; whether
    // a row was selected, the peripheral there and `use` answered true.
    bool WithSelected(const std::function<bool(int row)>& use);

    // The emulator's configuration object, used only while the panel
    // initialises (the emulator may go before its peripherals); null without
    // an emulator. A CfgFile_c, registered with wide keys, when wideConfig_
    // is set, else a CFG_File.
    void* config_;
    bool wideConfig_;
    wxString name_;
    int displayPeriod_ = kDefaultPeriodMs;
    int itemCount_ = 0;
    int selectedItem_ = -1;
    int rangeMinimum_ = 0;
    int rangeMaximum_ = 0;
    int sliderValue_ = 0;
    double scale_ = 1.0;
    bool paused_ = false;

    wxCheckBox* hexBox_ = nullptr;
    wxTextCtrl* maxEdit_ = nullptr;
    wxSlider* slider_ = nullptr;
    wxTextCtrl* minEdit_ = nullptr;
    wxButton* pauseButton_ = nullptr;
    wxStaticText* timeText_ = nullptr;
    wxTextCtrl* textLine_ = nullptr;
    wxListCtrl* list_ = nullptr;
    // The derived panel's FillList gives the list its columns through it.
    std::unique_ptr<ferrow::panels::ListColumns> columns_;

private:
    // The controls that follow the panel's edges, in the order of margins_.
    static constexpr int kAnchoredCount = 7;

    void CreateControls();
    void CreateTrend();
    wxWindow* AnchoredControl(int index) const;
    void AnchorControls();
    void ShowAllColumns();
    void ShowSliderPosition();
    void LoadDisplayPeriod();
    void ShowRange();
    void ReadRangeEdit(wxTextCtrl* edit, int& limit);
    void SelectRow(int row);

    void OnTimer(wxTimerEvent& event);
    void OnHexClicked(wxCommandEvent& event);
    void OnRangeEditLeft(wxFocusEvent& event);
    void OnSliderReleased(wxScrollEvent& event);
    void OnListClicked(wxMouseEvent& event);
    void OnPause(wxCommandEvent& event);
    void OnDefaultButton(wxCommandEvent& event);
    void OnSize(wxSizeEvent& event);

    wxTimer timer_;
    int margins_[kAnchoredCount][4] = {};
    // The slider position the panel last set; any other is the operator's.
    int sliderPosition_ = 0;
    Trend trendKind_ = Trend::None;
    ferrow::panels::TrendStrip* trend_ = nullptr;
};
