// Pictures of the channel panels for the documentation. Runs only when asked:
//
//   FERROW_SCREENSHOTS=$PWD/docs xvfb-run -a -s "-screen 0 1280x1024x24"
//       build/tests/panels/ferrow_panels_unit_tests --gtest_filter='PanelScreenshots.*'
//
// (one command line) writes panel-adc.png, panel-gpio.png, panel-pwm.png,
// panel-icap.png, panel-n2kmon.png, panel-n2kgen.png and panel-serial.png
// into that folder.
#include "ChannelPanelsHost.h"

#include "panels/TrendStrip.h"
#include "platform/ProcessClock.h"

#include <ferrow/panels/ADCDlg_c.h>
#include <ferrow/panels/GPIODlg_c.h>
#include <ferrow/panels/ICAPDlg_c.h>
#include <ferrow/panels/PWMDlg_c.h>
#include <ferrow/panels/N2KGenDlg_c.h>
#include <ferrow/panels/N2KMonDlg_c.h>
#include <ferrow/panels/SerialDlg_c.h>

#include <wx/choice.h>
#include <wx/image.h>
#include <wx/listctrl.h>
#include <wx/textctrl.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

namespace ferrow::panels::test {
namespace {

class PanelScreenshots : public ChannelPanelsHostTest {
protected:
    void SetUp() override {
        const char* folder = std::getenv("FERROW_SCREENSHOTS");
        if (folder == nullptr || *folder == '\0') GTEST_SKIP() << "FERROW_SCREENSHOTS is not set";
        folder_ = folder;
        ChannelPanelsHostTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        wxInitAllImageHandlers();
        host_->Hide();
    }

    // Shows the panel alone on the screen, lets it refresh, and saves what
    // the screen shows of it.
    void Save(FloatingDlg_c* panel, const std::string& file) {
        ASSERT_NE(panel, nullptr);
        panel->Show(0);
        panel->Move(0, 0);
        auto ticks = std::make_shared<int>(0);
        panel->Bind(wxEVT_TIMER, [ticks](wxTimerEvent& event) {
            ++*ticks;
            event.Skip();
        });
        ASSERT_TRUE(PumpUntil([&] { return *ticks >= 5; }));
        ASSERT_TRUE(PictureOf(panel).SaveFile(folder_ + "/" + file, wxBITMAP_TYPE_PNG));
        panel->Hide(100);
    }

    // A minute of history in the panel's trend strip, so that the picture
    // shows a trace: `valueAt` gives the value from 0 (a minute ago) to 1
    // (now).
    void FillTrend(Control01Dlg_c* panel, const std::function<long(double)>& valueAt) {
        auto* strip = dynamic_cast<TrendStrip*>(panel->FindWindow(Control01Dlg_c::kTrendId));
        ASSERT_NE(strip, nullptr);
        strip->Clear();
        const auto now = static_cast<int64_t>(ferrow::platform::ProcessClock::Ms64());
        for (int64_t ago = TrendSeries::kWindowMs; ago > 0; ago -= 250) {
            strip->Add(now - ago, valueAt(1.0 - static_cast<double>(ago) / TrendSeries::kWindowMs));
        }
    }

    std::string folder_;
};

TEST_F(PanelScreenshots, ChannelPanels) {
    Ferrow_ADC_c& adc = *emu_->adc;
    adc.AddChannel(4, 10, 16, 1, 0);
    adc.AddChannel(2, 12, 16, 0, 0);
    const char* adcNames[] = {"Battery voltage", "Tank level", "Cabin temperature", "Spare",
                              "Rudder angle", "Trim tab"};
    const long adcValues[] = {812, 455, 603, 0, -310, 1200};
    for (int id = 0; id < 6; ++id) {
        adc.SetName(id, adcNames[id]);
        adc.SetValue(id, adcValues[id]);
    }
    ADCDlg_c* adcPanel = Panel<ADCDlg_c>();
    adc.Start();
    FillTrend(adcPanel, [](double x) {
        return std::lround(812 - 40 * (1 - x) * std::cos(18 * x));
    });
    Save(adcPanel, "panel-adc.png");

    Ferrow_GPIO_c& gpio = *emu_->gpio;
    const struct {
        unsigned long pin;
        int output;
        int level;
        const char* name;
    } pins[] = {{0x1A, 1, 1, "Bilge pump relay"},
                {0x1B, 1, 0, "Anchor light"},
                {0x20, 0, 1, "Water sensor"},
                {0x21, 0, 0, "Door switch"}};
    for (const auto& p : pins) {
        gpio.AddPin(p.pin);
        gpio.SetDir(p.pin, p.output);
        gpio.SetValPin(p.pin, p.level);
        gpio.SetValReg(p.pin, p.level);
        gpio.SetName(p.pin, p.name);
    }
    GPIODlg_c* gpioPanel = Panel<GPIODlg_c>();
    gpio.Start();
    FillTrend(gpioPanel, [](double x) {
        return (x >= 0.15 && x < 0.35) || (x >= 0.6 && x < 0.7) || x >= 0.9 ? 1L : 0L;
    });
    Save(gpioPanel, "panel-gpio.png");

    Ferrow_PWM_c& pwm = *emu_->pwm;
    const struct {
        unsigned long pin;
        unsigned long frequency;
        unsigned long duty;
        int config;
        const char* name;
    } outputs[] = {{0x05, 2500, 75000, 0, "Backlight"},
                   {0x06, 25000, 40000, 1, "Cooling fan"},
                   {0x07, 1000, 100000, 0, "Buzzer"}};
    for (const auto& o : outputs) {
        pwm.AddPin(o.pin, 0);
        pwm.SetFreq(o.pin, o.frequency);
        pwm.SetDuty(o.pin, o.duty);
        pwm.SetConfig(o.pin, o.config);
        pwm.SetName(o.pin, o.name);
    }
    PWMDlg_c* pwmPanel = Panel<PWMDlg_c>();
    pwm.Start();
    FillTrend(pwmPanel, [](double x) { return x < 0.5 ? std::lround(40000 + 70000 * x) : 75000L; });
    Save(pwmPanel, "panel-pwm.png");

    Ferrow_ICAP_c& icap = *emu_->icap;
    icap.SetName(icap.AddPin(0x30, 0, 16, 8), "Engine speed");
    icap.SetName(icap.AddPin(0x31, 0, 16, 8), "Wind speed");
    icap.SetValue(0, 0x1F40);
    icap.SetValue(1, 0x0320);
    ICAPDlg_c* icapPanel = Panel<ICAPDlg_c>();
    icap.Start();
    Save(icapPanel, "panel-icap.png");
}

// A device on a busy network: what it sends on the right, what it hears from
// a GPS, a wind sensor, an engine and a depth sounder on the left.
TEST_F(PanelScreenshots, N2KMonitor) {
    // On a bus of its own, so that the status line shows a connected gateway.
    ferrow::test::TempDir::Write(dir_.File("n2k.cfg"), "GW_PORT_NAME=\"vbus:screenshot\"\n");
    std::unique_ptr<Ferrow_c> emu(create_Ferrow_pObj(
        Handle(), nullptr, dir_.File("n2k.hex").c_str(), dir_.File("n2k.cfg").c_str(), 0,
        FERROW_N2K_MON | FERROW_N2K_GEN, nullptr, nullptr, 0, nullptr, 0));
    ASSERT_NE(emu, nullptr);
    ASSERT_EQ(emu->Connect(), 0);
    const struct {
        bool received;
        uint32_t pgn;
        uint8_t priority;
        uint8_t source;
        uint8_t destination;
        uint16_t length;
        int perSecond;
    } traffic[] = {
        {false, 60928, 6, 0x23, 255, 8, 0},     {false, 126993, 7, 0x23, 255, 8, 0},
        {false, 127250, 2, 0x23, 255, 8, 10},   {false, 127251, 2, 0x23, 255, 8, 10},
        {false, 127257, 3, 0x23, 255, 8, 1},    {false, 126996, 6, 0x23, 0x42, 134, 0},
        {true, 59904, 6, 0x42, 0x23, 3, 0},     {true, 129025, 2, 0x05, 255, 8, 10},
        {true, 129026, 2, 0x05, 255, 8, 4},     {true, 129029, 3, 0x05, 255, 43, 1},
        {true, 126992, 3, 0x05, 255, 8, 1},     {true, 130306, 2, 0x10, 255, 8, 10},
        {true, 127488, 2, 0x30, 255, 8, 10},    {true, 127489, 2, 0x30, 255, 26, 2},
        {true, 128267, 3, 0x42, 255, 8, 1},
    };
    constexpr uint32_t kSeconds = 6;
    constexpr uint32_t kTicksPerSecond = 100;
    for (uint32_t second = 0; second < kSeconds; ++second) {
        for (const auto& t : traffic) {
            const int count = t.perSecond == 0 ? (second == 0 ? 1 : 0) : t.perSecond;
            for (int i = 0; i < count; ++i) {
                N2KMsg msg{};
                msg.pgn = t.pgn;
                msg.priority = t.priority;
                msg.addressA = t.source;
                msg.addressB = t.destination;
                msg.length = t.length;
                msg.transport = t.length <= 8 ? 1 : 2;
                for (uint16_t b = 0; b < t.length; ++b) msg.data[b] = uint8_t(t.pgn + i + b);
                msg.timeStamp = second * kTicksPerSecond + uint32_t(i) * kTicksPerSecond / count;
                if (t.received) {
                    N2KMsg in{};
                    ASSERT_EQ(emu->n2kGen->PutMsg(&msg, 0), 1);
                    ASSERT_EQ(emu->GetMsg(&in), N2K_OK);
                } else {
                    emu->PutMsg(&msg);
                }
            }
        }
    }
    // The status line is read once a second.
    const auto read = std::chrono::steady_clock::now() + std::chrono::milliseconds(1100);
    ASSERT_TRUE(PumpUntil([&] { return std::chrono::steady_clock::now() >= read; }));
    // The wind sensor's row selected: its latest message decoded under the lists.
    FloatingDlg_c* panel = PanelOf(host_, N2KMonDlg_c::kTemplateId);
    ASSERT_NE(panel, nullptr);
    auto* rx = static_cast<wxListCtrl*>(panel->FindWindow(N2KMonDlg_c::kRxListId));
    const long wind = rx->FindItem(-1, "130306");
    ASSERT_GE(wind, 0);
    rx->SetItemState(wind, wxLIST_STATE_SELECTED, wxLIST_STATE_SELECTED);
    Save(panel, "panel-n2kmon.png");
    delete emu->n2kMon;
    delete emu->n2kGen;
}

// A temperature reading being made up, its bytes shown before it is sent.
TEST_F(PanelScreenshots, N2KGenerator) {
    std::unique_ptr<Ferrow_c> emu(create_Ferrow_pObj(
        Handle(), nullptr, dir_.File("gen.hex").c_str(), dir_.File("gen.cfg").c_str(), 0,
        FERROW_N2K_GEN, nullptr, nullptr, 0, nullptr, 0));
    ASSERT_NE(emu, nullptr);
    auto* panel = dynamic_cast<N2KGenDlg_c*>(PanelOf(host_, N2KGenDlg_c::kTemplateId));
    ASSERT_NE(panel, nullptr);
    panel->Show(0);
    panel->Move(0, 0);
    ASSERT_TRUE(PumpUntil([&] { return !panel->OfferedPgns().empty(); }));
    static_cast<wxTextCtrl*>(panel->FindWindow(N2KGenDlg_c::kFindId))->SetValue("temperature ext");
    // SID, Instance, Source and Temperature, in that order.
    const auto entry = [&](int field) { return panel->FindWindow(N2KGenDlg_c::kFieldEntryId + field); };
    static_cast<wxTextCtrl*>(entry(0))->SetValue("0");
    static_cast<wxTextCtrl*>(entry(1))->SetValue("0");
    auto* source = static_cast<wxChoice*>(entry(2));
    source->SetStringSelection("Inside Temperature");
    wxCommandEvent picked(wxEVT_CHOICE, source->GetId());
    picked.SetEventObject(source);
    source->HandleWindowEvent(picked);
    static_cast<wxTextCtrl*>(entry(3))->SetValue("294.15");
    const auto drawn = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    ASSERT_TRUE(PumpUntil([&] { return std::chrono::steady_clock::now() >= drawn; }));
    ASSERT_TRUE(PictureOf(panel).SaveFile(folder_ + "/panel-n2kgen.png", wxBITMAP_TYPE_PNG));
    panel->Hide(100);
    delete emu->n2kGen;
}

// A console port after boot, the firmware in the middle of a line.
TEST_F(PanelScreenshots, SerialLog) {
    auto port = std::make_unique<Ferrow_Serial_c>(emu_.get(), 0, 0);
    port->SetName("Console");
    const std::string bytes =
        "Boot 2.4.1 (build 118)\r\nCAN up at 250 kbit/s\r\nAddress claim: 35 ... ok\r\n"
        "loading settings 100%\r\n> status\r\nHeading 231.4\xc2\xb0  SOG 6.2 kn\r\n"
        "Depth 12.7 m  Water 14.9 \xc2\xb0" "C\r\nEngine 0: 1840 rpm";
    ASSERT_GT(port->PutTX(reinterpret_cast<const unsigned char*>(bytes.data()),
                          static_cast<int>(bytes.size())),
              0);
    FloatingDlg_c* panel = PanelOf(host_, SerialDlg_c::kTemplateId);
    ASSERT_NE(panel, nullptr);
    static_cast<wxTextCtrl*>(panel->FindWindow(SerialDlg_c::kUpperLineId))->ChangeValue("status");
    static_cast<wxTextCtrl*>(panel->FindWindow(SerialDlg_c::kLowerLineId))
        ->ChangeValue("set rate 500");
    Save(panel, "panel-serial.png");
}

}  // namespace
}  // namespace ferrow::panels::test
