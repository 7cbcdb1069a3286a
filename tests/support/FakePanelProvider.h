// A panel provider for tests: it records every request and hands out panels
// that log what is done to them, in one shared log.
#pragma once

#include <ferrow/PanelProvider.h>

#include <functional>
#include <string>
#include <vector>

namespace ferrow::test {

class FakePanelProvider : public PanelProvider {
public:
    struct Request {
        PeripheralKind kind;
        void* peripheral;
        CWnd* parent;
    };

    FakePanelProvider() { previous_ = PanelProvider::Install(this); }
    ~FakePanelProvider() override { PanelProvider::Install(previous_); }

    PeripheralPanel* CreatePanel(PeripheralKind kind, void* peripheral, CWnd* parent,
                                 int modal) override {
        requests.push_back({kind, peripheral, parent});
        if (modal) {
            // A modal panel runs to its end here, already using the peripheral.
            if (onModal) onModal(peripheral);
            log.push_back("modal " + std::to_string(static_cast<int>(kind)));
            return nullptr;
        }
        return new Panel(*this, kind);
    }

    std::vector<Request> requests;
    std::vector<std::string> log;
    std::function<void(void* peripheral)> onModal;

private:
    class Panel : public PeripheralPanel {
    public:
        Panel(FakePanelProvider& owner, PeripheralKind kind) : owner_(owner), kind_(kind) {}
        ~Panel() override { Note("destroyed"); }
        void Show() override { visible_ = 1; }
        void Hide() override { visible_ = 0; }
        void Move(int x, int y) override {
            Note("move " + std::to_string(x) + "," + std::to_string(y));
        }
        int IsVisible() override { return visible_; }
        void Start() override { Note("start"); }

    private:
        void Note(const std::string& what) {
            owner_.log.push_back(what + " " + std::to_string(static_cast<int>(kind_)));
        }
        FakePanelProvider& owner_;
        PeripheralKind kind_;
        int visible_ = 0;
    };

    PanelProvider* previous_;
};

}  // namespace ferrow::test
