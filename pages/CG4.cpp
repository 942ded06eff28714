#include "pages/CG4.h"

#include "app/VelkonfApp.h"
#include "pages/PageLayout.h"
#include "pages/Validators.h"
#include "pages/WxText.h"

#include <wx/button.h>
#include <wx/checkbox.h>
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
constexpr unsigned char kAskRestart = 0x80;   // restarts the module; the image is not touched

}  // namespace

CG4::CG4(wxWindow* parent) : PropertySheetPanel(parent) {}

void CG4::Init()
{
    const int gap = FromDIP(8);
    wxFlexGridSizer* grid = page::Grid(this);
    auto* apn = Text(this, "apn", StringValidator(&m_APN));
    apn->Bind(wxEVT_TEXT, &CG4::OnEnChange, this);
    AddRow(grid, Label(this, 10169), apn);
    auto* roaming = new wxCheckBox(this, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 0,
                                   wxGenericValidator(&m_Fields.m_Roaming));
    roaming->SetName("roaming");
    roaming->Bind(wxEVT_CHECKBOX, &CG4::OnEnChange, this);
    AddRow(grid, Label(this, 10170), roaming);

    auto* statusGroup = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10052));
    m_StatusBox = statusGroup->GetStaticBox();
    wxWindow* box = m_StatusBox;
    wxFlexGridSizer* s = page::Grid(this, 3);
    const long ro = wxTE_READONLY;
    auto row = [&](unsigned short label, const char* name, wxString* value, wxButton* button = nullptr) {
        AddRow(s, Label(box, label), Text(box, name, wxGenericValidator(value), ro));
        if (button) s->Add(button, 0, wxEXPAND);
        else s->AddSpacer(0);
    };
    auto* refresh = new wxButton(box, wxID_ANY, _W_(10020));
    refresh->SetName("refresh");
    refresh->Bind(wxEVT_BUTTON, &CG4::OnBnClickedRefresh, this);
    auto* restart = new wxButton(box, wxID_ANY, _W_(10174));
    restart->SetName("restart");
    restart->Bind(wxEVT_BUTTON, &CG4::OnBnClickedRestart, this);
    row(10171, "version", &m_Version);
    row(10172, "imei", &m_IMEI, refresh);
    row(10173, "sim", &m_SIM, restart);
    row(10175, "module", &m_Module);
    row(10176, "info", &m_Info);
    row(10177, "signal", &m_Signal);
    row(10178, "registration", &m_Registration);
    row(10013, "address", &m_Address);
    statusGroup->Add(s, 1, wxEXPAND | wxALL, FromDIP(6));

    auto* top = new wxBoxSizer(wxVERTICAL);
    top->Add(grid, 0, wxEXPAND | wxALL, gap);
    top->Add(statusGroup, 0, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, gap);
    SetSizer(top);
}

void CG4::SetActive()
{
    m_Fields.Read(wxGetApp().m_NVRAM);
    m_APN = toWxString(m_Fields.m_APN);
    TransferDataToWindow();
    DataToPanel();
    page::Ask(CPackV7::askG4, kAskStatus);
}

bool CG4::KillActive()
{
    if (!KillActiveBase()) return false;
    m_Fields.m_APN = toDBString(m_APN);
    m_Fields.Write(wxGetApp().m_NVRAM);
    return KillActiveEnd();
}

void CG4::DataToPanel()
{
    const CStatusG4& s = m_StatusG4;
    m_Version = wxString(s.m_Version);
    m_IMEI = wxString(s.m_IMEI);
    m_SIM = wxString(s.m_SIM);
    m_Module = toWxString(s.m_Module);
    m_Info = wxString(s.m_Info);
    m_Signal = toWxString(s.m_Signal);
    m_Registration = toWxString(s.m_Registration);
    m_Address = wxString(s.m_Address);
    m_StatusBox->TransferDataToWindow();
}

void CG4::OnBnClickedRefresh(wxCommandEvent&) { page::Ask(CPackV7::askG4, kAskStatus); }
void CG4::OnBnClickedRestart(wxCommandEvent&) { page::Ask(CPackV7::askG4, kAskRestart); }
