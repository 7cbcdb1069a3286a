// A host window with the panels installed, as a firmware with its own wxApp
// has it, and the means to find the panels that belong to it.
#pragma once

#include "GuiTest.h"

#include "tests/support/TempDir.h"

#include <ferrow/ferrow.h>
#include <ferrow/panels/FerrowPanels.h>
#include <ferrow/panels/FloatingDlg_c.h>

#include <wx/app.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/frame.h>
#include <wx/listbox.h>
#include <wx/timer.h>
#include <wx/toplevel.h>

#include <memory>
#include <string>
#include <vector>

namespace ferrow::panels::test {

inline std::vector<FloatingDlg_c*> PanelsOf(wxWindow* host) {
    std::vector<FloatingDlg_c*> panels;
    for (wxWindow* child : host->GetChildren()) {
        if (auto* panel = dynamic_cast<FloatingDlg_c*>(child)) panels.push_back(panel);
    }
    return panels;
}

inline FloatingDlg_c* PanelOf(wxWindow* host, unsigned int templateId) {
    for (FloatingDlg_c* panel : PanelsOf(host)) {
        if (panel->TemplateId() == templateId) return panel;
    }
    return nullptr;
}

// The host window's list of the panels made so far.
inline wxListBox* PanelListOf(wxWindow* host) {
    for (wxWindow* content : host->GetChildren()) {
        for (wxWindow* child : content->GetChildren()) {
            if (auto* list = dynamic_cast<wxListBox*>(child)) return list;
        }
    }
    return nullptr;
}

template <class Control>
Control* ControlOf(wxWindow* panel, int id) {
    return dynamic_cast<Control*>(panel->FindWindow(id));
}

// The operator clicks the button with window id `id`.
inline void Press(wxWindow* panel, int id) {
    auto* button = ControlOf<wxButton>(panel, id);
    wxCommandEvent pressed(wxEVT_BUTTON, id);
    pressed.SetEventObject(button);
    button->HandleWindowEvent(pressed);
}

// The operator ticks (or clears) the check box with window id `id`.
inline void Tick(wxWindow* panel, int id, bool on) {
    auto* box = ControlOf<wxCheckBox>(panel, id);
    box->SetValue(on);
    wxCommandEvent clicked(wxEVT_CHECKBOX, id);
    clicked.SetEventObject(box);
    clicked.SetInt(on ? 1 : 0);
    box->HandleWindowEvent(clicked);
}

// Runs the GUI thread until the panel's refresh timer has fired `ticks`
// more times.
inline bool PumpTicks(wxWindow* panel, int ticks) {
    auto count = std::make_shared<int>(0);
    auto counter = [count](wxTimerEvent& event) {
        ++*count;
        event.Skip();
    };
    panel->Bind(wxEVT_TIMER, counter);
    const bool done = PumpUntil([&] { return *count >= ticks; });
    panel->Unbind(wxEVT_TIMER, counter);
    return done;
}

// Closes the modal panel as soon as one runs, as the operator would.
inline void CloseModalPanelWhenShown(std::chrono::steady_clock::time_point until) {
    wxTheApp->CallAfter([until] {
        for (wxWindow* window : wxTopLevelWindows) {
            auto* panel = dynamic_cast<FloatingDlg_c*>(window);
            if (panel != nullptr && panel->IsModal()) {
                panel->Close();
                return;
            }
        }
        if (std::chrono::steady_clock::now() < until) CloseModalPanelWhenShown(until);
    });
}

class PanelsHostTest : public testing::Test {
protected:
    void SetUp() override {
        REQUIRE_GUI();
        host_ = new wxFrame(nullptr, wxID_ANY, "host", wxPoint(120, 90), wxSize(320, 240));
        host_->Show();
        ASSERT_TRUE(FerrowPanels_Install(host_));
    }

    void TearDown() override {
        if (host_ == nullptr) return;
        FerrowPanels_Uninstall();
        delete host_;
    }

    HWND Handle() const { return FerrowPanels_Handle(host_); }

    wxFrame* host_ = nullptr;
};

// An emulator from the factory on the host window with the peripherals the
// FERROW_ bits `kinds` ask for; the firmware deletes them, here the fixture.
class FactoryPanelsTest : public PanelsHostTest {
protected:
    explicit FactoryPanelsTest(unsigned long kinds) : kinds_(kinds) {}

    void SetUp() override {
        PanelsHostTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        if (!config_.empty()) ferrow::test::TempDir::Write(dir_.File("Ferrow.cfg"), config_);
        emu_.reset(create_Ferrow_pObj(Handle(), nullptr, dir_.File("image.hex").c_str(),
                                      dir_.File("Ferrow.cfg").c_str(), 0, kinds_, nullptr,
                                      nullptr, 0, nullptr, 64));
        ASSERT_NE(emu_, nullptr);
    }

    void TearDown() override {
        if (emu_) {
            emu_->Stop();
            delete emu_->adc;
            delete emu_->gpio;
            delete emu_->pwm;
            delete emu_->icap;
            delete emu_->eeprom;
            delete emu_->i2c;
            delete emu_->spi;
            delete emu_->serial;
            emu_.reset();
        }
        PanelsHostTest::TearDown();
    }

    const unsigned long kinds_;
    ferrow::test::TempDir dir_;
    // The configuration file's text before the emulator reads it; no file
    // when empty.
    std::string config_;
    std::unique_ptr<Ferrow_c> emu_;
};

}  // namespace ferrow::panels::test
