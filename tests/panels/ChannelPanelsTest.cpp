// The ADC, GPIO, PWM and input-capture panels as an operator meets them: an
// emulator from the factory with those peripherals, their panels listed and
// refreshing, driven through their controls.
#include "ChannelPanelsHost.h"

#include "panels/SliderMapping.h"
#include "panels/TrendStrip.h"

#include <ferrow/CFG_File.h>
#include <ferrow/panels/ADCDlg_c.h>
#include <ferrow/panels/GPIODlg_c.h>
#include <ferrow/panels/ICAPDlg_c.h>
#include <ferrow/panels/PWMDlg_c.h>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/listctrl.h>
#include <wx/settings.h>
#include <wx/slider.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/uiaction.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace ferrow::panels::test {
namespace {

using ferrow::test::TempDir;

constexpr unsigned long kGpioPin = 0x1A;
constexpr unsigned long kPwmPin = 0x05;
constexpr unsigned long kIcapPin = 0x30;

using Cells = std::vector<std::string>;

wxListCtrl* ListOf(Control01Dlg_c* panel) {
    return ControlOf<wxListCtrl>(panel, Control01Dlg_c::kListId);
}

wxSlider* SliderOf(Control01Dlg_c* panel) {
    return ControlOf<wxSlider>(panel, Control01Dlg_c::kSliderId);
}

wxString Cell(Control01Dlg_c* panel, int row, int column) {
    return ListOf(panel)->GetItemText(row, column);
}

// The row's cells from the left, all of them or the first `columns`.
Cells Row(Control01Dlg_c* panel, int row, int columns = -1) {
    if (columns < 0) columns = ListOf(panel)->GetColumnCount();
    Cells cells;
    for (int column = 0; column < columns; ++column) {
        cells.push_back(Cell(panel, row, column).utf8_string());
    }
    return cells;
}

// The slider's minimum, maximum and tick step; it runs upside down, so the
// channel's maximum is its minimum.
std::vector<int> SliderRange(Control01Dlg_c* panel) {
    wxSlider* slider = SliderOf(panel);
    return {slider->GetMin(), slider->GetMax(), slider->GetTickFreq()};
}

// The operator lets go of the slider at `value`.
void ReleaseSliderAt(Control01Dlg_c* panel, int value) {
    wxSlider* slider = SliderOf(panel);
    slider->SetValue(-value);
    wxScrollEvent released(wxEVT_SCROLL_CHANGED, slider->GetId(), slider->GetValue(), wxVERTICAL);
    released.SetEventObject(slider);
    slider->HandleWindowEvent(released);
}

void TickHex(Control01Dlg_c* panel, bool on) { Tick(panel, Control01Dlg_c::kHexBoxId, on); }

// The edit loses the keyboard focus with `text` in it (unchanged when null).
void LeaveEdit(Control01Dlg_c* panel, int id, const wchar_t* text = nullptr) {
    auto* edit = ControlOf<wxTextCtrl>(panel, id);
    if (text != nullptr) edit->ChangeValue(text);
    wxFocusEvent left(wxEVT_KILL_FOCUS, id);
    left.SetEventObject(edit);
    edit->HandleWindowEvent(left);
}

// The range edits' texts, maximum first.
Cells Edits(Control01Dlg_c* panel) {
    return {ControlOf<wxTextCtrl>(panel, Control01Dlg_c::kMaxEditId)->GetValue().utf8_string(),
            ControlOf<wxTextCtrl>(panel, Control01Dlg_c::kMinEditId)->GetValue().utf8_string()};
}

TrendStrip* TrendOf(Control01Dlg_c* panel) {
    return dynamic_cast<TrendStrip*>(panel->FindWindow(Control01Dlg_c::kTrendId));
}

int ColumnsWidth(wxListCtrl* list) {
    int width = 0;
    for (int column = 0; column < list->GetColumnCount(); ++column) {
        width += list->GetColumnWidth(column);
    }
    return width;
}

// Every heading and cell fits its column as the list draws them: a cell's
// text in a space 8 pixels narrower than the column, a heading's in one 12
// narrower, in the list's font or the system's, whichever is wider.
void ExpectNothingCut(Control01Dlg_c* panel) {
    wxListCtrl* list = ListOf(panel);
    const wxFont system = wxSystemSettings::GetFont(wxSYS_DEFAULT_GUI_FONT);
    for (int column = 0; column < list->GetColumnCount(); ++column) {
        const int width = list->GetColumnWidth(column);
        wxListItem heading;
        heading.SetMask(wxLIST_MASK_TEXT);
        list->GetColumn(column, heading);
        int inSystemFont = 0;
        list->GetTextExtent(heading.GetText(), &inSystemFont, nullptr, nullptr, nullptr, &system);
        EXPECT_LE(std::max(inSystemFont, list->GetTextExtent(heading.GetText()).x) + 12, width)
            << heading.GetText();
        for (int row = 0; row < list->GetItemCount(); ++row) {
            const wxString text = list->GetItemText(row, column);
            EXPECT_LE(list->GetTextExtent(text).x + 8, width) << "row " << row << ": " << text;
        }
    }
}

// How many pixels of the window show the colour, give or take the toolkit's
// smoothing.
int PixelsOf(wxWindow* window, const wxColour& colour) {
    const wxImage image = PictureOf(window);
    int count = 0;
    for (int y = 0; y < image.GetHeight(); ++y) {
        for (int x = 0; x < image.GetWidth(); ++x) {
            const int distance = std::abs(image.GetRed(x, y) - colour.Red()) +
                                 std::abs(image.GetGreen(x, y) - colour.Green()) +
                                 std::abs(image.GetBlue(x, y) - colour.Blue());
            if (distance < 40) ++count;
        }
    }
    return count;
}

class ChannelPanels : public ChannelPanelsHostTest {
protected:
    void SetUp() override {
        ChannelPanelsHostTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        AddChannels();
        emu_->adc->Start();
        emu_->gpio->Start();
        emu_->pwm->Start();
        emu_->icap->Start();
    }

    virtual void AddChannels() {
        emu_->adc->AddChannel(4, 10, 16, 1, 0);
        emu_->adc->SetName(2, "Battery");
        emu_->gpio->AddPin(kGpioPin);
        emu_->gpio->SetDir(kGpioPin, 1);
        emu_->gpio->SetValReg(kGpioPin, 1);
        emu_->gpio->SetName(kGpioPin, "Relay");
        emu_->pwm->AddPin(kPwmPin, 0);
        emu_->pwm->SetFreq(kPwmPin, 2500);
        emu_->pwm->SetDuty(kPwmPin, 100000);
        emu_->icap->AddPin(kIcapPin, 0, 16, 8);
        emu_->icap->SetValue(0, 0x1234);
    }

    std::vector<Control01Dlg_c*> AllPanels() {
        return {Panel<ADCDlg_c>(), Panel<GPIODlg_c>(), Panel<PWMDlg_c>(), Panel<ICAPDlg_c>()};
    }

    std::vector<long> AdcValues() {
        std::vector<long> values(4, -1);
        for (int id = 0; id < 4; ++id) emu_->adc->GetValue(id, &values[id]);
        return values;
    }

    // Shows the panel and gives its slider the keyboard focus.
    void FocusSlider(Control01Dlg_c* panel) {
        panel->Show(0);
        wxSlider* slider = SliderOf(panel);
        ASSERT_TRUE(PumpUntil([&] { return slider->IsShownOnScreen(); }));
        panel->Raise();
        slider->SetFocus();
        ASSERT_TRUE(PumpUntil([&] { return slider->HasFocus(); }));
    }

    // Shows the panel and clicks on `row` (or below the last row with -1)
    // with the real mouse.
    void ClickRow(Control01Dlg_c* panel, int row) {
        panel->Show(0);
        wxListCtrl* list = ListOf(panel);
        ASSERT_TRUE(PumpUntil([&] { return list->IsShownOnScreen(); }));
        wxRect cell;
        ASSERT_TRUE(list->GetSubItemRect(row >= 0 ? row : list->GetItemCount() - 1, 1, cell));
        wxPoint at(cell.x + cell.width / 2, cell.y + cell.height / 2);
        if (row < 0) at.y += 3 * cell.height;
        wxUIActionSimulator mouse;
        mouse.MouseMove(list->ClientToScreen(at));
        mouse.MouseClick();
        ASSERT_TRUE(PumpUntil([&] { return panel->SelectedItem() == row; }))
            << "selected " << panel->SelectedItem();
    }
};

TEST_F(ChannelPanels, AdcListsEveryChannelAndTheSliderWritesTheClickedOneInItsRange) {
    ADCDlg_c* panel = Panel<ADCDlg_c>();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(panel->GetTitle(), "ADC");
    wxListCtrl* list = ListOf(panel);
    ASSERT_EQ(list->GetItemCount(), 4);
    ASSERT_EQ(list->GetColumnCount(), 5);
    wxListItem heading;
    heading.SetMask(wxLIST_MASK_TEXT);
    list->GetColumn(4, heading);
    EXPECT_EQ(heading.GetText(), "Description");
    for (int id = 0; id < 4; ++id) {
        EXPECT_EQ(Row(panel, id),
                  (Cells{std::to_string(id), "0", "0", "1023", id == 2 ? "Battery" : ""}));
    }
    EXPECT_EQ(panel->SelectedItem(), 0) << "starting selects the first row";

    ClickRow(panel, -1);
    EXPECT_EQ(list->GetSelectedItemCount(), 0);
    ReleaseSliderAt(panel, 700);
    EXPECT_EQ(AdcValues(), (std::vector<long>{0, 0, 0, 0})) << "a click below the rows";

    ClickRow(panel, 2);
    EXPECT_EQ(SliderRange(panel), (std::vector<int>{-1023, 0, 51}));
    EXPECT_EQ(Edits(panel), (Cells{"1023", "0"}));
    ReleaseSliderAt(panel, 1023);
    EXPECT_EQ(AdcValues(), (std::vector<long>{0, 0, 1023, 0})) << "only the selected channel";

    emu_->adc->SetConfig(3, 1000, 100);
    ClickRow(panel, 3);
    EXPECT_EQ(SliderRange(panel), (std::vector<int>{-1000, -100, 45}))
        << "a click takes the channel's range anew";
}

TEST_F(ChannelPanels, HexShowsAdcAndPwmValuesInHexButGpioLevelsStayDecimal) {
    ADCDlg_c* adc = Panel<ADCDlg_c>();
    GPIODlg_c* gpio = Panel<GPIODlg_c>();
    PWMDlg_c* pwm = Panel<PWMDlg_c>();
    ASSERT_TRUE(adc && gpio && pwm);
    emu_->adc->SetValue(0, 1023);
    emu_->gpio->SetValPin(kGpioPin, 1);
    TickHex(adc, true);
    TickHex(gpio, true);
    TickHex(pwm, true);
    EXPECT_EQ(Cell(adc, 0, 1), "0x3FF");
    EXPECT_EQ(Cell(adc, 0, 3), "0x3FF");
    EXPECT_EQ(Edits(adc)[0], "0x3FF");
    EXPECT_EQ(Row(gpio, 0, 2), (Cells{"0x1A", "1"}));
    EXPECT_EQ(Row(pwm, 0, 3), (Cells{"0x05", "0x9C4", "0x186A0"}));
    EXPECT_EQ(Edits(pwm)[0], "0x186A0");

    TickHex(adc, false);
    EXPECT_EQ(Cell(adc, 0, 1), "1023");
    EXPECT_EQ(adc->SelectedItem(), 0) << "rebuilding the rows keeps the selection";
}

TEST_F(ChannelPanels, GpioShowsItsPinAndTheSliderDrivesTheLevel) {
    GPIODlg_c* panel = Panel<GPIODlg_c>();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(Row(panel, 0), (Cells{"0x1A", "1", "1", "1", "Relay"}));
    EXPECT_EQ(SliderRange(panel), (std::vector<int>{-1, 0, 1}));

    ReleaseSliderAt(panel, 0);
    int level = -1;
    emu_->gpio->GetValPin(kGpioPin, &level);
    EXPECT_EQ(level, 0);
    EXPECT_TRUE(PumpUntil([&] { return Cell(panel, 0, 1) == "0"; })) << "the refresh shows it";
}

TEST_F(ChannelPanels, PwmShowsThousandthsAndAnUntouchedRangeEditChangesNothing) {
    PWMDlg_c* panel = Panel<PWMDlg_c>();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(Row(panel, 0, 3), (Cells{"0x05", "2.500000", "100.000000"}));
    EXPECT_EQ(Edits(panel), (Cells{"100.000000", "0.000000"}));
    for (bool hex : {false, true}) {
        TickHex(panel, hex);
        LeaveEdit(panel, Control01Dlg_c::kMaxEditId);
        LeaveEdit(panel, Control01Dlg_c::kMinEditId);
        EXPECT_EQ(SliderRange(panel), (std::vector<int>{-100000, 0, 5000})) << hex;
    }
    unsigned long duty = 0;
    emu_->pwm->GetDuty(kPwmPin, &duty);
    EXPECT_EQ(duty, 100000u);

    ReleaseSliderAt(panel, 25000);
    emu_->pwm->GetDuty(kPwmPin, &duty);
    EXPECT_EQ(duty, 25000u);
}

TEST_F(ChannelPanels, TheSliderWritesOnlyWhatTheOperatorMoves) {
    PWMDlg_c* pwm = Panel<PWMDlg_c>();
    ADCDlg_c* adc = Panel<ADCDlg_c>();
    ASSERT_TRUE(pwm && adc);
    emu_->pwm->SetDuty(kPwmPin, 150000);
    FocusSlider(pwm);
    ASSERT_TRUE(PumpTicks(pwm, 3));
    EXPECT_EQ(SliderOf(pwm)->GetValue(), -100000) << "shown at the top of its range";
    unsigned long duty = 0;
    emu_->pwm->GetDuty(kPwmPin, &duty);
    EXPECT_EQ(duty, 150000u) << "a duty beyond the slider's range is not written back";

    emu_->adc->SetValue(1, 1000);
    emu_->adc->SetConfig(1, 500, 0);
    ClickRow(adc, 1);
    FocusSlider(adc);
    ASSERT_TRUE(PumpTicks(adc, 3));
    EXPECT_EQ(AdcValues()[1], 1000) << "nor an ADC value the firmware left outside a new range";

    SliderOf(adc)->SetValue(panels::SliderMapping::Position(300));
    ASSERT_TRUE(PumpTicks(adc, 2));
    EXPECT_EQ(AdcValues()[1], 300) << "what the operator moves is written";
}

TEST_F(ChannelPanels, ATrendStripUnderTheListPlotsTheSelectedChannel) {
    EXPECT_EQ(TrendOf(Panel<ICAPDlg_c>()), nullptr);
    TrendStrip* logic = TrendOf(Panel<GPIODlg_c>());
    ASSERT_NE(logic, nullptr);
    ASSERT_TRUE(logic->Series().Scale());
    EXPECT_EQ(logic->Series().Scale()->maximum, 1) << "a pin's level is a logic trace";

    ADCDlg_c* panel = Panel<ADCDlg_c>();
    TrendStrip* strip = TrendOf(panel);
    ASSERT_NE(strip, nullptr);
    EXPECT_GT(strip->GetPosition().y, ListOf(panel)->GetRect().GetBottom());
    emu_->adc->SetValue(0, 100);
    emu_->adc->SetValue(2, 700);
    panel->Show(0);
    const auto spans = [strip](long low, long high) {
        const auto scale = strip->Series().Scale();
        return scale && scale->minimum == low && scale->maximum == high;
    };
    ASSERT_TRUE(PumpUntil([&] { return spans(0, 100); }));
    emu_->adc->SetValue(0, 300);
    ASSERT_TRUE(PumpUntil([&] { return spans(0, 300); })) << "the minute keeps the earlier values";
    EXPECT_TRUE(PumpUntil([&] { return PixelsOf(strip, TrendStrip::TraceColour()) > 10; }));

    ClickRow(panel, 2);
    EXPECT_TRUE(spans(700, 700)) << "another channel starts its own trend";
}

TEST_F(ChannelPanels, IcapOnlyWatches) {
    ICAPDlg_c* panel = Panel<ICAPDlg_c>();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(Row(panel, 0), (Cells{"0x30", "4660", ""}));
    const std::vector<int> before = SliderRange(panel);

    ClickRow(panel, 0);
    ReleaseSliderAt(panel, 7);
    LeaveEdit(panel, Control01Dlg_c::kMaxEditId, L"99");
    EXPECT_EQ(SliderRange(panel), before) << "the panel has no range of its own";
    unsigned long value = 0, count = 0;
    emu_->icap->GetValue(0, &value, &count);
    EXPECT_EQ(value, 0x1234u);
    EXPECT_EQ(count, 1u) << "no capture was added";
}

// Resizing keeps the controls anchored; Pause freezes the list and the time
// but the slider still writes; Enter does nothing and Escape hides.
TEST_F(ChannelPanels, TheAdcPanelResizesPausesAndHidesOnlyOnEscape) {
    ADCDlg_c* panel = Panel<ADCDlg_c>();
    ASSERT_NE(panel, nullptr);
    wxWindow* list = ListOf(panel);
    auto* pause = ControlOf<wxButton>(panel, Control01Dlg_c::kPauseId);
    auto* time = ControlOf<wxStaticText>(panel, Control01Dlg_c::kTimeId);
    wxWindow* trend = panel->FindWindow(Control01Dlg_c::kTrendId);
    const wxSize client = panel->GetClientSize();
    const wxSize listSize = list->GetSize();
    const wxPoint pausePos = pause->GetPosition();
    const wxRect trendRect = trend->GetRect();
    const int timeFromRight = client.x - time->GetRect().GetRight();
    panel->SetClientSize(client + wxSize(120, 80));
    ASSERT_TRUE(PumpUntil([&] { return list->GetSize() == listSize + wxSize(120, 80); }))
        << list->GetSize().x << "x" << list->GetSize().y;
    EXPECT_EQ(pause->GetPosition(), pausePos + wxPoint(0, 80));
    EXPECT_EQ(panel->GetClientSize().x - time->GetRect().GetRight(), timeFromRight);
    EXPECT_EQ(trend->GetRect(), wxRect(trendRect.x, trendRect.y + 80, trendRect.width + 120,
                                       trendRect.height));
    EXPECT_EQ(ColumnsWidth(ListOf(panel)), ListOf(panel)->GetClientSize().x)
        << "the columns share the new room";

    ASSERT_TRUE(PumpTicks(panel, 2));
    EXPECT_NE(time->GetLabel(), "Time") << "running, the time is shown";
    Press(panel, Control01Dlg_c::kPauseId);
    EXPECT_EQ(pause->GetLabel(), "Continue");
    const wxString frozen = time->GetLabel();
    emu_->adc->SetValue(1, 500);
    ReleaseSliderAt(panel, 321);
    ASSERT_TRUE(PumpTicks(panel, 3));
    EXPECT_EQ(time->GetLabel(), frozen);
    EXPECT_EQ(Cell(panel, 1, 1), "0");
    EXPECT_EQ(AdcValues()[0], 321) << "the slider writes while paused";
    Press(panel, Control01Dlg_c::kPauseId);
    EXPECT_EQ(pause->GetLabel(), "Pause");
    EXPECT_TRUE(PumpUntil([&] { return Cell(panel, 1, 1) == "500"; }));

    emu_->adc->Show();
    auto* edit = ControlOf<wxTextCtrl>(panel, Control01Dlg_c::kMaxEditId);
    ASSERT_TRUE(PumpUntil([&] { return edit->IsShownOnScreen(); }));
    panel->Raise();
    edit->SetFocus();
    ASSERT_TRUE(PumpUntil([&] { return edit->HasFocus(); }));
    wxUIActionSimulator keys;
    keys.Char(WXK_RETURN);
    ASSERT_TRUE(PumpTicks(panel, 2));
    EXPECT_EQ(emu_->adc->IsVisible(), 1);
    keys.Char(WXK_ESCAPE);
    EXPECT_TRUE(PumpUntil([&] { return emu_->adc->IsVisible() == 0; }));
}

class ConfiguredPanels : public ChannelPanels {
protected:
    void SetUp() override {
        config_ = "ADC_DISP_PERIOD=200\nPWM_DISP_PERIOD=0\n";
        ChannelPanels::SetUp();
    }
};

TEST_F(ConfiguredPanels, EachPanelTakesItsPeriodFromTheConfigurationFileWhichOutlivesIt) {
    ASSERT_NE(Panel<ADCDlg_c>(), nullptr);
    EXPECT_EQ(Panel<ADCDlg_c>()->TimerInterval(), 200);
    EXPECT_EQ(Panel<GPIODlg_c>()->TimerInterval(), 50) << "without a key, 50 ms";
    EXPECT_GT(Panel<PWMDlg_c>()->TimerInterval(), 0) << "a zero period still refreshes";

    auto* config = static_cast<CFG_File*>(emu_->config);
    delete emu_->adc;
    ASSERT_TRUE(PumpUntil([&] { return Panel<ADCDlg_c>() == nullptr; }));
    EXPECT_EQ(config->LoadFile(), 0) << "the panel's key and variable are still there";
    TempDir::Write(dir_.File("Ferrow.cfg"), "ADC_DISP_PERIOD=300\n");
    (new Ferrow_ADC_c(emu_.get(), 0, 0))->Start();
    ASSERT_NE(Panel<ADCDlg_c>(), nullptr);
    EXPECT_EQ(Panel<ADCDlg_c>()->TimerInterval(), 300) << "a rebuilt panel loads its period";
}

TEST_F(PanelsHostTest, AnEmulatorWithTheGatewaysConfigurationKeepsPeriodsUnderWideKeys) {
    TempDir dir;
    TempDir::Write(dir.File("Ferrow.cfg"), "ADC_DISP_PERIOD=120\n");
    Ferrow_c emu(Handle(), nullptr, dir.File("image.hex").c_str(), dir.File("Ferrow.cfg").c_str(),
                 FERROW_CFG_GATEWAY);
    ASSERT_EQ(emu.ownConfig, 0);
    auto adc = std::make_unique<Ferrow_ADC_c>(&emu, 0, 0);
    adc->Start();
    auto* panel = dynamic_cast<ADCDlg_c*>(PanelOf(host_, Control01Dlg_c::kTemplateId));
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(panel->TimerInterval(), 120);
}

TEST_F(PanelsHostTest, TheRangeEditsReadBackInTheFormatAndScaleTheyShow) {
    Control01Dlg_c panel(CWnd::FromHandle(Handle()), nullptr, L"Plain");
    ASSERT_EQ(panel.Create(), 0);
    panel.SetRange(1000, 0, 0.5f);
    EXPECT_EQ(Edits(&panel)[0], "500");
    TickHex(&panel, true);
    EXPECT_EQ(Edits(&panel)[0], "0x1F4");

    LeaveEdit(&panel, Control01Dlg_c::kMaxEditId);
    EXPECT_EQ(SliderOf(&panel)->GetMin(), -1000) << "untouched, the maximum stays";
    LeaveEdit(&panel, Control01Dlg_c::kMaxEditId, L"0x100");
    EXPECT_EQ(SliderOf(&panel)->GetMin(), -512) << "0x100 shown at scale 0.5";
    LeaveEdit(&panel, Control01Dlg_c::kMaxEditId, L"junk");
    EXPECT_EQ(Edits(&panel)[0], "0x100");
    LeaveEdit(&panel, Control01Dlg_c::kMaxEditId, L"---");
    EXPECT_EQ(Edits(&panel)[0], "---");
    EXPECT_EQ(SliderOf(&panel)->GetMin(), -512);

    TickHex(&panel, false);
    LeaveEdit(&panel, Control01Dlg_c::kMinEditId, L"-10");
    EXPECT_EQ(SliderOf(&panel)->GetMax(), 20);
    LeaveEdit(&panel, Control01Dlg_c::kMinEditId, L"256");
    EXPECT_EQ(SliderOf(&panel)->GetMax(), 20) << "equal limits leave the slider as it was";
}

// Values at the ends of their 32-bit types and long names.
class ExtremePanels : public ChannelPanels {
protected:
    void AddChannels() override {
        emu_->adc->AddChannel(2, 12, 16, 0, 0);
        emu_->adc->SetConfig(0, INT_MAX, INT_MIN);
        emu_->adc->SetValue(0, INT_MIN);
        emu_->adc->SetConfig(1, 0, -1);
        emu_->adc->SetValue(1, -1);
        emu_->adc->SetName(1, "Port engine coolant temperature sender");
        emu_->gpio->AddPin(0xFFFFFFF0UL);
        emu_->gpio->SetName(0xFFFFFFF0UL, "Forward bilge pump float switch");
        emu_->pwm->AddPin(kPwmPin, 0);
        emu_->pwm->SetFreq(kPwmPin, 0xFFFFFFFFUL);
        emu_->pwm->SetDuty(kPwmPin, 100000);
        emu_->pwm->SetConfig(kPwmPin, INT_MIN);
        emu_->pwm->SetName(kPwmPin, "Navigation light dimmer");
        emu_->icap->AddPin(0xFFFFFFF1UL, 0, 32, 8);
        emu_->icap->SetValue(0, 7);
    }
};

TEST_F(ExtremePanels, EveryHeadingAndCellShowsWholeInEitherFormat) {
    ICAPDlg_c* icap = Panel<ICAPDlg_c>();
    PWMDlg_c* pwm = Panel<PWMDlg_c>();
    ASSERT_TRUE(icap && pwm);
    emu_->icap->SetValue(0, 0xFFFFFFFFUL);
    ASSERT_TRUE(PumpUntil([&] { return Cell(icap, 0, 1) == "4294967295"; }))
        << "captures are unsigned; " << Cell(icap, 0, 1);
    EXPECT_EQ(Cell(pwm, 0, 1), "4294967.295000");
    for (Control01Dlg_c* panel : AllPanels()) {
        SCOPED_TRACE(panel->GetTitle());
        EXPECT_LE(ColumnsWidth(ListOf(panel)), ListOf(panel)->GetClientSize().x)
            << "the panel opens showing every column";
        for (bool hex : {true, false}) {
            SCOPED_TRACE(hex ? "hex" : "decimal");
            TickHex(panel, hex);
            ExpectNothingCut(panel);
        }
    }
}

class EmptyPanels : public ChannelPanels {
protected:
    void AddChannels() override {}
};

TEST_F(EmptyPanels, APeripheralWithoutChannelsShowsHeadingsOnly) {
    for (Control01Dlg_c* panel : AllPanels()) {
        ASSERT_NE(panel, nullptr);
        SCOPED_TRACE(panel->GetTitle());
        EXPECT_EQ(ListOf(panel)->GetItemCount(), 0);
        EXPECT_GE(ListOf(panel)->GetColumnCount(), 3);
        EXPECT_EQ(panel->SelectedItem(), -1);
        EXPECT_GT(panel->TimerInterval(), 0);
    }
}

// The firmware's loop changes every channel while the panels refresh them.
std::atomic<long> g_loops{0};

void WritingLoop(void* obj) {
    auto* emu = static_cast<Ferrow_c*>(obj);
    const long n = ++g_loops;
    for (int id = 0; id < 4; ++id) emu->adc->SetValue(id, n % 1024);
    emu->gpio->SetValReg(kGpioPin, static_cast<int>(n & 1));
    emu->pwm->SetDuty(kPwmPin, static_cast<unsigned long>(n % 100000));
    emu->icap->SetValue(0, static_cast<unsigned long>(n));
}

TEST_F(ChannelPanels, PanelsRefreshWhileTheFirmwareWritesTheChannels) {
    ADCDlg_c* panel = Panel<ADCDlg_c>();
    ASSERT_NE(panel, nullptr);
    ASSERT_EQ(emu_->SetDeviceFunction([](void*) {}, WritingLoop, 5), 0);
    emu_->SetAutoConnect(0);
    ASSERT_EQ(emu_->Start(), 0);
    std::set<wxString> seen;
    EXPECT_TRUE(PumpUntil([&] {
        seen.insert(Cell(panel, 3, 1));
        return seen.size() >= 4;
    }));
    ReleaseSliderAt(Panel<GPIODlg_c>(), 1);
    EXPECT_EQ(emu_->Stop(), 0);
    EXPECT_GT(g_loops.load(), 0);
}

}  // namespace
}  // namespace ferrow::panels::test
