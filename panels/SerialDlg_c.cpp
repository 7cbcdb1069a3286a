#include <ferrow/panels/SerialDlg_c.h>

#include "panels/DisplayPeriods.h"
#include "peripherals/Peripheral.h"
#include "peripherals/serial/RxCallbackDeferral.h"
#include "peripherals/serial/SerialPortTable.h"
#include "platform/ProcessClock.h"
#include "panels/model/SerialTeletype.h"

#include <ferrow/Ferrow_Serial_c.h>
#include <ferrow/panels/CtrlAnchor.h>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/clipbrd.h>
#include <wx/listbox.h>
#include <wx/settings.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <algorithm>
#include <iterator>

using ferrow::panels::DisplayPeriods;
using ferrow::panels::SerialTeletype;
using ferrow::peripherals::Peripheral;
using ferrow::peripherals::RxCallbackDeferral;
using ferrow::peripherals::SerialPortSlot;
using ferrow::platform::ProcessClock;

namespace {

constexpr int kChunkBytes = 256;
// The title shows at most 255 bytes of a longer name.
constexpr size_t kTitleNameBuffer = 256;
// A firmware that transmits without pause must not hold the GUI thread in
// one refresh: at most a full ring is taken each time.
constexpr int kMostBytesPerRefresh = static_cast<int>(SerialPortSlot::kRingSize);
constexpr unsigned char kCarriageReturn = 13;
// A terminal's width, which firmware aligns its tables to.
constexpr int kTerminalColumns = 80;
// The template, in dialog units.
constexpr int kWidth = 330;
constexpr int kHeight = 150;

// How each anchored control follows the edges, in the order of margins_: the
// log grows both ways, Pause, Clear and Copy stay top right, the input lines
// stretch along the bottom and their Send buttons stay bottom right.
constexpr unsigned kAnchorFlags[] = {
    ANCHOR_STRETCH_X | ANCHOR_STRETCH_Y,
    ANCHOR_PIN_TOP,
    ANCHOR_PIN_TOP,
    ANCHOR_PIN_TOP,
    ANCHOR_STRETCH_X,
    ANCHOR_STRETCH_X,
    0,
    0,
};

// Names are bytes: each one shows as the character of that code.
wxString Widened(const std::string& bytes) {
    return wxString::From8BitData(bytes.data(), bytes.size());
}

}  // namespace

SerialDlg_c::SerialDlg_c(CWnd* parentWnd, Ferrow_Serial_c* serial)
    : FloatingDlg_c(kTemplateId, parentWnd),
      serial_(serial),
      config_(nullptr),
      wideConfig_(false),
      tty_(std::make_unique<SerialTeletype>()),
      timer_(this, kTimerId) {
    if (Ferrow_c* emulator = Peripheral::EmulatorOf(serial)) {
        config_ = emulator->config;
        wideConfig_ = emulator->ownConfig == 0;
    }
}

SerialDlg_c::~SerialDlg_c() { timer_.Stop(); }

int SerialDlg_c::Create() { return FloatingDlg_c::Create(nullptr, 10); }

long SerialDlg_c::TemplateStyle() const {
    return FloatingDlg_c::TemplateStyle() | wxRESIZE_BORDER | wxMINIMIZE_BOX;
}

void SerialDlg_c::OnInitDialog() {
    FloatingDlg_c::OnInitDialog();
    SetTitle("Serial");
    CreateControls();
    UpdateTitle();
    for (int i = 0; i < kAnchoredCount; ++i) SaveCtrlMargins(this, AnchoredControl(i), margins_[i]);
    if (config_ != nullptr) {
        displayPeriod_ = DisplayPeriods::Load(config_, wideConfig_, L"SERIAL", kDefaultPeriodMs);
    }

    Bind(wxEVT_TIMER, &SerialDlg_c::OnTimer, this);
    Bind(wxEVT_SHOW, &SerialDlg_c::OnShow, this);
    Bind(wxEVT_SIZE, &SerialDlg_c::OnSize, this);
    Bind(wxEVT_CHAR_HOOK, &SerialDlg_c::OnCharHook, this);
    pauseButton_->Bind(wxEVT_BUTTON, &SerialDlg_c::OnPause, this);
    clearButton_->Bind(wxEVT_BUTTON, &SerialDlg_c::OnClear, this);
    copyButton_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { CopySelection(); });
    timeStampsBox_->Bind(wxEVT_CHECKBOX, [this](wxCommandEvent& event) {
        tty_->SetTimeStamps(event.IsChecked());
        ShowTaken();
    });
    hexBox_->Bind(wxEVT_CHECKBOX, [this](wxCommandEvent& event) {
        tty_->SetHex(event.IsChecked());
        ShowTaken();
    });
    upperSend_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { SendLine(upperLine_); });
    lowerSend_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { SendLine(lowerLine_); });
    for (wxTextCtrl* line : {upperLine_, lowerLine_}) {
        line->Bind(wxEVT_SET_FOCUS, [this, line](wxFocusEvent& event) {
            sendTarget_ = line;
            event.Skip();
        });
    }
    timer_.Start(DisplayPeriods::TimerMs(displayPeriod_));
    FitTerminalWidth();
}

void SerialDlg_c::CreateControls() {
    SetTemplateSize(kWidth, kHeight);
    PlaceCtrl(new wxStaticText(this, wxID_ANY, "Serial Log :"), 5, 5, 36, 8);
    timeStampsBox_ = new wxCheckBox(this, kTimeStampsId, "Time");
    PlaceCtrl(timeStampsBox_, 45, 3, 40, 11);
    hexBox_ = new wxCheckBox(this, kHexId, "Hex");
    PlaceCtrl(hexBox_, 88, 3, 35, 11);
    copyButton_ = new wxButton(this, kCopyId, "Copy");
    PlaceCtrl(copyButton_, kWidth - 197, 5, 60, 10);
    pauseButton_ = new wxButton(this, kPauseId, "Pause");
    PlaceCtrl(pauseButton_, kWidth - 132, 5, 60, 10);
    clearButton_ = new wxButton(this, kClearId, "Clear");
    PlaceCtrl(clearButton_, kWidth - 67, 5, 60, 10);
    log_ = new wxListBox(this, kLogId, wxDefaultPosition, wxDefaultSize, 0, nullptr,
                         wxLB_EXTENDED | wxLB_HSCROLL | wxLB_NEEDED_SB);
    log_->SetFont(wxFontInfo(GetFont().GetPointSize()).Family(wxFONTFAMILY_TELETYPE));
    PlaceCtrl(log_, 5, 15, kWidth - 12, 95);
    upperLine_ = new wxTextCtrl(this, kUpperLineId, wxString());
    PlaceCtrl(upperLine_, 5, 115, kWidth - 56, 12);
    upperSend_ = new wxButton(this, kUpperSendId, "Send");
    PlaceCtrl(upperSend_, kWidth - 47, 115, 40, 15);
    lowerLine_ = new wxTextCtrl(this, kLowerLineId, wxString());
    PlaceCtrl(lowerLine_, 5, 131, kWidth - 56, 12);
    lowerSend_ = new wxButton(this, kLowerSendId, "Send");
    PlaceCtrl(lowerSend_, kWidth - 47, 131, 40, 15);
}

// The font's width is known only now; the template is the least size.
void SerialDlg_c::FitTerminalWidth() {
    const int text = kTerminalColumns * log_->GetTextExtent("0").x;
    const int chrome = wxSystemSettings::GetMetric(wxSYS_VSCROLL_X, log_) +
                       (log_->GetSize().x - log_->GetClientSize().x) + 2 * log_->GetCharWidth();
    const int missing = text + chrome - log_->GetSize().x;
    if (missing <= 0) return;
    SetClientSize(GetClientSize() + wxSize(missing, 0));
    AnchorControls();
}

wxWindow* SerialDlg_c::AnchoredControl(int index) const {
    wxWindow* const controls[kAnchoredCount] = {log_,       pauseButton_, clearButton_, copyButton_,
                                                 lowerLine_, upperLine_,   lowerSend_,   upperSend_};
    return controls[index];
}

void SerialDlg_c::AnchorControls() {
    for (int i = 0; i < kAnchoredCount; ++i) {
        AnchorCtrl(this, AnchoredControl(i), margins_[i], kAnchorFlags[i], nullptr);
    }
}

int SerialDlg_c::Show(int priority) {
    UpdateTitle();
    return FloatingDlg_c::Show(priority);
}

int SerialDlg_c::TimerInterval() const { return timer_.IsRunning() ? timer_.GetInterval() : 0; }

void SerialDlg_c::UpdateTitle() {
    wxString title;
    WithPeripheral([&] {
        if (serial_->GetHndl() < 0) return;
        char name[kTitleNameBuffer] = {};
        const Peripheral::ShownNameBound bound(sizeof name);
        title = serial_->GetName(name) > 0
                    ? Widened(name)
                    : wxString::Format("Serial-%d", serial_->GetHndl_dev());
    });
    if (!title.empty()) SetTitle(title);
}

void SerialDlg_c::RefreshLog() {
    std::vector<std::string> lines;
    std::string pending;
    bool took = false;
    const uint64_t now = ProcessClock::Ms64();
    WithPeripheral([&] {
        unsigned char chunk[kChunkBytes];
        int n = 0;
        // A Take per chunk keeps the teletype's backlog far below its bound.
        for (int total = 0;
             total < kMostBytesPerRefresh && (n = serial_->GetTX(chunk, kChunkBytes)) > 0;
             total += n) {
            took = true;
            tty_->Feed(chunk, static_cast<size_t>(n), now);
            SerialTeletype::Batch batch = tty_->Take();
            std::move(batch.lines.begin(), batch.lines.end(), std::back_inserter(lines));
            pending = std::move(batch.pending);
        }
    });
    if (took) ShowLines(lines, pending);
}

void SerialDlg_c::ShowTaken() {
    SerialTeletype::Batch batch = tty_->Take();
    ShowLines(batch.lines, batch.pending);
}

// The entry of the unfinished line is rewritten in place, so a selection of
// it stays.
void SerialDlg_c::ShowLines(const std::vector<std::string>& lines, const std::string& pending) {
    wxArrayInt selected;
    const int count = static_cast<int>(log_->GetCount());
    const int selections = log_->GetSelections(selected);
    const bool follow = selections == 0 || (selections == 1 && selected[0] == count - 1);

    wxArrayString entries;
    entries.reserve(lines.size() + 1);
    for (const std::string& line : lines) entries.Add(wxString::FromUTF8(line));
    if (!pending.empty()) entries.Add(wxString::FromUTF8(pending));
    size_t next = 0;
    if (pendingShown_ && count > 0) {
        if (entries.empty()) {
            log_->Delete(count - 1);
        } else {
            log_->SetString(count - 1, entries[next++]);
        }
    }
    pendingShown_ = !pending.empty();
    if (next < entries.size()) {
        log_->Append(wxArrayString(entries.size() - next, &entries[next]));
    }
    for (unsigned int surplus = log_->GetCount() > kMaxLogEntries ? log_->GetCount() - kMaxLogEntries : 0;
         surplus > 0; --surplus) {
        log_->Delete(0);
    }
    if (follow && !log_->IsEmpty()) {
        const int newest = static_cast<int>(log_->GetCount()) - 1;
        log_->DeselectAll(newest);
        log_->SetSelection(newest);
        log_->EnsureVisible(newest);
    }
}

// Each part goes to the firmware with its callback raised outside the link
// to the port: the callback may call the port, delete it, or wait for a
// thread that does, and none of them waits for this panel. A port deleted
// by the first part gets no second.
void SerialDlg_c::SendLine(const wxTextCtrl* line) {
    std::vector<unsigned char> bytes;
    for (wxUniChar c : line->GetValue().Left(kMaxSendChars)) {
        bytes.push_back(static_cast<unsigned char>(c.GetValue() & 0xFF));
    }
    const auto deliver = [this](const unsigned char* data, int length) {
        RxCallbackDeferral deferral;
        if (!WithPeripheral([&] { serial_->PutRX(data, length); })) return false;
        deferral.Raise();
        return true;
    };
    if (deliver(bytes.data(), static_cast<int>(bytes.size()))) deliver(&kCarriageReturn, 1);
}

wxString SerialDlg_c::SelectedText() const {
    wxArrayInt selected;
    log_->GetSelections(selected);
    wxString text;
    for (size_t i = 0; i < selected.size(); ++i) {
        if (i > 0) text += '\n';
        text += log_->GetString(selected[i]);
    }
    return text;
}

void SerialDlg_c::CopySelection() {
    const wxString text = SelectedText();
    if (text.empty()) return;
    wxClipboardLocker clipboard;
    if (!!clipboard) wxTheClipboard->SetData(new wxTextDataObject(text));
}

void SerialDlg_c::OnTimer(wxTimerEvent&) {
    if (!paused_) RefreshLog();
}

void SerialDlg_c::OnPause(wxCommandEvent&) {
    paused_ = !paused_;
    pauseButton_->SetLabel(paused_ ? "Continue" : "Pause");
}

void SerialDlg_c::OnClear(wxCommandEvent&) {
    log_->Clear();
    pendingShown_ = false;
}

void SerialDlg_c::OnShow(wxShowEvent& event) {
    event.Skip();
    if (!event.IsShown()) return;
    UpdateTitle();
    sendTarget_ = upperLine_;
    upperLine_->SetFocus();
}

void SerialDlg_c::OnSize(wxSizeEvent& event) {
    event.Skip();
    AnchorControls();
}

void SerialDlg_c::OnCharHook(wxKeyEvent& event) {
    // In an input line Ctrl+C copies the line's own selection.
    if (event.GetKeyCode() == 'C' && event.GetModifiers() == wxMOD_CONTROL && FindFocus() == log_) {
        CopySelection();
        return;
    }
    switch (event.GetKeyCode()) {
        case WXK_RETURN:
        case WXK_NUMPAD_ENTER:
            // A focused button takes Enter as a press of its own.
            if (dynamic_cast<wxButton*>(FindFocus()) == nullptr) {
                if (sendTarget_ != nullptr) SendLine(sendTarget_);
                return;
            }
            break;
        default:
            break;
    }
    event.Skip();
}
