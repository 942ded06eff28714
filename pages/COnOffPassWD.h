#pragma once
// The eye beside a password field: a click shows or hides the text of the
// field; the eye is struck through while the text is visible.
#include <wx/window.h>

class wxDC;
class wxTextCtrl;

class COnOffPassWD : public wxWindow {
public:
    COnOffPassWD(wxWindow* parent, wxTextCtrl* target);
    void OnDraw(wxDC& dc);
    // Whether the target shows its text as it is.
    bool IsTextVisible() const;
    // The effect of a click.
    void Toggle();

private:
    void OnLeftDown(wxMouseEvent& event);
    void OnPaint(wxPaintEvent& event);

    wxTextCtrl* m_Target;
};
