#include "pages/COwn.h"

#include "app/VelkonfApp.h"
#include "pages/PageLayout.h"
#include "pages/Validators.h"
#include "pages/WxText.h"

#include <wx/button.h>
#include <wx/radiobut.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/valgen.h>

using page::AddRow;
using page::Label;
using page::Text;

COwn::COwn(wxWindow* parent) : PropertySheetPanel(parent) {}

void COwn::Init()
{
    const int gap = FromDIP(8);
    auto* typeGroup = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10033));
    wxStaticBox* typeBox = typeGroup->GetStaticBox();
    const unsigned short typeText[3] = {10028, 10034, 10030};   // "DHCP", "static", "PPPoE"
    const char* typeName[3] = {"dhcp", "static", "pppoe"};
    void (COwn::*handler[3])(wxCommandEvent&) = {&COwn::OnBnClickedDhcp, &COwn::OnBnClickedStaticIp,
                                                   &COwn::OnBnClickedPppoe};
    for (int i = 0; i < 3; ++i) {
        m_RbType[i] = new wxRadioButton(typeBox, wxID_ANY, _W_(typeText[i]), wxDefaultPosition, wxDefaultSize,
                                        i == 0 ? wxRB_GROUP : 0);
        m_RbType[i]->SetName(typeName[i]);
        m_RbType[i]->Bind(wxEVT_RADIOBUTTON, handler[i], this);
        typeGroup->Add(m_RbType[i], 0, wxALL, FromDIP(3));
    }

    wxFlexGridSizer* grid = page::Grid(this);
    auto* portData = Text(this, "portData", IntValidator(&m_Fields.m_PortData));
    auto* portVoice = Text(this, "portVoice", IntValidator(&m_Fields.m_PortVoice));
    m_EdLogin = Text(this, "login", StringValidator(&m_Login));
    m_EdPassword = Text(this, "password", StringValidator(&m_Password));
    AddRow(grid, Label(this, 10035), portData);
    AddRow(grid, Label(this, 10038), portVoice);
    AddRow(grid, Label(this, 10039), m_EdLogin);
    AddRow(grid, Label(this, 10040), m_EdPassword);
    uint32_t* addr[4] = {&m_Fields.m_IP, &m_Fields.m_Mask, &m_Fields.m_Gate, &m_Fields.m_DNS};
    const unsigned short addrText[4] = {10013, 10049, 10050, 10051};
    const char* addrName[4] = {"ip", "mask", "gateway", "dns"};
    for (int i = 0; i < 4; ++i) {
        m_EdAddr[i] = Text(this, addrName[i], IPv4Validator(addr[i]));
        AddRow(grid, Label(this, addrText[i]), m_EdAddr[i]);
    }
    for (wxTextCtrl* t : {portData, portVoice, m_EdLogin, m_EdPassword, m_EdAddr[0], m_EdAddr[1], m_EdAddr[2],
                          m_EdAddr[3]})
        t->Bind(wxEVT_TEXT, &COwn::OnEnChange, this);

    auto* left = new wxBoxSizer(wxVERTICAL);
    left->Add(typeGroup, 0, wxEXPAND | wxBOTTOM, gap);
    left->Add(grid, 0, wxEXPAND);

    auto* statusGroup = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10052));
    m_StatusBox = statusGroup->GetStaticBox();
    wxWindow* box = m_StatusBox;
    wxFlexGridSizer* status = page::Grid(this);
    auto row = [&](wxWindow* label, wxWindow* control) { AddRow(status, label ? label : Label(box, wxString()), control); };
    const long ro = wxTE_READONLY;
    row(nullptr, Text(box, "cable", wxGenericValidator(&m_CableText), ro));
    row(Label(box, 10014), Text(box, "macStatus", wxGenericValidator(&m_MACText), ro));
    row(Label(box, 10033), Text(box, "typeStatus", wxGenericValidator(&m_TypeText), ro));
    row(nullptr, Text(box, "state", wxGenericValidator(&m_StateText), ro));
    row(Label(box, 10035), Text(box, "portDataStatus", wxGenericValidator(&m_StatusEth.m_PortData), ro));
    auto* refresh = new wxButton(box, wxID_ANY, _W_(10020));
    refresh->SetName("refresh");
    refresh->Bind(wxEVT_BUTTON, &COwn::OnBnClickedOwnRefresh, this);
    status->AddSpacer(0);
    status->Add(refresh, 0, wxALIGN_RIGHT);
    row(Label(box, 10038), Text(box, "portVoiceStatus", wxGenericValidator(&m_StatusEth.m_PortVoice), ro));
    row(Label(box, 10013), Text(box, "ipStatus", IPv4Validator(&m_StatusEth.m_IP), ro));
    row(Label(box, 10049), Text(box, "maskStatus", IPv4Validator(&m_StatusEth.m_Mask), ro));
    row(Label(box, 10050), Text(box, "gatewayStatus", IPv4Validator(&m_StatusEth.m_Gate), ro));
    row(Label(box, 10053), Text(box, "dhcpStatus", IPv4Validator(&m_StatusEth.m_DHCP), ro));
    row(Label(box, 10051), Text(box, "dnsStatus", IPv4Validator(&m_StatusEth.m_DNS), ro));
    statusGroup->Add(status, 1, wxEXPAND | wxALL, FromDIP(6));

    auto* top = new wxBoxSizer(wxHORIZONTAL);
    // The status texts are the long ones ("Cable on 100BASE-T2 full duplex").
    top->Add(left, 1, wxEXPAND | wxALL, gap);
    top->Add(statusGroup, 2, wxEXPAND | wxTOP | wxRIGHT | wxBOTTOM, gap);
    SetSizer(top);
}

void COwn::SetActive()
{
    m_RbType[2]->Enable(wxGetApp().IsCM3OrV7());
    // A replaced field makes the image differ from the unit: Save on leaving.
    if (m_Fields.Read(wxGetApp().m_NVRAM)) m_Changed = true;
    // A stored PPPoE stays checked even where its button is disabled.
    m_RbType[m_Fields.m_Type]->SetValue(true);
    m_Login = toWxString(m_Fields.m_Login);
    m_Password = toWxString(m_Fields.m_Password);
    ApplyEnabled();
    StatusToMembers();
    TransferDataToWindow();
}

bool COwn::KillActive()
{
    if (!KillActiveBase()) return false;
    m_Fields.m_Login = toDBString(m_Login);
    m_Fields.m_Password = toDBString(m_Password);
    m_Fields.Write(wxGetApp().m_NVRAM);
    return KillActiveEnd();
}

void COwn::StatusToMembers()
{
    m_CableText = toWxString(m_StatusEth.m_CableText);
    m_MACText = toWxString(m_StatusEth.m_MAC);
    m_TypeText = toWxString(m_StatusEth.m_TypeText);
    m_StateText = m_StatusEth.m_State < 0 ? wxString() : toWxString(DecodeStatusConnect(m_StatusEth.m_State));
}

void COwn::DataToPanel()
{
    StatusToMembers();
    m_StatusBox->TransferDataToWindow();
}

void COwn::Clear()
{
    m_StatusEth = CStatusEth();
    StatusToMembers();
    if (m_StatusBox) m_StatusBox->TransferDataToWindow();
}

void COwn::ApplyEnabled()
{
    m_EdLogin->Enable(m_Fields.m_Type == 2);
    m_EdPassword->Enable(m_Fields.m_Type == 2);
    for (wxTextCtrl* t : m_EdAddr) t->Enable(m_Fields.m_Type == 1);
}

void COwn::SetType(int type)
{
    m_Fields.m_Type = type;
    ApplyEnabled();
    SetChanged();
}

void COwn::OnBnClickedDhcp(wxCommandEvent&) { SetType(0); }
void COwn::OnBnClickedStaticIp(wxCommandEvent&) { SetType(1); }
void COwn::OnBnClickedPppoe(wxCommandEvent&) { SetType(2); }

void COwn::OnBnClickedOwnRefresh(wxCommandEvent&) { page::Ask(CPackV7::askStatus); }
