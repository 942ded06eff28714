#include "pages/COnOffPassWD.h"

#include <wx/dcclient.h>
#include <wx/sizer.h>
#include <wx/textctrl.h>

COnOffPassWD::COnOffPassWD(wxWindow* parent, wxTextCtrl* target)
    : wxWindow(parent, wxID_ANY, wxDefaultPosition, wxSize(48, 32), 0), m_Target(target)
{
    SetMinSize(wxSize(48, 32));
    Bind(wxEVT_LEFT_DOWN, &COnOffPassWD::OnLeftDown, this);
    Bind(wxEVT_PAINT, &COnOffPassWD::OnPaint, this);
}

bool COnOffPassWD::IsTextVisible() const { return m_Plain && m_Plain->IsShown(); }

void COnOffPassWD::MakePlain()
{
    m_Plain = new wxTextCtrl(m_Target->GetParent(), wxID_ANY, wxEmptyString, wxDefaultPosition, m_Target->GetSize(),
                             m_Target->GetWindowStyleFlag() & ~wxTE_PASSWORD);
    m_Plain->SetName(m_Target->GetName() + " shown");
    m_Plain->Hide();
    m_Plain->Bind(wxEVT_TEXT, [this](wxCommandEvent&) { m_Target->SetValue(m_Plain->GetValue()); });
    if (wxSizer* sizer = m_Target->GetContainingSizer()) {
        wxSizerItem* item = sizer->GetItem(m_Target);
        const wxSizerItemList& items = sizer->GetChildren();
        size_t index = 0;
        while (index < items.size() && items[index] != item) ++index;
        sizer->Insert(index + 1, m_Plain, item->GetProportion(), item->GetFlag(), item->GetBorder());
    }
}

void COnOffPassWD::Toggle()
{
    if (!m_Plain) MakePlain();
    const bool show = !m_Plain->IsShown();
    if (show) m_Plain->ChangeValue(m_Target->GetValue());
    m_Plain->Enable(m_Target->IsEnabled());
    m_Target->Show(!show);
    m_Plain->Show(show);
    // The fields may sit in a static box whose sizer belongs to the page:
    // lay out the first window up the chain that owns a sizer.
    wxWindow* owner = m_Target->GetParent();
    while (owner && !owner->GetSizer()) owner = owner->GetParent();
    if (owner) owner->Layout();
    Refresh();
}

bool COnOffPassWD::Enable(bool enable)
{
    if (m_Plain) m_Plain->Enable(enable);
    bool changed = wxWindow::Enable(enable);
    Refresh();
    return changed;
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
