#include <ferrow/panels/GPIODlg_c.h>

#include "panels/ChannelList.h"
#include "panels/ListColumns.h"
#include "peripherals/Peripheral.h"

#include <ferrow/Ferrow_GPIO_c.h>

#include <wx/listctrl.h>

#include <algorithm>
#include <vector>

using ferrow::panels::ChannelList;
using ferrow::panels::ColumnLayout;

namespace {

struct GpioRow {
    unsigned long pin = ChannelList::kNoPin;
    int level = 0;
    int reg = 0;
    int direction = 0;
    char name[ChannelList::kNameBuffer] = {};
};

std::vector<GpioRow> ReadRows(Ferrow_GPIO_c& gpio) {
    const ferrow::peripherals::Peripheral::ShownNameBound bound(ChannelList::kNameBuffer);
    std::vector<GpioRow> rows(static_cast<size_t>(std::max(gpio.GetTotalPin(), 0)));
    for (int index = 0; index < static_cast<int>(rows.size()); ++index) {
        GpioRow& row = rows[index];
        row.pin = gpio.ID2PN(index);
        if (row.pin == ChannelList::kNoPin) continue;
        gpio.GetValPin(row.pin, &row.level);
        gpio.GetValReg(row.pin, &row.reg);
        gpio.GetDir(row.pin, &row.direction);
        gpio.GetName(row.pin, row.name);
    }
    return rows;
}

// The live columns, in decimal whatever the Hex box says.
void WriteLevels(Control01Dlg_c& panel, int index, const GpioRow& row) {
    panel.SetCell(index, 1, wxString::Format("%d", row.level));
    panel.SetCell(index, 2, wxString::Format("%d", row.reg));
    panel.SetCell(index, 3, wxString::Format("%d", row.direction));
}

}  // namespace

GPIODlg_c::GPIODlg_c(CWnd* parentWnd, Ferrow_GPIO_c* gpio)
    : Control01Dlg_c(parentWnd, ferrow::peripherals::Peripheral::EmulatorOf(gpio), L"GPIO"),
      gpio_(gpio) {
    SetTrend(Trend::Logic);
}

void GPIODlg_c::FillList() {
    std::vector<GpioRow> rows;
    if (!WithPeripheral([&] { rows = ReadRows(*gpio_); })) return;
    columns_->Reset(ColumnLayout::Gpio());
    itemCount_ = static_cast<int>(rows.size());
    for (int index = 0; index < itemCount_; ++index) {
        const GpioRow& row = rows[index];
        if (row.pin == ChannelList::kNoPin) continue;
        SetCell(index, 0, ChannelList::PinNumber(row.pin));
        WriteLevels(*this, index, row);
        SetCell(index, 4, ChannelList::Name(row.name));
    }
    Control01Dlg_c::FillList();
}

void GPIODlg_c::Refresh() {
    std::vector<GpioRow> rows;
    if (!WithPeripheral([&] { rows = ReadRows(*gpio_); })) return;
    const int count = std::min(itemCount_, static_cast<int>(rows.size()));
    for (int index = 0; index < count; ++index) {
        if (rows[index].pin != ChannelList::kNoPin) WriteLevels(*this, index, rows[index]);
    }
    Control01Dlg_c::Refresh();
}

void GPIODlg_c::SetRange(int, int, float) {
    if (WithSelected([&](int index) { return gpio_->ID2PN(index) != ChannelList::kNoPin; })) {
        Control01Dlg_c::SetRange(1, 0, 1.0f);
    }
}

void GPIODlg_c::SetSliderValue(int) {
    int level = 0;
    const bool read = WithSelected([&](int index) {
        const unsigned long pin = gpio_->ID2PN(index);
        return pin != ChannelList::kNoPin && gpio_->GetValPin(pin, &level) == 0;
    });
    if (read) Control01Dlg_c::SetSliderValue(level);
}

void GPIODlg_c::OnSliderValue(int value) {
    WithSelected([&](int index) {
        const unsigned long pin = gpio_->ID2PN(index);
        return pin != ChannelList::kNoPin && gpio_->SetValPin(pin, value) == 0;
    });
}
