// The core names host windows by opaque handles; here a handle is the
// address of the wxWindow it stands for.
#pragma once

#include <ferrow/CWnd.h>

class wxWindow;

namespace ferrow::panels {

class WindowHandle {
public:
    static HWND FromWindow(wxWindow* window) { return reinterpret_cast<HWND>(window); }
    static wxWindow* ToWindow(HWND handle) { return reinterpret_cast<wxWindow*>(handle); }
    static wxWindow* ToWindow(const CWnd* window) {
        return window != nullptr ? ToWindow(window->GetSafeHwnd()) : nullptr;
    }
};

}  // namespace ferrow::panels
