// An emulator from the factory with ADC, GPIO, PWM and input capture, built
// on a host window with the panels installed, and the means to find each
// peripheral's panel.
#pragma once

#include "PanelsHost.h"

#include "tests/support/TempDir.h"

#include <ferrow/ferrow.h>

#include <wx/bitmap.h>
#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/image.h>

#include <memory>
#include <string>

namespace ferrow::panels::test {

// What the screen shows of the window's client area.
inline wxImage PictureOf(wxWindow* window) {
    window->Update();
    const wxSize area = window->GetClientSize();
    wxBitmap picture(area);
    {
        wxMemoryDC into(picture);
        wxClientDC from(window);
        into.Blit(0, 0, area.x, area.y, &from, 0, 0);
    }
    return picture.ConvertToImage();
}

class ChannelPanelsHostTest : public PanelsHostTest {
protected:
    void SetUp() override {
        PanelsHostTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        if (!config_.empty()) ferrow::test::TempDir::Write(dir_.File("Ferrow.cfg"), config_);
        emu_.reset(create_Ferrow_pObj(Handle(), nullptr, dir_.File("image.hex").c_str(),
                                      dir_.File("Ferrow.cfg").c_str(), 0,
                                      FERROW_ADC | FERROW_GPIO | FERROW_PWM | FERROW_ICAP, nullptr,
                                      nullptr, 0, nullptr, 0));
        ASSERT_NE(emu_, nullptr);
    }

    void TearDown() override {
        if (emu_) {
            emu_->Stop();
            delete emu_->adc;
            delete emu_->gpio;
            delete emu_->pwm;
            delete emu_->icap;
            emu_.reset();
        }
        PanelsHostTest::TearDown();
    }

    // The panel of the first peripheral whose panel class is T, or null.
    template <class T>
    T* Panel() {
        for (FloatingDlg_c* panel : PanelsOf(host_)) {
            if (auto* found = dynamic_cast<T*>(panel)) return found;
        }
        return nullptr;
    }

    ferrow::test::TempDir dir_;
    // The configuration file's text before the emulator reads it; no file
    // when empty.
    std::string config_;
    std::unique_ptr<Ferrow_c> emu_;
};

}  // namespace ferrow::panels::test
