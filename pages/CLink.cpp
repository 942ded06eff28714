#include "pages/CLink.h"

#include "app/VelkonfApp.h"
#include "pages/PageRows.h"
#include "pages/Validators.h"

#include <wx/button.h>
#include <wx/msgdlg.h>

CLink::CLink(wxWindow* parent) : PropertySheetPanel(parent) {}

void CLink::Init()
{
    auto* grid = new wxFlexGridSizer(4, FromDIP(wxSize(8, 6)));
    grid->AddGrowableCol(1);
    for (int i = 0; i < kLinkFields; ++i) {
        const LinkField& f = LinkFieldMap[i];
        // The ranges are checked by KillActive, with the row's own message.
        auto* edit = rows::Text(this, f.m_Name, IntValidator(&m_Fields.m_Value[i]));
        edit->Bind(wxEVT_TEXT, &CLink::OnEnChange, this);
        rows::Add(grid, rows::Label(this, f.m_Label), edit);
        grid->Add(new wxStaticText(this, wxID_ANY, f.m_Unit ? _W_(f.m_Unit) : wxString()), 0,
                  wxALIGN_CENTER_VERTICAL);
        if (i == 0) {
            auto* def = new wxButton(this, wxID_ANY, _W_(10213));
            def->SetName("default");
            def->Bind(wxEVT_BUTTON, &CLink::OnBnClickedDefault, this);
            grid->Add(def, 0, wxALIGN_CENTER_VERTICAL | wxLEFT, FromDIP(10));
        } else {
            grid->AddSpacer(0);
        }
    }
    auto* top = new wxBoxSizer(wxVERTICAL);
    top->Add(grid, 0, wxEXPAND | wxALL, FromDIP(10));
    SetSizer(top);
}

void CLink::SetActive()
{
    m_Fields.m_Changed = false;
    m_Fields.Read(wxGetApp().m_NVRAM);
    if (m_Fields.m_Changed) SetChanged();   // an erased byte took its default
    TransferDataToWindow();
}

bool CLink::KillActive()
{
    if (!KillActiveBase()) return false;
    DBString message;
    if (m_Fields.Write(wxGetApp().m_NVRAM, message) >= 0) {
        wxMessageBox(toWxString(message), "Velkonf", wxOK | wxCENTRE);
        return false;
    }
    return KillActiveEnd();
}

void CLink::OnBnClickedDefault(wxCommandEvent&)
{
    m_Fields.SetDefaults();
    TransferDataToWindow();
    SetChanged();
}
