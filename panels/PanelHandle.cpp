#include "panels/PanelHandle.h"

#include "panels/GuiThread.h"
#include "panels/PeripheralLink.h"

#include <ferrow/panels/Control01Dlg_c.h>
#include <ferrow/panels/FloatingDlg_c.h>

#include <wx/weakref.h>

#include <atomic>
#include <mutex>

namespace ferrow::panels {

struct PanelHandle::State : std::enable_shared_from_this<PanelHandle::State> {
    std::mutex mutex;  // protects: cut, link
    bool cut = false;
    std::shared_ptr<PeripheralLink> link;
    std::atomic<bool> visible{false};
    std::function<void()> changed;
    // GUI thread only; cleared by the toolkit if the dialog goes first
    // (with its parent window).
    wxWeakRef<FloatingDlg_c> dialog;

    void CreateDialog(const Maker& make) {
        // Held while the dialog is built, so that a handle destroyed
        // meanwhile waits and then cuts the link of the finished dialog.
        std::lock_guard<std::mutex> guard(mutex);
        if (cut) return;
        FloatingDlg_c* created = make();
        if (created == nullptr) return;
        if (created->Create(nullptr, 10) != 0) {
            delete created;
            return;
        }
        link = created->Link();
        dialog = created;
        std::weak_ptr<State> self = weak_from_this();
        created->Bind(wxEVT_SHOW, [self](wxShowEvent& event) {
            if (auto state = self.lock()) state->visible = event.IsShown();
            event.Skip();
        });
        // The dialog may go after the handle and its state (Destroy deletes
        // it later), so the handler keeps `changed` of its own.
        created->Bind(wxEVT_DESTROY, [self, created, changed = changed](wxWindowDestroyEvent& event) {
            event.Skip();
            if (event.GetEventObject() != created) return;
            if (auto state = self.lock()) state->visible = false;
            if (changed) changed();
        });
        if (changed) changed();
    }
};

PanelHandle::PanelHandle(Maker make, std::function<void()> changed)
    : state_(std::make_shared<State>()) {
    state_->changed = std::move(changed);
    GuiThread::RunOrPost([state = state_, make = std::move(make)] { state->CreateDialog(make); });
}

PanelHandle::~PanelHandle() {
    std::shared_ptr<PeripheralLink> link;
    {
        std::lock_guard<std::mutex> guard(state_->mutex);
        state_->cut = true;
        link = state_->link;
    }
    if (link) link->Cut();
    // Destroy, not delete: the peripheral may go from within the dialog's own
    // handler (a receive callback run by its Send), which returns into it.
    GuiThread::RunOrPost([state = state_] {
        if (FloatingDlg_c* dialog = state->dialog) dialog->Destroy();
    });
}

void PanelHandle::OnDialog(std::function<void(FloatingDlg_c&)> op) {
    GuiThread::RunOrPost([state = state_, op = std::move(op)] {
        if (FloatingDlg_c* dialog = state->dialog) {
            op(*dialog);
            state->visible = dialog->IsShown();
        }
    });
}

void PanelHandle::Show() {
    OnDialog([](FloatingDlg_c& dialog) { dialog.Show(0); });
}

void PanelHandle::Hide() {
    OnDialog([](FloatingDlg_c& dialog) { dialog.Hide(100); });
}

void PanelHandle::Move(int x, int y) {
    OnDialog([x, y](FloatingDlg_c& dialog) { dialog.Move(x, y); });
}

int PanelHandle::IsVisible() {
    if (GuiThread::IsCurrent()) {
        const FloatingDlg_c* dialog = state_->dialog;
        return dialog != nullptr && dialog->IsShown() ? 1 : 0;
    }
    return state_->visible ? 1 : 0;
}

void PanelHandle::Start() {
    OnDialog([](FloatingDlg_c& dialog) {
        if (auto* channels = dynamic_cast<Control01Dlg_c*>(&dialog)) channels->Start(1);
    });
}

}  // namespace ferrow::panels
