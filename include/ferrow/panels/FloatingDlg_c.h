// The base of every peripheral panel: a modeless dialog that floats beside
// the host window, created hidden, placed beside its parent the first time it
// is shown, and hidden (never destroyed) when the operator closes it.
//
// A panel opens where it was last in this session (a panel of the same
// template and caption, such as one of a peripheral made again), else in the
// first free place beside the host window, clear of the host and of the
// panels on screen, and always inside the display's work area. A resizable
// panel cannot be made smaller than its template.
//
// A derived panel passes its template number to the constructor, builds its
// controls in OnInitDialog (in dialog units, with PlaceCtrl and
// SetTemplateSize) and reaches its peripheral only inside WithPeripheral, so
// that the peripheral can be destroyed from any thread while the panel lives.
#pragma once

#include <ferrow/CWnd.h>
#include <ferrow/panels/PanelsApi.h>

#include <wx/dialog.h>
#include <wx/icon.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace ferrow::panels {
class PeripheralLink;
}

class FERROW_PANELS_API FloatingDlg_c : public wxDialog {
public:
    using RefreshFn = void (*)(FloatingDlg_c* panel);

    // No window exists until Create.
    FloatingDlg_c(unsigned int templateId, CWnd* parentWnd);
    ~FloatingDlg_c() override;

    // Creates the window hidden; OnInitDialog runs inside. A refresh function
    // is called every periodMs on a thread of the panel while it is shown,
    // and must not touch the window. Returns 0, or -1 if the window exists
    // already or cannot be created.
    virtual int Create(RefreshFn refreshFn, unsigned long periodMs);
    virtual int Create(CWnd* parentWnd, unsigned int templateId, RefreshFn refreshFn,
                       unsigned long periodMs);
    // Shows and raises the panel, the first time where it was last or beside
    // the parent (see above). 0, or -1 if the refresh thread cannot start.
    virtual int Show(int priority);
    // Stops the refresh thread (waiting up to timeoutMs), then hides. 0.
    virtual int Hide(unsigned long timeoutMs);
    // Centres on the parent (or the screen). Flag 1 sets x to 0 and flag 2
    // to the reference's width less the panel's; 4 and 8 do the same for y;
    // 2 wins over 1 and 8 over 4. Returns Move's result.
    virtual int Center(int flags);
    // Moves the top-left corner to screen point (x, y), keeping the size. 0.
    virtual int Move(int x, int y);
    // Writes `text` into the control with window id itemId when it differs,
    // so an unchanged control does not flicker.
    virtual void UpdateItemText(int itemId, const wchar_t* text);

    using wxDialog::Show;

    // Remembers the panel's place, then has the toolkit delete it once the
    // events under way are handled, so that a handler of the panel may
    // destroy it (through its peripheral) and still return into it.
    bool Destroy() override;

    unsigned int TemplateId() const { return templateId_; }
    CWnd* ParentWnd() const { return parentWnd_; }

    // The link to the peripheral; cutting it (from any thread) waits for a
    // WithPeripheral call in progress, and none runs afterwards.
    std::shared_ptr<ferrow::panels::PeripheralLink> Link() const { return link_; }

protected:
    // Builds the panel's controls; the window exists and is hidden.
    virtual void OnInitDialog();
    // The window style the template asks for.
    virtual long TemplateStyle() const;

    // Runs `use` unless the link to the peripheral has been cut; the
    // peripheral stays alive while it runs. Whether it ran.
    bool WithPeripheral(const std::function<void()>& use);

    // Places a child control at a rectangle given in dialog units.
    void PlaceCtrl(wxWindow* control, int x, int y, int width, int height);
    // Sizes the client area to the template's size in dialog units, which
    // is also the least size of a resizable panel.
    void SetTemplateSize(int width, int height);

private:
    void OnClose(wxCloseEvent& event);
    void OnButton(wxCommandEvent& event);
    // Ends the modal loop, or hides a modeless panel.
    void Dismiss(int returnCode);

    bool StartRefresh();
    // Without a limit it waits until the thread has ended.
    void StopRefresh(std::optional<unsigned long> timeoutMs);
    void RefreshLoop();

    wxWindow* ParentWindow() const;
    void PlaceFirstTime();
    // Keeps the panel's place for its template and caption, once it has
    // been shown.
    void RememberPlace();

    CWnd* parentWnd_;
    unsigned int templateId_;
    wxIcon icon_;
    bool firstShow_ = true;
    wxSize templateClient_;
    std::shared_ptr<ferrow::panels::PeripheralLink> link_;

    RefreshFn refreshFn_ = nullptr;
    std::atomic<unsigned long> periodMs_{0};
    std::mutex refreshMutex_;  // protects: refreshRunning_, stopRefresh_, refreshThread_
    std::condition_variable refreshChanged_;
    bool refreshRunning_ = false;
    bool stopRefresh_ = false;
    std::thread refreshThread_;
};
