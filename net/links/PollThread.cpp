#include "net/links/PollThread.h"

namespace ferrow::net {

void PollThread::Start(std::function<void()> body) {
    stopping_ = false;
    thread_ = std::thread(std::move(body));
}

void PollThread::Stop() {
    if (!thread_.joinable()) return;
    stopping_ = true;
    Wake();
    thread_.join();
    // So that the owner may wait again, for the next connection.
    stopping_ = false;
}

}  // namespace ferrow::net
