#include <ferrow/panels/PWMDlg_c.h>

#include "panels/ChannelList.h"
#include "panels/ListColumns.h"
#include "panels/ValueFormat.h"
#include "peripherals/Peripheral.h"

#include <ferrow/Ferrow_PWM_c.h>

#include <wx/listctrl.h>

#include <algorithm>
#include <cstdint>
#include <vector>

using ferrow::panels::ChannelList;
using ferrow::panels::ColumnLayout;
using ferrow::panels::ValueFormat;

namespace {

constexpr int kFullDuty = 100000;

struct PwmRow {
    unsigned long pin = ChannelList::kNoPin;
    unsigned long frequency = 0;
    unsigned long duty = 0;
    int config = 0;
    char name[ChannelList::kNameBuffer] = {};
};

std::vector<PwmRow> ReadRows(Ferrow_PWM_c& pwm) {
    const ferrow::peripherals::Peripheral::ShownNameBound bound(ChannelList::kNameBuffer);
    std::vector<PwmRow> rows(static_cast<size_t>(std::max(pwm.GetTotalPin(), 0)));
    for (int index = 0; index < static_cast<int>(rows.size()); ++index) {
        PwmRow& row = rows[index];
        row.pin = pwm.ID2PN(index);
        if (row.pin == ChannelList::kNoPin) continue;
        pwm.GetConfig(row.pin, &row.config);
        pwm.GetFreq(row.pin, &row.frequency);
        pwm.GetDuty(row.pin, &row.duty);
        pwm.GetName(row.pin, row.name);
    }
    return rows;
}

}  // namespace

PWMDlg_c::PWMDlg_c(CWnd* parentWnd, Ferrow_PWM_c* pwm)
    : Control01Dlg_c(parentWnd, ferrow::peripherals::Peripheral::EmulatorOf(pwm), L"PWM"),
      pwm_(pwm) {
    SetTrend(Trend::Unsigned);
}

void PWMDlg_c::FillList() {
    std::vector<PwmRow> rows;
    if (!WithPeripheral([&] { rows = ReadRows(*pwm_); })) return;
    columns_->Reset(ColumnLayout::Pwm());
    itemCount_ = static_cast<int>(rows.size());
    for (int index = 0; index < itemCount_; ++index) {
        const PwmRow& row = rows[index];
        if (row.pin == ChannelList::kNoPin) continue;
        SetCell(index, 0, ChannelList::PinNumber(row.pin));
        SetCell(index, 1, FormatCell(static_cast<int>(row.frequency)));
        SetCell(index, 2, FormatCell(static_cast<int>(row.duty)));
        SetCell(index, 3, wxString::Format("%d", row.config));
        SetCell(index, 4, ChannelList::Name(row.name));
    }
    Control01Dlg_c::FillList();
}

void PWMDlg_c::Refresh() {
    std::vector<PwmRow> rows;
    if (!WithPeripheral([&] { rows = ReadRows(*pwm_); })) return;
    const int count = std::min(itemCount_, static_cast<int>(rows.size()));
    for (int index = 0; index < count; ++index) {
        if (rows[index].pin == ChannelList::kNoPin) continue;
        SetCell(index, 1, FormatCell(static_cast<int>(rows[index].frequency)));
        SetCell(index, 2, FormatCell(static_cast<int>(rows[index].duty)));
    }
    Control01Dlg_c::Refresh();
}

int PWMDlg_c::FormatValue(int value, wchar_t* buffer, int size, int hex) {
    const int format = Control01Dlg_c::FormatValue(value, buffer, size, hex);
    if (format == 0) ValueFormat::CopyInto(ValueFormat::FormatThousandths(value, false), buffer, size);
    return format;
}

bool PWMDlg_c::ParseValue(const wxString& text, long long& shown) {
    return ValueFormat::ParseThousandths(text.ToStdWstring(), shown);
}

void PWMDlg_c::SetRange(int, int, float) {
    if (WithSelected([&](int index) { return pwm_->ID2PN(index) != ChannelList::kNoPin; })) {
        Control01Dlg_c::SetRange(kFullDuty, 0, 1.0f);
    }
}

void PWMDlg_c::SetSliderValue(int) {
    unsigned long duty = 0;
    const bool read = WithSelected([&](int index) {
        const unsigned long pin = pwm_->ID2PN(index);
        return pin != ChannelList::kNoPin && pwm_->GetDuty(pin, &duty) == 0;
    });
    if (read) Control01Dlg_c::SetSliderValue(static_cast<int>(duty));
}

void PWMDlg_c::OnSliderValue(int value) {
    WithSelected([&](int index) {
        const unsigned long pin = pwm_->ID2PN(index);
        return pin != ChannelList::kNoPin &&
               pwm_->SetDuty(pin, static_cast<unsigned long>(static_cast<uint32_t>(value))) == 0;
    });
}
