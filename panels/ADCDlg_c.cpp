#include <ferrow/panels/ADCDlg_c.h>

#include "panels/ChannelList.h"
#include "panels/ListColumns.h"
#include "peripherals/Peripheral.h"

#include <ferrow/Ferrow_ADC_c.h>

#include <wx/listctrl.h>

#include <algorithm>
#include <vector>

using ferrow::panels::ChannelList;
using ferrow::panels::ColumnLayout;

namespace {

struct AdcRow {
    long value = 0;
    long minimum = 0;
    long maximum = 0;
    char name[ChannelList::kNameBuffer] = {};
};

std::vector<AdcRow> ReadRows(Ferrow_ADC_c& adc) {
    const ferrow::peripherals::Peripheral::ShownNameBound bound(ChannelList::kNameBuffer);
    std::vector<AdcRow> rows(static_cast<size_t>(std::max(adc.GetTotalChannel(-1), 0)));
    for (int id = 0; id < static_cast<int>(rows.size()); ++id) {
        adc.GetConfig(id, &rows[id].maximum, &rows[id].minimum);
        adc.GetValue(id, &rows[id].value);
        adc.GetName(id, rows[id].name);
    }
    return rows;
}

}  // namespace

ADCDlg_c::ADCDlg_c(CWnd* parentWnd, Ferrow_ADC_c* adc)
    : Control01Dlg_c(parentWnd, ferrow::peripherals::Peripheral::EmulatorOf(adc), L"ADC"),
      adc_(adc) {
    SetTrend(Trend::Signed);
}

void ADCDlg_c::FillList() {
    std::vector<AdcRow> rows;
    if (!WithPeripheral([&] { rows = ReadRows(*adc_); })) return;
    columns_->Reset(ColumnLayout::Adc());
    itemCount_ = static_cast<int>(rows.size());
    for (int id = 0; id < itemCount_; ++id) {
        const AdcRow& row = rows[id];
        SetCell(id, 0, wxString::Format("%d", id));
        SetCell(id, 1, FormatCell(static_cast<int>(row.value)));
        SetCell(id, 2, FormatCell(static_cast<int>(row.minimum)));
        SetCell(id, 3, FormatCell(static_cast<int>(row.maximum)));
        SetCell(id, 4, ChannelList::Name(row.name));
    }
    Control01Dlg_c::FillList();
}

void ADCDlg_c::Refresh() {
    std::vector<long> values(static_cast<size_t>(itemCount_));
    const bool read = WithPeripheral([&] {
        for (int id = 0; id < itemCount_; ++id) adc_->GetValue(id, &values[id]);
    });
    if (!read) return;
    for (int id = 0; id < itemCount_; ++id) SetCell(id, 1, FormatCell(static_cast<int>(values[id])));
    Control01Dlg_c::Refresh();
}

void ADCDlg_c::SetRange(int, int, float) {
    long maximum = 0;
    long minimum = 0;
    if (WithSelected([&](int id) { return adc_->GetConfig(id, &maximum, &minimum) == 0; })) {
        Control01Dlg_c::SetRange(static_cast<int>(maximum), static_cast<int>(minimum), 1.0f);
    }
}

void ADCDlg_c::SetSliderValue(int) {
    long value = 0;
    if (WithSelected([&](int id) { return adc_->GetValue(id, &value) == 0; })) {
        Control01Dlg_c::SetSliderValue(static_cast<int>(value));
    }
}

void ADCDlg_c::OnSliderValue(int value) {
    WithSelected([&](int id) { return adc_->SetValue(id, value) == 0; });
}
