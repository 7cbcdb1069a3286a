#include <ferrow/CWnd.h>

#include <map>
#include <memory>
#include <mutex>

CWnd* CWnd::FromHandle(HWND handle) {
    if (handle == nullptr) return nullptr;
    static std::mutex mutex;  // protects: windows
    static std::map<HWND, std::unique_ptr<CWnd>> windows;
    std::lock_guard<std::mutex> guard(mutex);
    std::unique_ptr<CWnd>& window = windows[handle];
    if (!window) window = std::make_unique<CWnd>(handle);
    return window.get();
}
