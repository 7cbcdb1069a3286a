// Where the library's user-facing messages and beeps go. Without a GUI a
// message is printed on standard error and a beep does nothing; the panels
// module (or a test) installs a sink of its own. Never blocks a headless
// process on a dialog.
#pragma once

#include <ferrow/FerrowApi.h>

#include <string>

namespace ferrow::platform {

// Exported for the panels library, which installs a sink of message boxes.
class FERROW_API MessageReport {
public:
    // A sink receives a message box's title and text, or a beep request.
    class Sink {
    public:
        virtual ~Sink() = default;
        virtual void Show(const std::wstring& title, const std::wstring& text) = 0;
        virtual void Beep() = 0;
    };

    static void Show(const std::wstring& title, const std::wstring& text);
    // A notice that asks nothing of the operator: a line on standard error,
    // never a dialog, so that it cannot hold up the thread that gives it.
    static void Note(const std::wstring& title, const std::wstring& text);
    // The exclamation beep: draws attention only, carries no meaning.
    static void Beep();

    // Installs a sink (null restores standard error); returns the previous one.
    static Sink* SetSink(Sink* sink);
};

}  // namespace ferrow::platform
