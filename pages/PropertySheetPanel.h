#pragma once
// Base of every page of the main frame's book.
//
// SetActive() runs when the page has become current and loads the page from
// the unit's image; KillActive() runs before the page is left and before a
// save, stores the page into the image, and may refuse (false) to keep the
// user on the page.
//
// The shared steps of a page's life cycle: a change handler that raises the
// page's changed flag, and the start and end of KillActive:
//
//     bool CPage::KillActive()
//     {
//         if (!KillActiveBase()) return false;
//         ... own cross-field checks, then write the members to the image ...
//         return KillActiveEnd();
//     }
#include <wx/panel.h>

class PropertySheetPanel : public wxPanel {
public:
    explicit PropertySheetPanel(wxWindow* parent);
    virtual void SetActive() = 0;
    virtual bool KillActive() = 0;

    // Bound to wxEVT_TEXT of text controls and wxEVT_CHECKBOX of check boxes.
    void OnEnChange(wxCommandEvent& event);

protected:
    // The image now differs from the unit: the flag goes up and Save is enabled.
    void SetChanged();
    // Validators in creation order (the first bad field speaks and keeps the
    // focus), then their transfer into the members. False: stay on the page.
    bool KillActiveBase();
    // After the page has written its members: enables Save if the page was
    // changed and clears the flag. Always true, to end KillActive with.
    bool KillActiveEnd();
    // Enables the frame's Save button, if there is a frame.
    static void EnableSave();

    bool m_Changed = false;
};
