// Host windows. A firmware hands the emulator the window that parents every
// panel either as an opaque handle or as a window object; a null handle means
// no host window (no GUI). The panels module converts handles to and from its
// toolkit's windows.
#pragma once

#include <ferrow/FerrowApi.h>

typedef struct HWND__* HWND;

class FERROW_API CWnd {
public:
    explicit CWnd(HWND handle = nullptr) : m_hWnd(handle) {}
    virtual ~CWnd() = default;

    HWND GetSafeHwnd() const { return m_hWnd; }

    // The window object of a handle: one lasting object per handle, so that
    // pointers handed out stay valid; null for a null handle.
    static CWnd* FromHandle(HWND handle);

    HWND m_hWnd;
};
