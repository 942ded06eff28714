#include "pages/PropertySheetPanel.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"

#include <wx/button.h>

PropertySheetPanel::PropertySheetPanel(wxWindow* parent)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxTAB_TRAVERSAL | wxNO_BORDER)
{
}

void PropertySheetPanel::OnEnChange(wxCommandEvent&) { SetChanged(); }

void PropertySheetPanel::SetChanged()
{
    m_Changed = true;
    EnableSave();
}

bool PropertySheetPanel::KillActiveBase() { return Validate() && TransferDataFromWindow(); }

bool PropertySheetPanel::KillActiveEnd()
{
    if (m_Changed) {
        EnableSave();
        m_Changed = false;
    }
    return true;
}

void PropertySheetPanel::EnableSave()
{
    VelkonfFrame* frame = wxGetApp().m_Frame.load();
    if (frame && frame->m_BtnSave) frame->m_BtnSave->Enable();
}
