#include <ferrow/panels/Control01Dlg_c.h>

#include "panels/DisplayPeriods.h"
#include "panels/ListColumns.h"
#include "panels/ListHitTest.h"
#include "panels/RangeEdit.h"
#include "panels/SliderMapping.h"
#include "panels/TrendStrip.h"
#include "panels/ValueFormat.h"
#include "platform/ProcessClock.h"

#include <ferrow/Ferrow_c.h>
#include <ferrow/panels/CtrlAnchor.h>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/display.h>
#include <wx/listctrl.h>
#include <wx/slider.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <algorithm>
#include <cstdint>

using ferrow::panels::DisplayPeriods;
using ferrow::panels::ListColumns;
using ferrow::panels::ListHitTest;
using ferrow::panels::RangeEdit;
using ferrow::panels::SliderMapping;
using ferrow::panels::TrendSeries;
using ferrow::panels::TrendStrip;
using ferrow::panels::ValueFormat;

namespace {

// How each anchored control follows the edges, in the order of margins_:
// Time stays top right, the text line stretches along the top, the list
// both ways, the slider down the left; the minimum edit and Pause stay
// bottom left; the trend strip stretches along the bottom.
constexpr unsigned kAnchorFlags[] = {
    ANCHOR_PIN_TOP,
    ANCHOR_PIN_TOP | ANCHOR_STRETCH_X,
    ANCHOR_STRETCH_X | ANCHOR_STRETCH_Y,
    ANCHOR_PIN_LEFT | ANCHOR_STRETCH_Y,
    ANCHOR_PIN_LEFT,
    ANCHOR_PIN_LEFT,
    ANCHOR_STRETCH_X,
};

// The template's height, and where the trend strip adds to it below the list.
constexpr int kTemplateHeight = 196;
constexpr int kTrendTop = 193;
constexpr int kTrendHeight = 40;

// Where the list's rows take their clicks: the generic list control draws
// its rows in an inner window of its own.
wxWindow* RowWindow(wxListCtrl* list) {
#if defined(__WXMSW__) || defined(__WXQT__)
    return list;
#else
    for (wxWindow* child : list->GetChildren()) {
        if (static_cast<const void*>(child) == static_cast<const void*>(list->m_mainWin)) {
            return child;
        }
    }
    return list;
#endif
}

}  // namespace

Control01Dlg_c::Control01Dlg_c(CWnd* parentWnd, Ferrow_c* emulator, const wchar_t* name)
    : FloatingDlg_c(kTemplateId, parentWnd),
      config_(emulator != nullptr ? emulator->config : nullptr),
      wideConfig_(emulator != nullptr && emulator->ownConfig == 0),
      name_(name != nullptr ? name : L""),
      timer_(this, kTimerId) {}

Control01Dlg_c::~Control01Dlg_c() { timer_.Stop(); }

int Control01Dlg_c::Create() { return FloatingDlg_c::Create(nullptr, 10); }

long Control01Dlg_c::TemplateStyle() const {
    return FloatingDlg_c::TemplateStyle() | wxRESIZE_BORDER;
}

void Control01Dlg_c::OnInitDialog() {
    FloatingDlg_c::OnInitDialog();
    SetTitle(name_);
    CreateControls();
    for (int i = 0; i < kAnchoredCount; ++i) SaveCtrlMargins(this, AnchoredControl(i), margins_[i]);
    paused_ = false;
    selectedItem_ = -1;
    displayPeriod_ = kDefaultPeriodMs;
    LoadDisplayPeriod();
    if (trend_ != nullptr) trend_->SetPeriod(displayPeriod_);

    Bind(wxEVT_TIMER, &Control01Dlg_c::OnTimer, this);
    Bind(wxEVT_SIZE, &Control01Dlg_c::OnSize, this);
    hexBox_->Bind(wxEVT_CHECKBOX, &Control01Dlg_c::OnHexClicked, this);
    maxEdit_->Bind(wxEVT_KILL_FOCUS, &Control01Dlg_c::OnRangeEditLeft, this);
    minEdit_->Bind(wxEVT_KILL_FOCUS, &Control01Dlg_c::OnRangeEditLeft, this);
    slider_->Bind(wxEVT_SCROLL_CHANGED, &Control01Dlg_c::OnSliderReleased, this);
    RowWindow(list_)->Bind(wxEVT_LEFT_DOWN, &Control01Dlg_c::OnListClicked, this);
    pauseButton_->Bind(wxEVT_BUTTON, &Control01Dlg_c::OnPause, this);
    // Enter lands on the hidden default button, which does nothing.
    Bind(wxEVT_BUTTON, [](wxCommandEvent&) {}, kDefaultButtonId);
}

void Control01Dlg_c::CreateControls() {
    const bool withTrend = trendKind_ != Trend::None;
    SetTemplateSize(308, withTrend ? kTrendTop + kTrendHeight + 3 : kTemplateHeight);
    hexBox_ = new wxCheckBox(this, kHexBoxId, "Hex");
    PlaceCtrl(hexBox_, 10, 10, 29, 10);
    // The toolkit's check box is taller than the template's: smaller, it
    // cannot lay out its box.
    wxSize hexSize = hexBox_->GetSize();
    hexSize.IncTo(hexBox_->GetBestSize());
    hexBox_->SetSize(hexSize);
    // The range edits keep the template's centre but span the whole left
    // column: 40 units cut "100.000000" and "-2147483648".
    maxEdit_ = new wxTextCtrl(this, kMaxEditId, wxString(), wxDefaultPosition, wxDefaultSize,
                              wxTE_CENTRE);
    PlaceCtrl(maxEdit_, 3, 25, 54, 12);
    slider_ = new wxSlider(this, kSliderId, 0, 0, 100, wxDefaultPosition, wxDefaultSize,
                           wxSL_VERTICAL | wxSL_TICKS | wxSL_BOTH);
    PlaceCtrl(slider_, 15, 40, 30, 115);
    minEdit_ = new wxTextCtrl(this, kMinEditId, wxString(), wxDefaultPosition, wxDefaultSize,
                              wxTE_CENTRE);
    PlaceCtrl(minEdit_, 3, 158, 54, 12);
    pauseButton_ = new wxButton(this, kPauseId, "Pause");
    PlaceCtrl(pauseButton_, 5, 175, 50, 15);
    timeText_ = new wxStaticText(this, kTimeId, "Time", wxDefaultPosition, wxDefaultSize,
                                 wxALIGN_RIGHT | wxST_NO_AUTORESIZE);
    PlaceCtrl(timeText_, 230, 0, 70, 10);
    textLine_ = new wxTextCtrl(this, kTextLineId, wxString());
    PlaceCtrl(textLine_, 60, 10, 240, 12);
    list_ = new wxListCtrl(this, kListId, wxDefaultPosition, wxDefaultSize,
                           wxLC_REPORT | wxLC_SINGLE_SEL | wxLC_HRULES | wxLC_VRULES);
    PlaceCtrl(list_, 60, 25, 240, 165);
    columns_ = std::make_unique<ListColumns>(*list_);
    if (withTrend) CreateTrend();

    auto* defaultButton = new wxButton(this, kDefaultButtonId, "Default");
    PlaceCtrl(defaultButton, 65, 108, 55, 15);
    defaultButton->SetDefault();
    defaultButton->Hide();
    for (auto [id, label] : {std::pair{wxID_OK, "OK"}, std::pair{wxID_CANCEL, "Cancel"}}) {
        auto* unused = new wxButton(this, id, label);
        unused->Hide();
        unused->Disable();
    }
}

void Control01Dlg_c::CreateTrend() {
    const Trend kind = trendKind_;
    const auto style = kind == Trend::Logic ? TrendSeries::Style::Logic : TrendSeries::Style::Line;
    trend_ = new TrendStrip(this, kTrendId, style, [this, kind](int64_t value) {
        if (kind == Trend::Logic) return wxString::Format("%lld", static_cast<long long>(value));
        return FormatCell(static_cast<int>(static_cast<uint32_t>(value)));
    });
    PlaceCtrl(trend_, 60, kTrendTop, 240, kTrendHeight);
}

wxWindow* Control01Dlg_c::AnchoredControl(int index) const {
    wxWindow* const controls[kAnchoredCount] = {timeText_, textLine_,    list_, slider_,
                                                 minEdit_,  pauseButton_, trend_};
    return controls[index];
}

void Control01Dlg_c::AnchorControls() {
    for (int i = 0; i < kAnchoredCount; ++i) {
        AnchorCtrl(this, AnchoredControl(i), margins_[i], kAnchorFlags[i], nullptr);
    }
    columns_->Fit();
}

void Control01Dlg_c::LoadDisplayPeriod() {
    if (config_ == nullptr) return;
    displayPeriod_ = DisplayPeriods::Load(config_, wideConfig_, name_.wc_str(), kDefaultPeriodMs);
}

int Control01Dlg_c::Start(int rebuild) {
    if (rebuild != 0) FillList();
    itemCount_ = list_->GetItemCount();
    if (trend_ != nullptr) trend_->Clear();
    if (itemCount_ > 0) {
        selectedItem_ = 0;
        SetRange(0, 0, 0);
        SetSliderValue(0);
        SelectRow(0);
    }
    return timer_.Start(DisplayPeriods::TimerMs(displayPeriod_)) ? 1 : 0;
}

int Control01Dlg_c::TimerInterval() const { return timer_.IsRunning() ? timer_.GetInterval() : 0; }

void Control01Dlg_c::FillList() {
    while (list_->GetItemCount() < itemCount_) list_->InsertItem(list_->GetItemCount(), wxString());
    ShowAllColumns();
    if (selectedItem_ >= 0 && selectedItem_ < list_->GetItemCount()) SelectRow(selectedItem_);
    SetRange(rangeMaximum_, rangeMinimum_);
    // The labels follow the number format.
    if (trend_ != nullptr) trend_->Refresh();
}

void Control01Dlg_c::ShowAllColumns() {
    const int missing = columns_->NeededWidth() - list_->GetClientSize().x;
    if (missing > 0) {
        const int onDisplay = wxDisplay::GetFromWindow(this);
        const wxRect area = wxDisplay(onDisplay != wxNOT_FOUND ? onDisplay : 0).GetClientArea();
        const wxSize client = GetClientSize();
        const int frame = GetSize().x - client.x;
        const int width = std::min(client.x + missing, area.width - frame);
        if (width > client.x) {
            SetClientSize(width, client.y);
            AnchorControls();
        }
    }
    columns_->Fit();
}

void Control01Dlg_c::Refresh() { SetSliderValue(0); }

void Control01Dlg_c::Refresh(bool eraseBackground, const wxRect* rect) {
    FloatingDlg_c::Refresh(eraseBackground, rect);
}

void Control01Dlg_c::SetCell(int item, int subItem, const wchar_t* text) {
    if (text == nullptr) return;
    SetCell(item, subItem, wxString(text));
}

void Control01Dlg_c::SetCell(int item, int subItem, const wxString& text) {
    if (item < 0 || subItem < 0 || subItem >= list_->GetColumnCount()) return;
    while (list_->GetItemCount() <= item) list_->InsertItem(list_->GetItemCount(), wxString());
    // Unchanged cells are left alone so that the refresh does not flicker.
    if (list_->GetItemText(item, subItem) == text) return;
    list_->SetItem(item, subItem, text);
    columns_->Shown(subItem, text);
}

int Control01Dlg_c::FormatValue(int value, wchar_t* buffer, int size, int hex) {
    const bool useHex = hex == -1 ? hexBox_ != nullptr && hexBox_->GetValue() : hex != 0;
    ValueFormat::CopyInto(ValueFormat::Format(value, useHex), buffer, size);
    return useHex ? 1 : 0;
}

int Control01Dlg_c::FormatValue(int value, wxString& text, int hex) {
    wchar_t buffer[64];
    const int format = FormatValue(value, buffer, 64, hex);
    text = buffer;
    return format;
}

wxString Control01Dlg_c::FormatCell(int value) {
    wxString text;
    FormatValue(value, text, -1);
    return text;
}

bool Control01Dlg_c::ParseValue(const wxString& text, long long& shown) {
    return ValueFormat::Parse(text.ToStdWstring(), shown);
}

void Control01Dlg_c::SetRange(int maximum, int minimum, float scale) {
    if (maximum == minimum) return;
    rangeMaximum_ = maximum;
    rangeMinimum_ = minimum;
    scale_ = scale;
    const int top = SliderMapping::Position(maximum);
    const int bottom = SliderMapping::Position(minimum);
    const int low = std::min(top, bottom);
    const int high = std::max(top, bottom);
    slider_->SetRange(low, high);
    const int frequency = SliderMapping::TickFrequency(maximum, minimum);
    if (SliderMapping::TicksFit(low, high, frequency)) {
        slider_->SetTickFreq(frequency);
    } else {
        slider_->ClearTicks();
    }
    // The new range may have moved the slider: that is no operator's doing.
    ShowSliderPosition();
    ShowRange();
}

void Control01Dlg_c::SetRange(int maximum, int minimum) {
    SetRange(maximum, minimum, static_cast<float>(scale_));
}

void Control01Dlg_c::ShowRange() {
    maxEdit_->ChangeValue(FormatCell(RangeEdit::Shown(rangeMaximum_, scale_)));
    minEdit_->ChangeValue(FormatCell(RangeEdit::Shown(rangeMinimum_, scale_)));
}

void Control01Dlg_c::SetSliderValue(int value) {
    sliderValue_ = value;
    ShowSliderPosition();
    if (trend_ == nullptr) return;
    const int64_t sample = trendKind_ == Trend::Unsigned
                               ? static_cast<int64_t>(static_cast<uint32_t>(value))
                               : static_cast<int64_t>(value);
    trend_->Add(static_cast<int64_t>(ferrow::platform::ProcessClock::Ms64()), sample);
}

void Control01Dlg_c::ShowSliderPosition() {
    slider_->SetValue(SliderMapping::Position(sliderValue_));
    sliderPosition_ = slider_->GetValue();
}

void Control01Dlg_c::OnSliderValue(int) {}

bool Control01Dlg_c::WithSelected(const std::function<bool(int row)>& use) {
    if (selectedItem_ < 0) return false;
    bool done = false;
    const int row = selectedItem_;
    WithPeripheral([&] { done = use(row); });
    return done;
}

void Control01Dlg_c::SelectRow(int row) {
    selectedItem_ = row;
    if (row >= 0 && row < list_->GetItemCount()) {
        const long state = wxLIST_STATE_SELECTED | wxLIST_STATE_FOCUSED;
        list_->SetItemState(row, state, state);
        list_->EnsureVisible(row);
        return;
    }
    for (long r = -1; (r = list_->GetNextItem(r, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED)) != -1;) {
        list_->SetItemState(r, 0, wxLIST_STATE_SELECTED);
    }
}

void Control01Dlg_c::ReadRangeEdit(wxTextCtrl* edit, int& limit) {
    const RangeEdit::Reading reading =
        RangeEdit::Read(edit->GetValue().Left(64).ToStdWstring(), limit, scale_,
                        [this](const std::wstring& text, long long& shown) {
                            return ParseValue(text, shown);
                        });
    switch (reading.kind) {
        case RangeEdit::Kind::Ignored:
            return;
        case RangeEdit::Kind::Junk:
            edit->ChangeValue(FormatCell(RangeEdit::Shown(limit, scale_)));
            return;
        case RangeEdit::Kind::Value:
            if (reading.value == limit) return;
            limit = reading.value;
            SetRange(rangeMaximum_, rangeMinimum_);
            return;
    }
}

void Control01Dlg_c::OnTimer(wxTimerEvent&) {
    if (slider_->HasFocus() && slider_->GetValue() != sliderPosition_) {
        sliderPosition_ = slider_->GetValue();
        OnSliderValue(SliderMapping::Value(sliderPosition_));
    }
    if (paused_) return;
    const double seconds = static_cast<double>(ferrow::platform::ProcessClock::Ms64()) / 1000.0;
    UpdateItemText(kTimeId, wxString::Format("%0.1f", seconds).wc_str());
    Refresh();
    columns_->Fit();
}

void Control01Dlg_c::OnHexClicked(wxCommandEvent&) { FillList(); }

void Control01Dlg_c::OnRangeEditLeft(wxFocusEvent& event) {
    event.Skip();
    if (event.GetEventObject() == maxEdit_) {
        ReadRangeEdit(maxEdit_, rangeMaximum_);
    } else {
        ReadRangeEdit(minEdit_, rangeMinimum_);
    }
}

void Control01Dlg_c::OnSliderReleased(wxScrollEvent& event) {
    event.Skip();
    sliderPosition_ = slider_->GetValue();
    OnSliderValue(SliderMapping::Value(sliderPosition_));
}

void Control01Dlg_c::OnListClicked(wxMouseEvent& event) {
    event.Skip();
    auto* rows = static_cast<wxWindow*>(event.GetEventObject());
    const wxPoint at = list_->ScreenToClient(rows->ClientToScreen(event.GetPosition()));
    const int first = static_cast<int>(list_->GetTopItem());
    const int visible = std::min(list_->GetItemCount() - first, list_->GetCountPerPage() + 1);
    const ListHitTest::Hit hit = ListHitTest::Find(
        at.x, at.y, first, visible, list_->GetColumnCount(),
        [this](int row, int column, ListHitTest::Rect& cell) {
            wxRect r;
            if (!list_->GetSubItemRect(row, column, r)) return false;
            cell = {r.x, r.y, r.width, r.height};
            return true;
        });
    if (trend_ != nullptr && hit.row != selectedItem_) trend_->Clear();
    SelectRow(hit.row);
    SetRange(0, 0, 0);
    SetSliderValue(0);
}

void Control01Dlg_c::OnPause(wxCommandEvent&) {
    paused_ = !paused_;
    pauseButton_->SetLabel(paused_ ? "Continue" : "Pause");
}

void Control01Dlg_c::OnSize(wxSizeEvent& event) {
    event.Skip();
    AnchorControls();
}
