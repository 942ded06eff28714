#include "pages/CMQTT.h"

#include "app/VelkonfApp.h"
#include "pages/PageLayout.h"
#include "pages/Validators.h"
#include "pages/WxText.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/valgen.h>

using page::AddRow;
using page::Label;
using page::Text;

namespace {

constexpr unsigned char kAskStatus = 1;
constexpr unsigned char kAskReconnect = 0x80;   // the client reconnects; the image is not touched

}  // namespace

CMQTT::CMQTT(wxWindow* parent) : PropertySheetPanel(parent) {}

void CMQTT::Init()
{
    const int gap = FromDIP(8);
    wxFlexGridSizer* grid = page::Grid(this);
    auto check = [&](unsigned short label, const char* name, bool* value) {
        auto* c = new wxCheckBox(this, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 0,
                                 wxGenericValidator(value));
        c->SetName(name);
        c->Bind(wxEVT_CHECKBOX, &CMQTT::OnEnChange, this);
        AddRow(grid, Label(this, label), c);
    };
    auto qos = [&](unsigned short label, const char* name, int* value) {
        const wxString levels[] = {"0", "1", "2"};
        auto* c = new wxComboBox(this, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 3, levels,
                                 wxCB_DROPDOWN | wxCB_READONLY, wxGenericValidator(value));
        c->SetName(name);
        c->Bind(wxEVT_COMBOBOX, &CMQTT::OnEnChange, this);
        AddRow(grid, Label(this, label), c);
    };
    auto text = [&](unsigned short label, const char* name, const wxValidator& validator) {
        auto* t = Text(this, name, validator);
        t->Bind(wxEVT_TEXT, &CMQTT::OnEnChange, this);
        AddRow(grid, Label(this, label), t);
    };
    check(10179, "enable", &m_Fields.m_Enable);
    check(10180, "retained", &m_Fields.m_Retained);
    qos(10181, "qosPublish", &m_Fields.m_QosPub);
    qos(10182, "qosSubscribe", &m_Fields.m_QosSub);
    text(10183, "broker", StringValidator(&m_Broker));
    text(10184, "port", IntValidator(&m_Fields.m_Port, wxString(), 1024, 65534));
    check(10185, "ssl", &m_Fields.m_SSL);
    text(10186, "login", StringValidator(&m_Login));
    text(10187, "password", StringValidator(&m_Password));
    text(10188, "topic", StringValidator(&m_Topic));

    auto* statusGroup = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10052));
    m_StatusBox = statusGroup->GetStaticBox();
    wxWindow* box = m_StatusBox;
    wxFlexGridSizer* s = page::Grid(this);
    const long ro = wxTE_READONLY;
    auto row = [&](unsigned short label, const char* name, const wxValidator& validator) {
        AddRow(s, Label(box, label), Text(box, name, validator, ro));
    };
    auto button = [&](unsigned short label, const char* name, void (CMQTT::*handler)(wxCommandEvent&)) {
        auto* b = new wxButton(box, wxID_ANY, _W_(label));
        b->SetName(name);
        b->Bind(wxEVT_BUTTON, handler, this);
        s->AddSpacer(0);
        s->Add(b, 0, wxALIGN_RIGHT);
    };
    row(10052, "onOff", wxGenericValidator(&m_OnOff));
    row(10189, "brokerIp", IPv4Validator(&m_StatusMQTT.m_Broker));
    row(10184, "brokerPort", wxGenericValidator(&m_StatusMQTT.m_PortBroker));
    row(10190, "clientPort", wxGenericValidator(&m_StatusMQTT.m_PortClient));
    row(10191, "socket", wxGenericValidator(&m_Socket));
    row(10192, "connection", wxGenericValidator(&m_Connection));
    row(10193, "reconnects", wxGenericValidator(&m_StatusMQTT.m_Reconnects));
    button(10194, "reconnect", &CMQTT::OnBnClickedReconnectMqtt);
    row(10195, "queue", wxGenericValidator(&m_StatusMQTT.m_Queue));
    row(10196, "received", wxGenericValidator(&m_StatusMQTT.m_Received));
    row(10197, "sent", wxGenericValidator(&m_StatusMQTT.m_Sent));
    button(10020, "refresh", &CMQTT::OnBnClickedRefreshMqtt);
    statusGroup->Add(s, 1, wxEXPAND | wxALL, FromDIP(4));

    auto* top = new wxBoxSizer(wxHORIZONTAL);
    top->Add(grid, 1, wxEXPAND | wxALL, gap);
    top->Add(statusGroup, 1, wxEXPAND | wxTOP | wxRIGHT | wxBOTTOM, gap);
    SetSizer(top);
}

void CMQTT::SetActive()
{
    if (m_Fields.Read(wxGetApp().m_NVRAM)) m_Changed = true;
    m_Broker = toWxString(m_Fields.m_Broker);
    m_Login = toWxString(m_Fields.m_Login);
    m_Password = toWxString(m_Fields.m_Password);
    m_Topic = toWxString(m_Fields.m_Topic);
    TransferDataToWindow();
    DataToPanel();
    page::Ask(CPackV7::askMQTT, kAskStatus);
}

bool CMQTT::KillActive()
{
    if (!KillActiveBase()) return false;
    m_Fields.m_Broker = toDBString(m_Broker);
    m_Fields.m_Login = toDBString(m_Login);
    m_Fields.m_Password = toDBString(m_Password);
    m_Fields.m_Topic = toDBString(m_Topic);
    m_Fields.Write(wxGetApp().m_NVRAM);
    return KillActiveEnd();
}

void CMQTT::DataToPanel()
{
    m_OnOff = toWxString(m_StatusMQTT.m_OnOff);
    m_Socket = toWxString(m_StatusMQTT.m_Socket);
    m_Connection = toWxString(m_StatusMQTT.m_Connection);
    m_StatusBox->TransferDataToWindow();
}

void CMQTT::OnBnClickedRefreshMqtt(wxCommandEvent&) { page::Ask(CPackV7::askMQTT, kAskStatus); }
void CMQTT::OnBnClickedReconnectMqtt(wxCommandEvent&) { page::Ask(CPackV7::askMQTT, kAskReconnect); }
