#include <ferrow/panels/ICAPDlg_c.h>

#include "panels/ChannelList.h"
#include "panels/ListColumns.h"
#include "panels/ValueFormat.h"
#include "peripherals/Peripheral.h"

#include <ferrow/Ferrow_ICAP_c.h>

#include <wx/listctrl.h>

#include <algorithm>
#include <vector>

using ferrow::panels::ChannelList;
using ferrow::panels::ColumnLayout;
using ferrow::panels::ValueFormat;

namespace {

struct IcapRow {
    unsigned long pin = ChannelList::kNoPin;
    unsigned long value = 0;
    char name[ChannelList::kNameBuffer] = {};
};

std::vector<IcapRow> ReadRows(Ferrow_ICAP_c& icap) {
    const ferrow::peripherals::Peripheral::ShownNameBound bound(ChannelList::kNameBuffer);
    std::vector<IcapRow> rows(static_cast<size_t>(std::max(icap.GetTotalPin(), 0)));
    for (int handle = 0; handle < static_cast<int>(rows.size()); ++handle) {
        IcapRow& row = rows[handle];
        row.pin = icap.hndl2PN(handle);
        icap.GetValue(handle, &row.value, nullptr);
        icap.GetName(handle, row.name);
    }
    return rows;
}

}  // namespace

ICAPDlg_c::ICAPDlg_c(CWnd* parentWnd, Ferrow_ICAP_c* icap)
    : Control01Dlg_c(parentWnd, ferrow::peripherals::Peripheral::EmulatorOf(icap), L"ICAP"),
      icap_(icap) {}

void ICAPDlg_c::FillList() {
    std::vector<IcapRow> rows;
    if (!WithPeripheral([&] { rows = ReadRows(*icap_); })) return;
    columns_->Reset(ColumnLayout::Icap());
    itemCount_ = static_cast<int>(rows.size());
    for (int handle = 0; handle < itemCount_; ++handle) {
        const IcapRow& row = rows[handle];
        if (row.pin == ChannelList::kNoPin) continue;
        SetCell(handle, 0, ChannelList::PinNumber(row.pin));
        SetCell(handle, 1, FormatCell(static_cast<int>(row.value)));
        SetCell(handle, 2, ChannelList::Name(row.name));
    }
    Control01Dlg_c::FillList();
}

void ICAPDlg_c::Refresh() {
    std::vector<IcapRow> rows;
    if (!WithPeripheral([&] { rows = ReadRows(*icap_); })) return;
    const int count = std::min(itemCount_, static_cast<int>(rows.size()));
    for (int handle = 0; handle < count; ++handle) {
        if (rows[handle].pin == ChannelList::kNoPin) continue;
        SetCell(handle, 1, FormatCell(static_cast<int>(rows[handle].value)));
    }
    Control01Dlg_c::Refresh();
}

int ICAPDlg_c::FormatValue(int value, wchar_t* buffer, int size, int hex) {
    const int format = Control01Dlg_c::FormatValue(value, buffer, size, hex);
    if (format == 0) ValueFormat::CopyInto(ValueFormat::FormatUnsigned(value, false), buffer, size);
    return format;
}

void ICAPDlg_c::SetRange(int, int, float) {}

void ICAPDlg_c::SetSliderValue(int) {}

void ICAPDlg_c::OnSliderValue(int) {}
