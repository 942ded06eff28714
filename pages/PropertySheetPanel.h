#pragma once
// Base of every page of the main frame's book.
//
// SetActive() runs when the page has become current and loads the page from
// the unit's image; KillActive() runs before the page is left and before a
// save, stores the page into the image, and may refuse (false) to keep the
// user on the page.
#include <wx/panel.h>

class PropertySheetPanel : public wxPanel {
public:
    explicit PropertySheetPanel(wxWindow* parent);
    virtual void SetActive() = 0;
    virtual bool KillActive() = 0;
};
