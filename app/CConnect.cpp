#include "app/CConnect.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfEvents.h"
#include "app/VelkonfFrame.h"
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "pages/COwn.h"
#include "unit/ConnectRules.h"
#include "pages/COnOffPassWD.h"
#include "pages/Validators.h"
#include "pages/WxText.h"

#include <wx/button.h>
#include <wx/combobox.h>
#include <wx/msgdlg.h>
#include <wx/config.h>
#include <wx/progdlg.h>
#include <wx/radiobut.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/valgen.h>

#include <dirent.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <vector>

namespace {
constexpr int kTimerId = 6000;
constexpr int kErrWrapPixels = 644;
constexpr int kTickMs = 500;
constexpr int kTickLimit = 23;      // the attempt ends at this tick
constexpr int kProgressMax = 22;
constexpr int kCloudWaitSeconds = 9;   // for the person at the unit
const char kSerialFolder[] = "/dev/serial/by-id/";
}  // namespace

CConnect::CConnect(wxWindow* parent) : PropertySheetPanel(parent), m_Timer(this, kTimerId)
{
    Bind(wxEVT_TIMER, &CConnect::OnTimerConnect, this, kTimerId);
    Bind(ID_CMD_CONNECT, &CConnect::OnBnClickedConnect, this);
    VelkonfApp& app = wxGetApp();
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    m_ComPort = cfg->Read("Port", wxString());
    app.m_TypConnect = static_cast<int>(cfg->ReadLong("TypConnect", typConnectUSB));
    // A hand-edited method outside the four reads as USB.
    if (app.m_TypConnect < typConnectUSB || app.m_TypConnect > typConnectCloudKey) app.m_TypConnect = typConnectUSB;
    m_IP = IP6FromStr(cfg->Read("IPAddr", wxString()).ToStdString());
    m_Port = static_cast<int>(cfg->ReadLong("IPPort", V7Net::kUnitPort));
    m_Ident = static_cast<int>(cfg->ReadLong("Ident", 2));
    // An address on the command line wins over the settings.
    if (!isNulIPv6(app.m_IP)) {
        app.m_TypConnect = app.m_UseCloudKey ? typConnectCloudKey : typConnectIP;
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
    chosen[app.m_TypConnect]->SetValue(true);
    top->Add(method, 0, wxEXPAND | wxALL, 6);

    m_BtnConnect = new wxButton(this, wxID_ANY, _W_(10010));
    m_BtnConnect->SetName("connect");
    m_BtnConnect->Bind(wxEVT_BUTTON, &CConnect::OnBnClickedConnect, this);
    top->Add(m_BtnConnect, 0, wxALL, 6);

    auto* usb = new wxStaticBoxSizer(wxHORIZONTAL, this, _W_(10142));
    usb->Add(new wxStaticText(usb->GetStaticBox(), wxID_ANY, _W_(10143)), 0, wxALIGN_CENTER_VERTICAL | wxALL, 4);
    m_ComboPort = new wxComboBox(usb->GetStaticBox(), wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(420, -1),
                                 ListSerialPorts(kSerialFolder), wxCB_DROPDOWN | wxCB_READONLY);
    m_ComboPort->SetName("port");
    m_ComboPort->SetStringSelection(m_ComPort);
    m_ComboPort->Bind(wxEVT_COMBOBOX, &CConnect::OnCbnDropdownComPort, this);
    // A unit plugged in after start appears when the list is opened.
    m_ComboPort->Bind(wxEVT_COMBOBOX_DROPDOWN, &CConnect::RefreshPorts, this);
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
    // An address on the command line connects by itself.
    if (!isNulIPv6(app.m_IP)) {
        DisableInput();
        QueueEvent(new wxCommandEvent(ID_CMD_CONNECT));
    } else {
        Enable();
    }
}

void CConnect::Enable()
{
    int typ = wxGetApp().m_TypConnect;
    m_ComboPort->Enable(typ == typConnectUSB);
    m_EditIP->Enable(typ == typConnectIP);
    m_EditPort->Enable(typ == typConnectIP);
    m_EditKey->Enable(typ == typConnectIP || typ == typConnectCloudKey);
    m_ShowKey->Enable(typ == typConnectIP || typ == typConnectCloudKey);
    m_EditIdent->Enable(typ != typConnectUSB);
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
        // The dialog keeps the frame disabled until it is deleted, which is
        // later (Update may be on the stack); the book must change pages now.
        if (wxWindow* top = wxGetTopLevelParent(this)) top->Enable();
        m_Progress->Hide();
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

void CConnect::OnBnClickedSelPort(wxCommandEvent&) { SelectMethod(typConnectUSB); }
void CConnect::OnBnClickedSelIp(wxCommandEvent&) { SelectMethod(typConnectIP); }
void CConnect::OnBnClickedSelCloud(wxCommandEvent&) { SelectMethod(typConnectCloud); }
void CConnect::OnBnClickedSelCloudKey(wxCommandEvent&) { SelectMethod(typConnectCloudKey); }

void CConnect::OnCbnDropdownComPort(wxCommandEvent&)
{
    if (m_ComboPort->GetSelection() != wxNOT_FOUND) m_ComPort = m_ComboPort->GetStringSelection();
}

std::string CConnect::PortPath(const wxString& name)
{
    std::string n = name.ToStdString();
    return !n.empty() && n[0] == '/' ? n : kSerialFolder + n;
}

void CConnect::RefreshPorts(wxCommandEvent& event)
{
    wxArrayString names = ListSerialPorts(kSerialFolder);
    if (names != m_ComboPort->GetStrings()) {
        m_ComboPort->Set(names);
        m_ComboPort->SetStringSelection(m_ComPort);
    }
    event.Skip();
}

// ---------------------------------------------------------------- the attempt

wxString CConnect::ProgressText() const
{
    return _W_(10007) + wxString::Format("  %d / %d", m_Replies, m_Expected);
}

void CConnect::Head()
{
    m_Tick = 0;
    m_Replies = 0;
    m_Expected = 11;
    m_Timer.Start(kTickMs, wxTIMER_CONTINUOUS);
    m_Progress = new wxProgressDialog("Velkonf", ProgressText(), kProgressMax, this, wxPD_AUTO_HIDE);
    m_Progress->Show();
}

void CConnect::Start()
{
    VelkonfApp& app = wxGetApp();
    VelkonfFrame* frame = app.m_Frame.load();
    m_BtnConnect->SetLabel(_W_(10011));
    app.ClearUnit();
    if (frame) {
        if (frame->m_Own) frame->m_Own->Clear();
        frame->Connect();
    }
}

void CConnect::Tail()
{
    VelkonfApp& app = wxGetApp();
    VelkonfFrame* frame = app.m_Frame.load();
    app.m_NVRAM.Clear();
    if (frame) {
        if (frame->m_Own) frame->m_Own->Clear();
        frame->Disconnect();
        frame->RemoveParam();   // reads the unit's kind: before it is cleared
    }
    app.m_TypLBSub = 0;
    app.m_TypLB = 0;
    EnableInput();
}

void CConnect::CountReply(const CUnitLB& unit)
{
    ++m_Replies;
    // Description, and the domains on a unit that has them.
    m_Expected = 11 + (unit.IsKnovDev() && unit.m_FeatDomain ? 2 : 0);
    // Shown at the next tick: Update turns the event loop, and this runs
    // inside the packet handler.
}

void CConnect::OnTimerConnect(wxTimerEvent&)
{
    if (m_Progress) m_Progress->Update(std::min(m_Tick, kProgressMax), ProgressText());
    if (++m_Tick < kTickLimit) return;
    ShowErr(_W_(10261));
    m_Timer.Stop();
    if (VelkonfFrame* frame = wxGetApp().m_Frame.load()) frame->SaveCheckMissed();
    // Timing out is a press of the button: the running carrier is stopped.
    QueueEvent(new wxCommandEvent(ID_CMD_CONNECT));
}

bool CConnect::TakeInput() { return Validate() && TransferDataFromWindow(); }

void CConnect::SaveSettings()
{
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    cfg->Write("TypConnect", wxGetApp().m_TypConnect);
    cfg->Write("Port", m_ComPort);
    cfg->Write("IPPort", m_Port);
    cfg->Write("IPAddr", wxString(IPv6ToStr(m_IP)));
    cfg->Write("Ident", m_Ident);
}

void CConnect::OnBnClickedConnect(wxCommandEvent&)
{
    VelkonfApp& app = wxGetApp();
    try {
        switch (app.m_TypConnect) {
        case typConnectUSB: ConnectUSB(); break;
        case typConnectIP: ConnectIP(); break;
        case typConnectCloud: ConnectCloud(); break;
        default:
            if (!ConnectCloudKey()) return;
            break;
        }
    } catch (const ErrorXML& e) {
        StopNet();
        EnableInput();
        app.m_BadLog.PutErr(e.GetText().c_str(), e.GetCode(), false);
        wxString reason = toWxString(e.GetText());
        if (e.GetCode() == EACCES && app.m_TypConnect == typConnectUSB) {
            // Serial devices belong to a group; its members may open them.
            struct stat st {};
            const group* owner = stat(PortPath(m_ComPort).c_str(), &st) == 0 ? getgrgid(st.st_gid) : nullptr;
            if (owner) reason += "\n" + wxString::Format(_W_(10291), owner->gr_name, owner->gr_name);
        }
        ShowErr(reason);
    }
    SaveSettings();
}

void CConnect::OnBnClickedRead()
{
    VelkonfApp& app = wxGetApp();
    CPackV7 pack = app.NewPack();
    CUnitLB::SendRead(pack, [&app](CPackV7& p) { app.Put(p); });
}

void CConnect::ConnectUSB()
{
    VelkonfApp& app = wxGetApp();
    app.m_PortNVRAM.WaitReOpen();
    if (app.m_PortNVRAM.IsOpen()) {
        app.m_PortNVRAM.Close();
        m_BtnConnect->SetLabel(_W_(10010));
        Tail();
        return;
    }
    ClrErr();
    if (!TakeInput()) return;
    DisableInput();
    Head();
    app.m_CloudPro = false;
    app.m_PortNVRAM.Open(PortPath(m_ComPort).c_str());
    Start();
    OnBnClickedRead();
}

void CConnect::StopNet()
{
    VelkonfApp& app = wxGetApp();
    if (VelkonfFrame* frame = app.m_Frame.load()) frame->StopLink();
    app.m_SendNet.Stop();
    app.m_ReceivNet.Stop();
}

bool CConnect::TakeKey(bool cloudRules)
{
    VelkonfApp& app = wxGetApp();
    CKeySys key;
    const bool fromCommandLine = !isNulIPv6(app.m_IP);
    const std::wstring text = fromCommandLine ? app.m_Key : m_Key.ToStdWstring();
    if (text.empty() && cloudRules && !fromCommandLine) {
        wxMessageBox(_W_(10055), "Velkonf", wxOK | wxICON_ERROR);
        return false;
    }
    if (cloudRules && !fromCommandLine && !IsValidCloudKey(text)) {
        wxString rules;
        for (unsigned short id = 10127; id <= 10131; ++id) rules += _W_(id);
        wxMessageBox(rules, "Velkonf", wxOK | wxICON_ERROR);
        return false;
    }
    app.m_DefKey = text.empty();
    if (app.m_DefKey) key.SetDefault();
    else if (fromCommandLine) key.Set(text.c_str());
    else key.Create(text.c_str());
    if (fromCommandLine) m_IP = app.m_IP;
    app.m_ReceivNet.m_Key = key;
    return true;
}

void CConnect::StartNet(const in6_addr& addr, int port, bool byCloud)
{
    VelkonfApp& app = wxGetApp();
    app.m_KeyEntered = false;
    app.m_UniqueIdent.SetUnique();
    app.m_ReceivNet.m_Ident = app.m_UniqueIdent;
    app.m_ReceivNet.SetBind(in6_addr{}, 0);
    app.m_SendNet.m_Key = CKeySys();
    app.m_SendNet.m_ByCloud = byCloud;
    if (byCloud) {
        app.m_SendNet.m_AddrCloud = addr;
        app.m_SendNet.m_PortCloud = port;
    } else {
        app.m_SendNet.SetAddr(addr, port);
    }
    app.m_CloudPro = byCloud;
    app.m_SendNet.m_Ident = CIdentV7(m_Ident, 0);
    app.m_ReceivNet.Start();
    app.m_SendNet.Start();
    Start();
}

void CConnect::ConnectIP()
{
    VelkonfApp& app = wxGetApp();
    if (app.m_ReceivNet.IsRun()) {
        StopNet();
        m_BtnConnect->SetLabel(_W_(10010));
        Tail();
        return;
    }
    ClrErr();
    if (!TakeInput()) return;
    DisableInput();
    Head();
    TakeKey(false);
    StartNet(m_IP, m_Port, false);
    OnBnClickedRead();
}

void CConnect::ConnectCloud()
{
    VelkonfApp& app = wxGetApp();
    if (app.m_ReceivNet.IsRun()) {
        StopNet();
        m_BtnConnect->SetLabel(_W_(10010));
        Tail();
        return;
    }
    app.m_CloudFound = false;
    app.m_LUFound = false;
    ShowErr(_W_(10042));
    if (!TakeInput()) return;
    DisableInput();
    const in6_addr server = ResolveHost(app.m_CloudHost, app.m_CloudPort, app.m_PortLog);
    ShowErr(_W_(10043));
    Head();
    app.m_DefKey = false;
    CKeySys guest;
    guest.Set(app.m_CloudKey.Data());
    app.m_ReceivNet.m_Key = guest;
    StartNet(server, app.m_CloudPort, false);

    app.ResetEventWaitWho();
    CPackV7 pack = app.NewPack();
    pack.SetAsk(CPackV7::packAsk, CPackV7::askInfo, 1, nullptr, 0);
    app.m_SendNet.Put(pack);
    if (!app.WaitEventWaitWho(kCloudWaitSeconds)) {
        ShowErr(_W_(!app.m_CloudFound ? 10047 : !app.m_LUFound ? 10046 : 10045));
        return;   // the tick limit ends the attempt
    }
    ShowErr(_W_(10044));
    if (VelkonfFrame* frame = app.m_Frame.load()) frame->StartLink();
    CUnitLB::ReadMain(pack, [&app](CPackV7& p) { app.m_SendNet.Put(p); });
}

bool CConnect::ConnectCloudKey()
{
    VelkonfApp& app = wxGetApp();
    if (app.m_ReceivNet.IsRun()) {
        StopNet();
        m_BtnConnect->SetLabel(_W_(10010));
        Tail();
        return true;
    }
    app.m_ReceivNet.m_TimeServer = 0;
    app.m_LUFound = false;
    ClrErr();
    if (!TakeInput()) return true;
    if (!TakeKey(true)) return false;
    DisableInput();
    const in6_addr server = ResolveHost(app.m_CloudHost, app.m_CloudKeyPort, app.m_PortLog);
    Head();
    StartNet(server, app.m_CloudKeyPort, true);

    const CKeySys key = app.m_ReceivNet.m_Key;
    app.ResetEventWaitWho();
    CPackV7 pack = app.NewPack();
    pack.SetAsk(CPackV7::packAsk, CPackV7::askInfo, 1, key.Data(), 16);
    app.m_SendNet.Put(pack);
    if (!app.WaitEventWaitWho(kCloudWaitSeconds)) {
        ShowErr(_W_(app.m_ReceivNet.m_TimeServer == 0 ? 10047 : !app.m_LUFound ? 10046 : 10056));
        return true;
    }
    if (VelkonfFrame* frame = app.m_Frame.load()) frame->StartLink();
    CUnitLB::ReadMain(pack, [&app](CPackV7& p) { app.m_SendNet.Put(p); });
    return true;
}
