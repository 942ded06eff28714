#include "pages/CWiFi.h"

#include "app/VelkonfApp.h"
#include "pages/PageLayout.h"
#include "pages/Validators.h"
#include "pages/WxText.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/valgen.h>

using page::AddRow;
using page::Label;
using page::Text;

namespace {

constexpr unsigned char kAskStatus = 2;   // the data byte of every askWiFi

wxCheckBox* Check(wxWindow* parent, const char* name, bool* value)
{
    auto* c = new wxCheckBox(parent, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 0,
                             wxGenericValidator(value));
    c->SetName(name);
    return c;
}

}  // namespace

CWiFi::CWiFi(wxWindow* parent) : PropertySheetPanel(parent) {}

void CWiFi::Init()
{
    const int gap = FromDIP(8);
    const int pad = FromDIP(4);

    // External network.
    auto* extGroup = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10061));
    wxWindow* ext = extGroup->GetStaticBox();
    wxFlexGridSizer* g = page::Grid(this);
    auto* extEnable = Check(ext, "extEnable", &m_Fields.m_ExtEnable);
    extEnable->Bind(wxEVT_CHECKBOX, &CWiFi::OnBnClickedEnablExtr, this);
    m_CbSpecified = Check(ext, "specified", &m_Fields.m_Specified);
    m_CbSpecified->Bind(wxEVT_CHECKBOX, &CWiFi::OnEnChange, this);
    m_EdExtName = Text(ext, "extName", StringValidator(&m_ExtName));
    m_EdExtPass = Text(ext, "extPassword", StringValidator(&m_ExtPass));
    AddRow(g, Label(ext, 10062), extEnable);
    AddRow(g, Label(ext, 10063), m_CbSpecified);
    AddRow(g, Label(ext, 10064), m_EdExtName);
    AddRow(g, Label(ext, 10040), m_EdExtPass);
    extGroup->Add(g, 0, wxEXPAND | wxALL, pad);

    // Static connection: shown, not typed; written back as read.
    auto* staticGroup = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10067));
    wxWindow* st = staticGroup->GetStaticBox();
    g = page::Grid(this);
    m_CbStatic = Check(st, "static", &m_Fields.m_Static);
    m_CbStatic->Bind(wxEVT_CHECKBOX, &CWiFi::OnBnClickedEnablStatic, this);
    AddRow(g, Label(st, 10141), m_CbStatic);
    uint32_t* addr[4] = {&m_Fields.m_IP, &m_Fields.m_Mask, &m_Fields.m_Gate, &m_Fields.m_DNS};
    const unsigned short addrText[4] = {10013, 10049, 10050, 10051};
    const char* addrName[4] = {"staticIp", "staticMask", "staticGateway", "staticDns"};
    for (int i = 0; i < 4; ++i) {
        m_EdStatic[i] = Text(st, addrName[i], IPv4Validator(addr[i]), wxTE_READONLY);
        AddRow(g, Label(st, addrText[i]), m_EdStatic[i]);
    }
    staticGroup->Add(g, 0, wxEXPAND | wxALL, pad);

    // Internal network.
    auto* intGroup = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10146));
    wxWindow* in = intGroup->GetStaticBox();
    g = page::Grid(this);
    auto* intEnable = Check(in, "intEnable", &m_Fields.m_IntEnable);
    intEnable->Bind(wxEVT_CHECKBOX, &CWiFi::OnBnClickedEnablIntr, this);
    auto* intName = Text(in, "intName", StringValidator(&m_IntName), wxTE_READONLY);
    m_EdIntPass = Text(in, "intPassword", StringValidator(&m_IntPass));
    m_EdChannel = Text(in, "channel", IntValidator(&m_Fields.m_Channel));
    AddRow(g, Label(in, 10062), intEnable);
    AddRow(g, Label(in, 10064), intName);
    AddRow(g, Label(in, 10040), m_EdIntPass);
    AddRow(g, Label(in, 10149), m_EdChannel);
    intGroup->Add(g, 0, wxEXPAND | wxALL, pad);

    for (wxTextCtrl* t : {m_EdExtName, m_EdExtPass, intName, m_EdIntPass}) t->SetMaxLength(31);
    for (wxTextCtrl* t : {m_EdExtName, m_EdExtPass, m_EdStatic[0], m_EdStatic[1], m_EdStatic[2], m_EdStatic[3],
                          intName, m_EdIntPass, m_EdChannel})
        t->Bind(wxEVT_TEXT, &CWiFi::OnEnChange, this);

    // Status: two label-value pairs a row, to fit beside the settings.
    auto* statusGroup = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10052));
    m_StatusBox = statusGroup->GetStaticBox();
    wxWindow* box = m_StatusBox;
    auto* s = new wxFlexGridSizer(2, FromDIP(wxSize(8, 5)));
    s->AddGrowableCol(1);
    const long ro = wxTE_READONLY;
    AddRow(s, Label(box, 10150), Text(box, "module", wxGenericValidator(&m_Module), ro));
    AddRow(s, Label(box, 10151), Text(box, "mode", wxGenericValidator(&m_Mode), ro));
    AddRow(s, Label(box, 10007), Text(box, "connection", wxGenericValidator(&m_Connection), ro));
    AddRow(s, Label(box, 10013), Text(box, "ipStatus", IPv4Validator(&m_StatusWiFi.m_Value[0]), ro));
    AddRow(s, Label(box, 10049), Text(box, "maskStatus", IPv4Validator(&m_StatusWiFi.m_Value[1]), ro));
    AddRow(s, Label(box, 10050), Text(box, "gatewayStatus", IPv4Validator(&m_StatusWiFi.m_Value[2]), ro));
    AddRow(s, Label(box, 10014), Text(box, "macStatus", wxGenericValidator(&m_MAC), ro));
    AddRow(s, Label(box, 10152), Text(box, "rssi", wxGenericValidator(&m_RSSI), ro));
    auto* refresh = new wxButton(box, wxID_ANY, _W_(10020));
    refresh->SetName("refresh");
    refresh->Bind(wxEVT_BUTTON, &CWiFi::OnBnClickedRenewInterWifi, this);
    statusGroup->Add(s, 0, wxEXPAND | wxALL, pad);
    statusGroup->Add(refresh, 0, wxALIGN_RIGHT | wxLEFT | wxRIGHT | wxBOTTOM, pad);

    auto* left = new wxBoxSizer(wxVERTICAL);
    left->Add(extGroup, 0, wxEXPAND | wxBOTTOM, gap);
    left->Add(staticGroup, 0, wxEXPAND);
    auto* right = new wxBoxSizer(wxVERTICAL);
    right->Add(intGroup, 0, wxEXPAND | wxBOTTOM, gap);
    right->Add(statusGroup, 0, wxEXPAND);
    auto* top = new wxBoxSizer(wxHORIZONTAL);
    top->Add(left, 1, wxEXPAND | wxALL, gap);
    top->Add(right, 1, wxEXPAND | wxTOP | wxRIGHT | wxBOTTOM, gap);
    SetSizer(top);
}

void CWiFi::SetActive()
{
    if (m_Fields.Read(wxGetApp().m_NVRAM)) m_Changed = true;
    m_ExtName = toWxString(m_Fields.m_ExtName);
    m_ExtPass = toWxString(m_Fields.m_ExtPass);
    m_IntName = toWxString(m_Fields.m_IntName);
    m_IntPass = toWxString(m_Fields.m_IntPass);
    TransferDataToWindow();
    ApplyEnabled();
    page::Ask(CPackV7::askWiFi, kAskStatus);
}

bool CWiFi::KillActive()
{
    if (!KillActiveBase()) return false;
    m_Fields.m_ExtName = toDBString(m_ExtName);
    m_Fields.m_ExtPass = toDBString(m_ExtPass);
    m_Fields.m_IntName = toDBString(m_IntName);
    m_Fields.m_IntPass = toDBString(m_IntPass);
    const FieldsResult r = m_Fields.Write(wxGetApp().m_NVRAM);
    if (r.m_Refused) {
        wxMessageBox(toWxString(r.m_Message), "Velkonf", wxOK | wxCENTRE);
        return false;
    }
    return KillActiveEnd();
}

void CWiFi::DecodeStatus()
{
    const WiFiStatusText t = DecodeWiFiStatus(m_StatusWiFi);
    m_StatusBox->SetLabel(_W_(10052) + toWxString(t.m_Version));
    m_Module = toWxString(t.m_Module);
    m_Mode = toWxString(t.m_Mode);
    m_Connection = toWxString(t.m_Connection);
    m_MAC = toWxString(t.m_MAC);
    m_RSSI = toWxString(t.m_RSSI);
}

void CWiFi::DataToPanel() { m_StatusBox->TransferDataToWindow(); }

void CWiFi::ApplyEnabled()
{
    const bool ext = m_Fields.m_ExtEnable, in = m_Fields.m_IntEnable;
    for (wxWindow* w : {static_cast<wxWindow*>(m_CbSpecified), static_cast<wxWindow*>(m_CbStatic),
                        static_cast<wxWindow*>(m_EdExtName), static_cast<wxWindow*>(m_EdExtPass)})
        w->Enable(ext);
    for (wxTextCtrl* t : m_EdStatic) t->Enable(ext && m_Fields.m_Static);
    m_EdIntPass->Enable(in);
    m_EdChannel->Enable(in);
}

void CWiFi::Toggled(bool& member, wxCommandEvent& event)
{
    member = event.IsChecked();
    ApplyEnabled();
    SetChanged();
}

void CWiFi::OnBnClickedEnablExtr(wxCommandEvent& event) { Toggled(m_Fields.m_ExtEnable, event); }
void CWiFi::OnBnClickedEnablStatic(wxCommandEvent& event) { Toggled(m_Fields.m_Static, event); }
void CWiFi::OnBnClickedEnablIntr(wxCommandEvent& event) { Toggled(m_Fields.m_IntEnable, event); }

void CWiFi::OnBnClickedRenewInterWifi(wxCommandEvent&) { page::Ask(CPackV7::askWiFi, kAskStatus); }
