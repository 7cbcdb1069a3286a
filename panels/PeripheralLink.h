// The tie between a panel and its peripheral. The peripheral may be destroyed
// on any thread while its panel still runs handlers on the GUI thread; the
// panel reaches the peripheral only through Use, and whoever destroys the
// peripheral cuts the link first, which waits for a Use in progress.
#pragma once

#include <functional>
#include <mutex>

namespace ferrow::panels {

class PeripheralLink {
public:
    // Runs `use` unless the link is cut; whether it ran.
    bool Use(const std::function<void()>& use) {
        std::lock_guard<std::recursive_mutex> guard(mutex_);
        if (cut_) return false;
        use();
        return true;
    }

    // After this returns no Use runs `use` again.
    void Cut() {
        std::lock_guard<std::recursive_mutex> guard(mutex_);
        cut_ = true;
    }

private:
    // Recursive so that a handler may nest a Use in another.
    std::recursive_mutex mutex_;  // protects: cut_, and the peripheral during a Use
    bool cut_ = false;
};

}  // namespace ferrow::panels
