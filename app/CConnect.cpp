#include "app/CConnect.h"

#include "app/VelkonfApp.h"
#include "base/IPv6.h"
#include "pages/COnOffPassWD.h"
#include "pages/Validators.h"
#include "pages/WxText.h"

#include <wx/button.h>
#include <wx/combobox.h>
#include <wx/config.h>
#include <wx/progdlg.h>
#include <wx/radiobut.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/valgen.h>

#include <dirent.h>

#include <memory>
#include <vector>

namespace {
constexpr int kTimerId = 6000;
constexpr int kErrWrapPixels = 644;
const char kSerialFolder[] = "/dev/serial/by-id/";
}  // namespace

CConnect::CConnect(wxWindow* parent) : PropertySheetPanel(parent), m_Timer(this, kTimerId)
{
    VelkonfApp& app = wxGetApp();
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    m_ComPort = cfg->Read("Port", wxString());
    app.m_TypConnect = static_cast<int>(cfg->ReadLong("TypConnect", 0));
    m_IP = IP6FromStr(cfg->Read("IPAddr", wxString()).ToStdString());
    m_Port = static_cast<int>(cfg->ReadLong("IPPort", 46000));
    m_Ident = static_cast<int>(cfg->ReadLong("Ident", 2));
    // An address on the command line wins over the settings.
    if (!isNulIPv6(app.m_IP)) {
        app.m_TypConnect = app.m_UseCloudKey ? 3 : 1;
        m_IP = app.m_IP;
        m_Port = app.m_Port;
        m_Ident = app.m_Ident;
    }
}

CConnect::~CConnect() { StopProgress(); }

wxArrayString CConnect::ListSerialPorts(const char* folder)
{
    wxArrayString names;
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder), &closedir);
    if (!dir) return names;
    while (dirent* e = readdir(dir.get())) {
        wxString name(e->d_name);
        if (name != "." && name != "..") names.Add(name);
    }
    names.Sort();
    return names;
}

void CConnect::Init()
{
    VelkonfApp& app = wxGetApp();
    auto* top = new wxBoxSizer(wxVERTICAL);

    auto* method = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10136));
    m_RadioUSB = new wxRadioButton(method->GetStaticBox(), wxID_ANY, _W_(10137), wxDefaultPosition,
                                   wxDefaultSize, wxRB_GROUP);
    m_RadioIP = new wxRadioButton(method->GetStaticBox(), wxID_ANY, _W_(10138));
    m_RadioCloud = new wxRadioButton(method->GetStaticBox(), wxID_ANY, _W_(10139));
    m_RadioCloudKey = new wxRadioButton(method->GetStaticBox(), wxID_ANY, _W_(10140));
    m_RadioUSB->SetName("radioUSB");
    m_RadioIP->SetName("radioIP");
    m_RadioCloud->SetName("radioCloud");
    m_RadioCloudKey->SetName("radioCloudKey");
    for (wxRadioButton* r : {m_RadioUSB, m_RadioIP, m_RadioCloud, m_RadioCloudKey}) method->Add(r, 0, wxALL, 4);
    m_RadioUSB->Bind(wxEVT_RADIOBUTTON, &CConnect::OnBnClickedSelPort, this);
    m_RadioIP->Bind(wxEVT_RADIOBUTTON, &CConnect::OnBnClickedSelIp, this);
    m_RadioCloud->Bind(wxEVT_RADIOBUTTON, &CConnect::OnBnClickedSelCloud, this);
    m_RadioCloudKey->Bind(wxEVT_RADIOBUTTON, &CConnect::OnBnClickedSelCloudKey, this);
    wxRadioButton* chosen[] = {m_RadioUSB, m_RadioIP, m_RadioCloud, m_RadioCloudKey};
    if (app.m_TypConnect >= 0 && app.m_TypConnect < 4) chosen[app.m_TypConnect]->SetValue(true);
    top->Add(method, 0, wxEXPAND | wxALL, 6);

    m_BtnConnect = new wxButton(this, wxID_ANY, _W_(10010));
    m_BtnConnect->SetName("connect");
    top->Add(m_BtnConnect, 0, wxALL, 6);

    auto* usb = new wxStaticBoxSizer(wxHORIZONTAL, this, _W_(10142));
    usb->Add(new wxStaticText(usb->GetStaticBox(), wxID_ANY, _W_(10143)), 0, wxALIGN_CENTER_VERTICAL | wxALL, 4);
    m_ComboPort = new wxComboBox(usb->GetStaticBox(), wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(420, -1),
                                 ListSerialPorts(kSerialFolder), wxCB_DROPDOWN | wxCB_READONLY);
    m_ComboPort->SetName("port");
    m_ComboPort->SetStringSelection(m_ComPort);
    m_ComboPort->Bind(wxEVT_COMBOBOX, &CConnect::OnCbnDropdownComPort, this);
    usb->Add(m_ComboPort, 1, wxEXPAND | wxALL, 4);
    top->Add(usb, 0, wxEXPAND | wxALL, 6);

    auto* ip = new wxStaticBoxSizer(wxVERTICAL, this, _W_(10144));
    auto* grid = new wxFlexGridSizer(2, 4, 6);
    wxWindow* box = ip->GetStaticBox();
    auto label = [&](unsigned short id) {
        grid->Add(new wxStaticText(box, wxID_ANY, _W_(id)), 0, wxALIGN_CENTER_VERTICAL | wxALIGN_RIGHT);
    };
    label(10145);
    m_EditIdent = new wxTextCtrl(box, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize, 0,
                                 wxGenericValidator(&m_Ident));
    m_EditIdent->SetName("ident");
    grid->Add(m_EditIdent);
    label(10013);
    m_EditIP = new wxTextCtrl(box, wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(224, -1), 0,
                              IPv6Validator(&m_IP));
    m_EditIP->SetName("address");
    grid->Add(m_EditIP);
    label(10147);
    m_EditPort = new wxTextCtrl(box, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize, 0,
                                wxGenericValidator(&m_Port));
    m_EditPort->SetName("port number");
    grid->Add(m_EditPort);
    label(10148);
    auto* keyRow = new wxBoxSizer(wxHORIZONTAL);
    m_EditKey = new wxTextCtrl(box, wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(224, -1), wxTE_PASSWORD,
                               wxGenericValidator(&m_Key));
    m_EditKey->SetName("key");
    m_ShowKey = new COnOffPassWD(box, m_EditKey);
    keyRow->Add(m_EditKey, 0, wxALIGN_CENTER_VERTICAL);
    keyRow->Add(m_ShowKey, 0, wxLEFT, 4);
    grid->Add(keyRow);
    ip->Add(grid, 0, wxALL, 4);
    top->Add(ip, 0, wxEXPAND | wxALL, 6);

    m_TextErr = new wxStaticText(this, wxID_ANY, wxEmptyString);
    m_TextErr->SetName("state");
    wxFont font = m_TextErr->GetFont();
    font.SetPointSize(20);
    font.SetWeight(wxFONTWEIGHT_BOLD);
    m_TextErr->SetFont(font);
    top->Add(m_TextErr, 0, wxEXPAND | wxALL, 6);

    SetSizerAndFit(top);
    TransferDataToWindow();
    Enable();
}

void CConnect::Enable()
{
    int typ = wxGetApp().m_TypConnect;
    m_ComboPort->Enable(typ == 0);
    m_EditIP->Enable(typ == 1);
    m_EditPort->Enable(typ == 1);
    m_EditKey->Enable(typ == 1 || typ == 3);
    m_ShowKey->Enable(typ == 1 || typ == 3);
    m_EditIdent->Enable(typ > 0);
}

std::vector<wxWindow*> CConnect::Inputs() const
{
    return {m_RadioUSB, m_RadioIP,   m_RadioCloud, m_RadioCloudKey, m_BtnConnect, m_ComboPort,
            m_EditIP,   m_EditPort,  m_EditKey,    m_ShowKey,       m_EditIdent};
}

void CConnect::StopProgress()
{
    m_Timer.Stop();
    if (m_Progress) {
        m_Progress->Destroy();
        m_Progress = nullptr;
    }
    m_Tick = 0;
}

void CConnect::EnableInput()
{
    for (wxWindow* w : Inputs()) w->Enable();
    StopProgress();
    Enable();
}

void CConnect::DisableInput()
{
    for (wxWindow* w : Inputs()) w->Disable();
}

void CConnect::EnableButton()
{
    m_BtnConnect->Enable();
    StopProgress();
}

void CConnect::ShowErr(const wxString& text)
{
    m_TextErr->SetLabel(text);
    m_TextErr->Wrap(kErrWrapPixels);
    Layout();
}

void CConnect::ClrErr() { m_TextErr->SetLabel(wxEmptyString); }

void CConnect::SelectMethod(int typConnect)
{
    wxGetApp().m_TypConnect = typConnect;
    Enable();
}

void CConnect::OnBnClickedSelPort(wxCommandEvent&) { SelectMethod(0); }
void CConnect::OnBnClickedSelIp(wxCommandEvent&) { SelectMethod(1); }
void CConnect::OnBnClickedSelCloud(wxCommandEvent&) { SelectMethod(2); }
void CConnect::OnBnClickedSelCloudKey(wxCommandEvent&) { SelectMethod(3); }

void CConnect::OnCbnDropdownComPort(wxCommandEvent&)
{
    if (m_ComboPort->GetSelection() != wxNOT_FOUND) m_ComPort = m_ComboPort->GetStringSelection();
}
