#include "pages/COneDirect.h"

#include "app/VelkonfApp.h"
#include "pages/CDirect.h"
#include "pages/PageRows.h"
#include "pages/Validators.h"

#include <wx/checkbox.h>
#include <wx/msgdlg.h>
#include <wx/statbox.h>
#include <wx/valgen.h>

#include <cstdlib>

COneDirect::COneDirect(CListDirect* list, int index)
    : wxDialog(list, wxID_ANY, _W_(10224), wxDefaultPosition, wxDefaultSize, wxDEFAULT_DIALOG_STYLE),
      m_Index(index), m_List(list)
{
    auto limited = [this](wxTextCtrl* t, unsigned long max) {
        t->SetMaxLength(max);
        t->SetMinSize(FromDIP(wxSize(max > 8 ? 220 : 120, -1)));
        return t;
    };
    auto* head = new wxFlexGridSizer(2, FromDIP(wxSize(8, 6)));
    head->AddGrowableCol(1);
    auto* ident = limited(rows::Text(this, "ident", IntValidator(&m_Rec.m_Node)), 8);
    auto* portData = limited(rows::Text(this, "portData", IntValidator(&m_Rec.m_PortData)), 5);
    auto* portVoice = limited(rows::Text(this, "portVoice", IntValidator(&m_Rec.m_PortVoice)), 5);
    rows::Add(head, rows::Label(this, 10225), ident);
    rows::Add(head, rows::Label(this, 10035), portData);
    rows::Add(head, rows::Label(this, 10038), portVoice);

    auto* basic = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10226));
    wxStaticBox* basicBox = basic->GetStaticBox();
    auto* basicGrid = new wxFlexGridSizer(2, FromDIP(wxSize(8, 6)));
    basicGrid->AddGrowableCol(1);
    m_EdIP = rows::Text(basicBox, "ip", IPv4Validator(&m_Rec.m_IP));
    m_EdIP->SetMinSize(FromDIP(wxSize(220, -1)));
    m_EdDomain = limited(rows::Text(basicBox, "domain", StringValidator(&m_Domain)), 31);
    rows::Add(basicGrid, rows::Label(basicBox, 10013), m_EdIP);
    rows::Add(basicGrid, rows::Label(basicBox, 10227), m_EdDomain);
    basic->Add(basicGrid, 1, wxEXPAND | wxALL, FromDIP(6));

    auto* alt = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10228));
    wxStaticBox* altBox = alt->GetStaticBox();
    auto* altGrid = new wxFlexGridSizer(3, FromDIP(wxSize(8, 6)));
    altGrid->AddGrowableCol(1);
    m_ChkAlt = new wxCheckBox(altBox, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 0,
                              wxGenericValidator(&m_AltDefined));
    m_ChkAlt->SetName("altDefined");
    m_EdReturn = limited(rows::Text(altBox, "return", IntValidator(&m_Rec.m_Return)), 3);
    m_EdAltIP = rows::Text(altBox, "altIp", IPv4Validator(&m_Rec.m_AltIP));
    m_EdAltIP->SetMinSize(FromDIP(wxSize(220, -1)));
    rows::Add(altGrid, rows::Label(altBox, 10229), m_ChkAlt);
    altGrid->AddSpacer(0);
    rows::Add(altGrid, rows::Label(altBox, 10230), m_EdReturn);
    altGrid->Add(new wxStaticText(altBox, wxID_ANY, _W_(10212)), 0, wxALIGN_CENTER_VERTICAL);
    rows::Add(altGrid, rows::Label(altBox, 10013), m_EdAltIP);
    altGrid->AddSpacer(0);
    alt->Add(altGrid, 1, wxEXPAND | wxALL, FromDIP(6));

    for (wxTextCtrl* t : {ident, portData, portVoice, m_EdIP, m_EdReturn, m_EdAltIP})
        t->Bind(wxEVT_TEXT, &COneDirect::OnEnChange, this);
    m_EdDomain->Bind(wxEVT_TEXT, &COneDirect::OnEnChangeDomain, this);
    m_ChkAlt->Bind(wxEVT_CHECKBOX, &COneDirect::OnBnClickedExistAlter, this);
    Bind(wxEVT_INIT_DIALOG, &COneDirect::OnInitDialog, this);
    Bind(wxEVT_CLOSE_WINDOW, &COneDirect::OnClose, this);
    Bind(wxEVT_CHAR_HOOK, &COneDirect::OnKeyDown, this);

    auto* top = new wxBoxSizer(wxVERTICAL);
    top->Add(head, 0, wxEXPAND | wxALL, FromDIP(10));
    top->Add(basic, 0, wxEXPAND | wxLEFT | wxRIGHT, FromDIP(10));
    top->Add(alt, 0, wxEXPAND | wxALL, FromDIP(10));
    SetSizerAndFit(top);
}

void COneDirect::Load()
{
    m_Rec = DirectList::Read(wxGetApp().m_NVRAM, m_Index);
    m_Changed = m_Rec.m_Changed;
    m_Domain = toWxString(m_Rec.m_Domain);
    m_AltDefined = m_Rec.m_Type >= 2;
    TransferDataToWindow();
    if (!m_AltDefined) {
        m_EdReturn->Disable();
        m_EdAltIP->Disable();
    }
    SetEnable();
}

void COneDirect::OnInitDialog(wxInitDialogEvent&) { Load(); }

void COneDirect::SetEnable()
{
    const bool domains = wxGetApp().m_FeatDomain;
    m_EdDomain->Enable(domains);
    if (domains && !m_EdDomain->GetValue().empty()) {
        for (wxWindow* w : {static_cast<wxWindow*>(m_EdIP), static_cast<wxWindow*>(m_ChkAlt),
                            static_cast<wxWindow*>(m_EdReturn), static_cast<wxWindow*>(m_EdAltIP)})
            w->Disable();
        return;
    }
    m_EdIP->Enable();
    m_ChkAlt->Enable();
    // An unticked box leaves the two as they are.
    if (m_ChkAlt->GetValue()) {
        m_EdReturn->Enable();
        m_EdAltIP->Enable();
    }
}

void COneDirect::OnEnChange(wxCommandEvent&) { m_Changed = true; }

void COneDirect::OnEnChangeDomain(wxCommandEvent&) { SetEnable(); }

void COneDirect::OnBnClickedExistAlter(wxCommandEvent&)
{
    const bool on = m_ChkAlt->GetValue();
    m_Rec.m_Type = on ? 2 : 1;
    m_EdReturn->Enable(on);
    m_EdAltIP->Enable(on);
    m_Changed = true;
}

int COneDirect::Finish()
{
    if (!Validate() || !TransferDataFromWindow()) {
        if (wxMessageBox(_W_(10233), "Velkonf", wxYES_NO | wxICON_QUESTION, this) == wxNO) return wxID_CANCEL;
        return 0;
    }
    m_Rec.m_Domain = toDBString(m_Domain);
    // Other rows by their item data; a row may keep its own identifier.
    std::vector<long> others;
    for (long row = 0; row < m_List->GetItemCount(); ++row)
        if (static_cast<int>(m_List->GetItemData(row)) != m_Index)
            others.push_back(std::strtol(m_List->GetItemText(row).utf8_str(), nullptr, 10));
    if (const unsigned short refusal = DirectList::Check(m_Rec, m_AltDefined, others)) {
        wxMessageBox(_W_(refusal), "Velkonf", wxOK | wxICON_EXCLAMATION, this);
        return 0;
    }
    // Written whether or not anything changed: Return in an untouched
    // dialog still marks the list modified.
    VelkonfApp& app = wxGetApp();
    DirectList::Write(app.m_NVRAM, m_Index, m_Rec, app.m_FeatDomain);
    return wxID_OK;
}

void COneDirect::OnClose(wxCloseEvent& event)
{
    if (!event.CanVeto()) return;
    const int result = Finish();
    if (result != 0) EndModal(result);
    event.Veto();
}

void COneDirect::OnKeyDown(wxKeyEvent& event)
{
    switch (event.GetKeyCode()) {
    case WXK_ESCAPE: EndModal(wxID_CANCEL); break;
    case WXK_RETURN:
    case WXK_NUMPAD_ENTER: {
        wxCloseEvent close(wxEVT_CLOSE_WINDOW, GetId());
        close.SetEventObject(this);
        close.SetCanVeto(true);
        OnClose(close);
        break;
    }
    default: event.Skip(); break;
    }
}
