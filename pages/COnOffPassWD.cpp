#include "pages/COnOffPassWD.h"

#include <wx/dcclient.h>
#include <wx/textctrl.h>

COnOffPassWD::COnOffPassWD(wxWindow* parent, wxTextCtrl* target)
    : wxWindow(parent, wxID_ANY, wxDefaultPosition, wxSize(48, 32), 0), m_Target(target)
{
    SetMinSize(wxSize(48, 32));
    Bind(wxEVT_LEFT_DOWN, &COnOffPassWD::OnLeftDown, this);
    Bind(wxEVT_PAINT, &COnOffPassWD::OnPaint, this);
}

bool COnOffPassWD::IsTextVisible() const { return !m_Target->HasFlag(wxTE_PASSWORD); }

void COnOffPassWD::Toggle()
{
    m_Target->SetWindowStyleFlag(m_Target->GetWindowStyleFlag() ^ wxTE_PASSWORD);
    m_Target->Refresh();
    Refresh();
}

void COnOffPassWD::OnLeftDown(wxMouseEvent&) { Toggle(); }

void COnOffPassWD::OnPaint(wxPaintEvent&)
{
    wxPaintDC dc(this);
    OnDraw(dc);
}

void COnOffPassWD::OnDraw(wxDC& dc)
{
    wxRect r = GetClientRect();
    if (!IsEnabled()) {
        dc.SetPen(wxPen(GetBackgroundColour(), 1));
        dc.SetBrush(wxBrush(GetBackgroundColour()));
        dc.DrawRectangle(r);
        return;
    }
    dc.SetPen(wxPen(GetForegroundColour(), 3, wxPENSTYLE_SOLID));
    dc.SetBrush(wxBrush(GetBackgroundColour()));
    wxRect eye = r;
    eye.Inflate(-2, -8);
    dc.DrawEllipse(eye);
    wxPoint c(r.x + r.width / 2, r.y + r.height / 2);
    dc.DrawCircle(c, 6);
    if (IsTextVisible()) dc.DrawLine(c.x - r.width / 2, r.GetBottom(), c.x + r.width / 2, r.GetTop());
}
