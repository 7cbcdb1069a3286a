// The floating panels as the operator and the firmware meet them: where they
// appear, what closing does, modal panels, and the panel base's own parts.
#include "PanelsHost.h"

#include <ferrow/panels/I2CDlg_c.h>
#include <ferrow/panels/SPIDlg_c.h>

#include <wx/display.h>
#include <wx/stattext.h>

#include <atomic>
#include <thread>

namespace ferrow::panels::test {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

class FloatingPanel : public FactoryPanelsTest {
protected:
    FloatingPanel()
        : FactoryPanelsTest(FERROW_ADC | FERROW_GPIO | FERROW_EEPROM | FERROW_I2C | FERROW_SPI) {}

    wxPoint PositionOf(const wxWindow* window) const { return window->GetScreenPosition(); }
};

// Panels open beside the host window, apart and on screen; a panel stays
// where it was moved, and one of a peripheral made again comes back there.
TEST_F(FloatingPanel, OpenBesideTheHostApartAndOnScreenAndComeBackWhereTheyWere) {
    FloatingDlg_c* i2c = PanelOf(host_, I2CDlg_c::kTemplateId);
    FloatingDlg_c* spi = PanelOf(host_, SPIDlg_c::kTemplateId);
    ASSERT_TRUE(i2c && spi);
    EXPECT_EQ(i2c->GetTitle(), "I2C");
    EXPECT_EQ(emu_->i2c->IsVisible(), 0);
    emu_->i2c->Show();
    emu_->spi->Show();
    EXPECT_EQ(emu_->i2c->IsVisible(), 1);
    ASSERT_TRUE(PumpUntil([&] { return i2c->IsShownOnScreen() && spi->IsShownOnScreen(); }));

    const wxRect host = host_->GetScreenRect();
    EXPECT_EQ(PositionOf(i2c), wxPoint(host.GetRight() + 9, host.y)) << "beside the host, at its top";
    const wxRect display = wxDisplay(static_cast<unsigned>(wxDisplay::GetFromWindow(host_))).GetClientArea();
    for (const wxRect& panel : {i2c->GetScreenRect(), spi->GetScreenRect()}) {
        EXPECT_TRUE(display.Contains(panel));
        EXPECT_FALSE(panel.Intersects(host));
    }
    EXPECT_FALSE(i2c->GetScreenRect().Intersects(spi->GetScreenRect()));

    const wxPoint moved = PositionOf(i2c) + wxPoint(150, 70);
    emu_->i2c->Move(moved.x, moved.y);
    EXPECT_TRUE(PumpUntil([&] { return PositionOf(i2c) == moved; }));
    emu_->i2c->Hide();
    EXPECT_EQ(emu_->i2c->IsVisible(), 0);
    emu_->i2c->Show();
    EXPECT_TRUE(PumpUntil([&] { return PositionOf(i2c) == moved; }))
        << "at " << PositionOf(i2c).x << "," << PositionOf(i2c).y;

    delete emu_->i2c;
    ASSERT_TRUE(PumpUntil([&] { return PanelOf(host_, I2CDlg_c::kTemplateId) == nullptr; }));
    new Ferrow_I2C_c(emu_.get(), 0, 0);
    ASSERT_NE(emu_->i2c, nullptr);
    emu_->i2c->Show();
    EXPECT_TRUE(PumpUntil([&] {
        const FloatingDlg_c* again = PanelOf(host_, I2CDlg_c::kTemplateId);
        return again != nullptr && again->IsShown() && PositionOf(again) == moved;
    }));
}

TEST_F(FloatingPanel, CloseBoxAndButtonsHideThePanelWhichShowBringsBack) {
    FloatingDlg_c* panel = PanelOf(host_, SPIDlg_c::kTemplateId);
    ASSERT_NE(panel, nullptr);
    const size_t controls = panel->GetChildren().size();
    emu_->spi->Show();

    EXPECT_FALSE(panel->Close());
    EXPECT_EQ(emu_->spi->IsVisible(), 0);
    emu_->spi->Show();
    EXPECT_EQ(emu_->spi->IsVisible(), 1);
    EXPECT_EQ(panel->GetChildren().size(), controls);

    for (int id : {wxID_OK, wxID_CANCEL}) {
        SCOPED_TRACE(id);
        emu_->spi->Show();
        wxCommandEvent click(wxEVT_BUTTON, id);
        click.SetEventObject(panel->FindWindow(id));
        panel->FindWindow(id)->ProcessWindowEvent(click);
        EXPECT_EQ(emu_->spi->IsVisible(), 0);
    }
    // The panel is still there, with its template intact.
    EXPECT_EQ(PanelOf(host_, SPIDlg_c::kTemplateId), panel);
    EXPECT_EQ(panel->GetDefaultItem(), panel->FindWindow(wxID_OK));
}

TEST_F(FloatingPanel, ModalPanelRunsUntilClosedAndLeavesNoPanel) {
    CloseModalPanelWhenShown(steady_clock::now() + seconds(10));
    Ferrow_I2C_c modal(emu_.get(), 1, 0);
    EXPECT_EQ(modal.IsVisible(), 0);
    modal.Show();
    EXPECT_EQ(modal.IsVisible(), 0);

    // From a worker the GUI thread runs it, and the worker waits.
    std::atomic<bool> built{false};
    std::thread worker([&] {
        Ferrow_SPI_c fromWorker(emu_.get(), 1, 0);
        built = true;
    });
    CloseModalPanelWhenShown(steady_clock::now() + seconds(10));
    EXPECT_TRUE(PumpUntil([&] { return built.load(); }));
    worker.join();
    EXPECT_EQ(PanelsOf(host_).size(), 5u);
}

std::atomic<int> g_refreshCalls{0};
std::atomic<bool> g_refreshOffGui{true};
std::atomic<bool> g_inRefresh{false};

void CountRefresh(FloatingDlg_c*) {
    g_inRefresh = true;
    if (wxThread::IsMain()) g_refreshOffGui = false;
    ++g_refreshCalls;
    g_inRefresh = false;
}

TEST_F(FloatingPanel, RefreshRunsOffTheGuiThreadOnlyWhileShownCenterFollowsItsFlagsItemTextIsPlain) {
    g_refreshCalls = 0;
    FloatingDlg_c panel(1, CWnd::FromHandle(Handle()));
    ASSERT_EQ(panel.Create(&CountRefresh, 1), 0);
    EXPECT_EQ(g_refreshCalls, 0);

    EXPECT_EQ(panel.Show(0), 0);
    EXPECT_TRUE(PumpUntil([] { return g_refreshCalls >= 3; }));
    EXPECT_EQ(panel.Hide(1000), 0);
    EXPECT_FALSE(g_inRefresh);
    EXPECT_FALSE(panel.IsShown());
    const int afterHide = g_refreshCalls;
    EXPECT_EQ(panel.Show(0), 0);
    EXPECT_TRUE(PumpUntil([&] { return g_refreshCalls > afterHide; }));
    EXPECT_TRUE(g_refreshOffGui);

    auto* label = new wxStaticText(&panel, 77, "old");
    panel.UpdateItemText(77, L"a&b");
    EXPECT_EQ(label->GetLabelText(), "a&b");

    const wxRect parent = host_->GetScreenRect();
    const wxSize size = panel.GetSize();
    EXPECT_EQ(panel.Center(1 | 2 | 4 | 8), 0);
    EXPECT_TRUE(PumpUntil([&] {
        return panel.GetPosition() == wxPoint(parent.width - size.x, parent.height - size.y);
    }));
}

}  // namespace
}  // namespace ferrow::panels::test
