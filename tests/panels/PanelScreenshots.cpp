// Pictures of the channel panels for the documentation. Runs only when asked:
//
//   FERROW_SCREENSHOTS=$PWD/docs xvfb-run -a -s "-screen 0 1280x1024x24"
//       build/tests/panels/ferrow_panels_unit_tests --gtest_filter='PanelScreenshots.*'
//
// (one command line)//
// writes panel-adc.png, panel-gpio.png, panel-pwm.png and panel-icap.png
// into that folder.
#include "ChannelPanelsHost.h"

#include <ferrow/panels/ADCDlg_c.h>
#include <ferrow/panels/GPIODlg_c.h>
#include <ferrow/panels/ICAPDlg_c.h>
#include <ferrow/panels/PWMDlg_c.h>

#include <wx/bitmap.h>
#include <wx/dcmemory.h>
#include <wx/dcclient.h>
#include <wx/image.h>

#include <cstdlib>
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

    // Widens the panel before it lists its channels, so that the columns,
    // sized from the list's width, show their text whole.
    template <class T>
    T* Widened() {
        T* panel = Panel<T>();
        if (panel != nullptr) {
            const wxSize size = panel->GetClientSize();
            panel->SetClientSize(wxSize(size.x * 3 / 2, size.y * 5 / 4));
        }
        return panel;
    }

    // Shows the panel alone on the screen, lets it refresh, and saves what
    // the screen shows of it.
    void Save(Control01Dlg_c* panel, const std::string& file) {
        ASSERT_NE(panel, nullptr);
        panel->Show(0);
        panel->Move(0, 0);
        auto ticks = std::make_shared<int>(0);
        panel->Bind(wxEVT_TIMER, [ticks](wxTimerEvent& event) {
            ++*ticks;
            event.Skip();
        });
        ASSERT_TRUE(PumpUntil([&] { return *ticks >= 5; }));
        panel->Update();
        const wxSize area = panel->GetClientSize();
        wxBitmap picture(area);
        {
            wxMemoryDC into(picture);
            wxClientDC window(panel);
            into.Blit(0, 0, area.x, area.y, &window, 0, 0);
        }
        ASSERT_TRUE(picture.ConvertToImage().SaveFile(folder_ + "/" + file, wxBITMAP_TYPE_PNG));
        panel->Hide(100);
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
    ADCDlg_c* adcPanel = Widened<ADCDlg_c>();
    adc.Start();
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
    GPIODlg_c* gpioPanel = Widened<GPIODlg_c>();
    gpio.Start();
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
    PWMDlg_c* pwmPanel = Widened<PWMDlg_c>();
    pwm.Start();
    Save(pwmPanel, "panel-pwm.png");

    Ferrow_ICAP_c& icap = *emu_->icap;
    icap.SetName(icap.AddPin(0x30, 0, 16, 8), "Engine speed");
    icap.SetName(icap.AddPin(0x31, 0, 16, 8), "Wind speed");
    icap.SetValue(0, 0x1F40);
    icap.SetValue(1, 0x0320);
    ICAPDlg_c* icapPanel = Widened<ICAPDlg_c>();
    icap.Start();
    Save(icapPanel, "panel-icap.png");
}

}  // namespace
}  // namespace ferrow::panels::test
