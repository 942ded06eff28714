#pragma once
// The eye beside a password field: a click shows or hides the text of the
// field; the eye is struck through while the text is visible.
//
// The toolkit on GTK cannot switch a field's password mode once the field
// exists, so the text is shown in a plain twin field that takes the password
// field's place. The password field stays the one that holds the value (its
// validator reads it): what is typed into the twin is copied into it, with
// the usual text event.
#include <wx/window.h>

class wxDC;
class wxTextCtrl;

class COnOffPassWD : public wxWindow {
public:
    COnOffPassWD(wxWindow* parent, wxTextCtrl* target);
    void OnDraw(wxDC& dc);
    // Whether the target's text is shown as it is.
    bool IsTextVisible() const;
    // The effect of a click.
    void Toggle();
    // The eye and the shown text are enabled together with the target.
    bool Enable(bool enable = true) override;

private:
    void OnLeftDown(wxMouseEvent& event);
    void OnPaint(wxPaintEvent& event);
    void MakePlain();

    wxTextCtrl* m_Target;
    wxTextCtrl* m_Plain = nullptr;   // the twin, made on the first click
};
