// Work for the GUI thread, the thread that started the toolkit: every widget
// is touched there only. Posting never waits, so a worker that the GUI
// thread is itself waiting for (an emulator's Stop) cannot deadlock on it.
#pragma once

#include <functional>

namespace ferrow::panels {

class GuiThread {
public:
    static bool IsCurrent();
    // Queues `work` for the GUI thread; false (and dropped) when the
    // toolkit is gone.
    static bool Post(std::function<void()> work);
    // Runs `work` now on the GUI thread, else posts it.
    static void RunOrPost(std::function<void()> work);
};

}  // namespace ferrow::panels
