// An emulator from the factory with ADC, GPIO, PWM and input capture, built
// on a host window with the panels installed, and the means to find each
// peripheral's panel.
#pragma once

#include "PanelsHost.h"

#include <wx/bitmap.h>
#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/image.h>

namespace ferrow::panels::test {

// What the screen shows of the window's client area.
inline wxImage PictureOf(wxWindow* window) {
    window->Update();
    const wxSize area = window->GetClientSize();
    wxBitmap picture(area);
    {
        wxMemoryDC into(picture);
        wxClientDC from(window);
        into.Blit(0, 0, area.x, area.y, &from, 0, 0);
    }
    return picture.ConvertToImage();
}

class ChannelPanelsHostTest : public FactoryPanelsTest {
protected:
    ChannelPanelsHostTest()
        : FactoryPanelsTest(FERROW_ADC | FERROW_GPIO | FERROW_PWM | FERROW_ICAP) {}

    // The panel of the first peripheral whose panel class is T, or null.
    template <class T>
    T* Panel() {
        for (FloatingDlg_c* panel : PanelsOf(host_)) {
            if (auto* found = dynamic_cast<T*>(panel)) return found;
        }
        return nullptr;
    }
};

}  // namespace ferrow::panels::test
