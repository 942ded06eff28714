#include "pages/CSystem.h"

#include "app/VelkonfApp.h"
#include "pages/Validators.h"
#include "pages/WxText.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/config.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/valgen.h>

namespace {

// Asks the unit for the state of its time service; DecodeStatus shows the answer.
void AskTimeStatus()
{
    const unsigned char data[1] = {1};
    CPackV7 pack = wxGetApp().NewPack();
    pack.SetAsk(CPackV7::packAsk, CPackV7::askSystem, 1, data, 1);
    wxGetApp().Put(pack);
}

wxStaticText* Label(wxWindow* parent, unsigned short id)
{
    return new wxStaticText(parent, wxID_ANY, _W_(id), wxDefaultPosition, wxDefaultSize, wxALIGN_RIGHT);
}

wxTextCtrl* Text(wxWindow* parent, const char* name, const wxValidator& validator, long style = 0)
{
    auto* t = new wxTextCtrl(parent, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, style, validator);
    t->SetName(name);
    return t;
}

void AddRow(wxFlexGridSizer* grid, wxStaticText* label, wxWindow* control)
{
    grid->Add(label, 0, wxALIGN_RIGHT | wxALIGN_CENTER_VERTICAL);
    grid->Add(control, 1, wxEXPAND);
}

}  // namespace

CSystem::CSystem(wxWindow* parent) : PropertySheetPanel(parent) {}

bool CSystem::EditIdent()
{
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    return cfg->ReadLong("ChgMacAddr", 0) != 0;
}

void CSystem::Init()
{
    const long service = EditIdent() ? 0 : wxTE_READONLY;
    auto* grid = new wxFlexGridSizer(2, FromDIP(wxSize(8, 6)));
    grid->AddGrowableCol(1);

    m_EdIdent = Text(this, "ident", IntValidator(&m_Fields.m_Node), service);
    AddRow(grid, Label(this, 10145), m_EdIdent);
    auto* ping = new wxCheckBox(this, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 0,
                                wxGenericValidator(&m_Fields.m_PingOff));
    ping->SetName("ping");
    AddRow(grid, Label(this, 10012), ping);
    m_EdMAC = Text(this, "mac", StringValidator(&m_MAC), service);
    AddRow(grid, Label(this, 10014), m_EdMAC);
    auto* key = Text(this, "key", StringValidator(&m_Key));
    AddRow(grid, Label(this, 10148), key);
    auto* key2 = Text(this, "key2", StringValidator(&m_Key2));
    AddRow(grid, Label(this, 10015), key2);
    auto* ntp = Text(this, "ntp", StringValidator(&m_NTP));
    AddRow(grid, Label(this, 10016), ntp);

    wxArrayString zones;
    for (const TimeZoneName& z : NameTimeZone) zones.Add(_W_(z.m_Id));
    zones.Add(wxString());   // not chosen
    m_CbZone = new wxComboBox(this, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, zones,
                              wxCB_DROPDOWN | wxCB_READONLY, wxGenericValidator(&m_TimeZone));
    m_CbZone->SetName("zone");
    AddRow(grid, Label(this, 10017), m_CbZone);

    for (wxWindow* w : {static_cast<wxWindow*>(m_EdIdent), static_cast<wxWindow*>(m_EdMAC),
                        static_cast<wxWindow*>(ntp)})
        w->Bind(wxEVT_TEXT, &CSystem::OnEnChange, this);
    ping->Bind(wxEVT_CHECKBOX, &CSystem::OnEnChange, this);
    key->Bind(wxEVT_TEXT, &CSystem::OnEnChangeKey, this);
    key2->Bind(wxEVT_TEXT, &CSystem::OnEnChangeKey, this);
    // The zone combo has no binding: choosing a zone alone is not a change
    // that enables Save; KillActive still writes it.

    auto* group = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10018));
    wxStaticBox* box = group->GetStaticBox();
    auto* status = new wxFlexGridSizer(3, FromDIP(wxSize(8, 6)));
    status->AddGrowableCol(1);
    auto* zoneText = Text(box, "zoneText", wxGenericValidator(&m_ZoneText), wxTE_READONLY);
    m_EdLocalTime = Text(box, "localTime", wxGenericValidator(&m_LocalTime), wxTE_READONLY);
    auto* source = Text(box, "source", wxGenericValidator(&m_SourceText), wxTE_READONLY);
    m_BtnRefresh = new wxButton(box, wxID_ANY, _W_(10020));
    m_BtnRefresh->SetName("refresh");
    m_BtnRefresh->Bind(wxEVT_BUTTON, &CSystem::OnBnClickedRenewNtp, this);
    AddRow(status, Label(box, 10017), zoneText);
    status->AddSpacer(0);
    AddRow(status, Label(box, 10019), m_EdLocalTime);
    status->Add(m_BtnRefresh, 0, wxALIGN_CENTER_VERTICAL);
    AddRow(status, Label(box, 10021), source);
    status->AddSpacer(0);
    group->Add(status, 1, wxEXPAND | wxALL, FromDIP(6));

    auto* top = new wxBoxSizer(wxVERTICAL);
    top->Add(grid, 0, wxEXPAND | wxALL, FromDIP(10));
    top->Add(group, 0, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, FromDIP(10));
    SetSizer(top);
}

void CSystem::SetActive()
{
    const bool timeService = wxGetApp().m_FeatTimeZone;
    m_CbZone->Enable(timeService);
    m_BtnRefresh->Enable(timeService);

    m_Fields.Read(wxGetApp().m_NVRAM);
    m_EdIdent->SetBackgroundColour(m_Fields.m_IdentFallback ? m_ClrFallback : m_ClrSet);
    m_EdMAC->SetBackgroundColour(m_Fields.m_MACFallback ? m_ClrFallback : m_ClrSet);
    m_MAC = toWxString(m_Fields.m_MAC);
    m_Key = toWxString(m_Fields.m_Key);
    m_Key2 = toWxString(m_Fields.m_Key2);
    m_NTP = toWxString(m_Fields.m_NTP);
    m_TimeZone = m_Fields.m_Zone;

    const bool edit = EditIdent();
    m_EdIdent->Enable(edit);
    m_EdMAC->Enable(edit);

    TransferDataToWindow();
    AskTimeStatus();
}

bool CSystem::KillActive()
{
    if (!KillActiveBase()) return false;
    m_Fields.m_MAC = toDBString(m_MAC);
    m_Fields.m_Key = toDBString(m_Key);
    m_Fields.m_Key2 = toDBString(m_Key2);
    m_Fields.m_NTP = toDBString(m_NTP);
    m_Fields.m_Zone = m_TimeZone;
    const SystemFields::Result r = m_Fields.Write(wxGetApp().m_NVRAM, m_EdIdent->IsThisEnabled());
    // The key may be in the image even when a later check refuses.
    if (r.m_KeyWritten) wxGetApp().m_KeyEntered = true;
    if (r.m_Refused) {
        wxMessageBox(toWxString(r.m_Message), "Velkonf", wxOK | wxCENTRE);
        return false;
    }
    if (m_Changed) m_Fields.m_KeyChanged = false;
    return KillActiveEnd();
}

void CSystem::DecodeStatus()
{
    const SystemStatusText t =
        DecodeSystemStatus(m_StatusSys.m_Zone, m_StatusSys.m_NTP, m_StatusSys.m_Source, m_StatusSys.m_Quality);
    m_ZoneText = toWxString(t.m_Zone);
    m_LocalTime = toWxString(t.m_LocalTime);
    m_SourceText = toWxString(t.m_Source);
    if (t.m_Coloured) {
        const wxColour* band[] = {&m_ClrGood, &m_ClrFair, &m_ClrPoor, &m_ClrBad};
        m_EdLocalTime->SetBackgroundColour(*band[t.m_Quality]);
        m_EdLocalTime->SetForegroundColour(*wxBLACK);
        m_EdLocalTime->Refresh();
    }
    TransferDataToWindow();
}

void CSystem::OnEnChangeKey(wxCommandEvent&)
{
    m_Fields.m_KeyChanged = true;
    SetChanged();
}

void CSystem::OnBnClickedRenewNtp(wxCommandEvent&) { AskTimeStatus(); }
