// A panel as its peripheral holds it. The peripheral may call it from any
// thread; the dialog lives on the GUI thread, so calls from elsewhere are
// queued for it and never wait: Show, Hide, Move and Start act a little
// later, and IsVisible answers what the GUI thread last saw. Destroying the
// handle cuts the dialog off from the peripheral before it returns, and the
// dialog itself goes on the GUI thread.
#pragma once

#include <ferrow/PeripheralPanel.h>

#include <functional>
#include <memory>

class FloatingDlg_c;

namespace ferrow::panels {

class PanelHandle : public PeripheralPanel {
public:
    // Builds the panel's dialog, not yet created.
    using Maker = std::function<FloatingDlg_c*()>;

    // Creates the dialog hidden: now on the GUI thread, else queued for it.
    // `changed` runs on the GUI thread when the dialog window comes or goes.
    PanelHandle(Maker make, std::function<void()> changed);
    ~PanelHandle() override;
    PanelHandle(const PanelHandle&) = delete;
    PanelHandle& operator=(const PanelHandle&) = delete;

    void Show() override;
    void Hide() override;
    void Move(int x, int y) override;
    int IsVisible() override;
    void Start() override;

private:
    struct State;

    // Runs `op` on the dialog on the GUI thread, if the dialog exists then.
    void OnDialog(std::function<void(FloatingDlg_c&)> op);

    std::shared_ptr<State> state_;
};

}  // namespace ferrow::panels
