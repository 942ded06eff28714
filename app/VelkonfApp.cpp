#include "app/VelkonfApp.h"

#include "app/VelkonfEvents.h"
#include "app/VelkonfFrame.h"
#include "base/CClientCFG.h"
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "base/Secrets.h"
#include "base/StringRes.h"
#include "link/CPackV7.h"
#include "pages/WxText.h"

#include <libxml/parser.h>
#include <wx/config.h>
#include <wx/evtloop.h>
#include <wx/intl.h>
#include <wx/log.h>
#include <wx/msgdlg.h>
#include <wx/thread.h>

#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <locale>

VelkonfApp::VelkonfApp()
    : m_CloudHost(Secrets::CloudHost),
      m_Pool("VelkonfApp", false, &m_BadLog),
      m_ReceivNet(*this, &m_Pool),
      m_SendNet(*this, &m_Pool, m_ReceivNet),
      m_PortNVRAM(*this, &m_Pool)
{
    m_ReceivNet.SetSend(&m_SendNet);
    Bind(MNG_PACK, &VelkonfApp::OnFrameEvent, this);
    Bind(NO_LINK, &VelkonfApp::OnFrameEvent, this);
    Bind(VELK_CLR_UTIL, &VelkonfApp::OnFrameEvent, this);
}

bool VelkonfApp::OnInit()
{
    try {
        StartUp();
    } catch (const std::exception& e) {   // ErrorXML included
        std::fprintf(stderr, "Velkonf: cannot start: %s\n", e.what());
        return false;
    }
    return true;
}

void VelkonfApp::SetLocale()
{
    const char* lang = std::getenv("LANG");
    if (!lang) throw ErrorXML(DBString(L"the environment variable LANG is not set"));
    try {
        std::locale::global(std::locale(lang));
    } catch (const std::runtime_error&) {
        throw ErrorXML(DBString(L"LANG=") + DBString(lang) + L": no such locale on this system");
    }
    std::setlocale(LC_ALL, lang);
    {
        // The toolkit's locale; it would show a warning box for a language it
        // has no catalogue for, which nobody at this stage can answer.
        wxLogNull quiet;
        (new wxLocale)->Init(wxLANGUAGE_DEFAULT, wxLOCALE_LOAD_DEFAULT);   // lives as long as the process
    }
    // Numbers always with a point, whatever LANG says.
    std::setlocale(LC_NUMERIC, "C.UTF-8");
}

void VelkonfApp::StartUp()
{
    g_StringENU = false;
    SetLocale();
    SetVendorName("VELK");
    SetAppName("Velkonf");
    {
        // A settings file that cannot be read is reported once, here; the
        // defaults apply.
        wxLogNull quiet;
        wxConfigBase::Get();
    }
    xmlInitParser();
    xmlKeepBlanksDefault(0);
    CClientCFG::SetDefLanguage();
    FillStringTables();

    m_CmdLine = DBString(" ") + DBString(std::getenv("LANG")) + " " + toDBStringArg(argv[0]);
    for (int i = 1; i < argc; ++i) {
        m_CmdLine += DBString(L" ") + toDBStringArg(argv[i]);
        ParseArgument(argv[i].ToStdString());
    }

    m_PortLog.Open("C", "log");
    m_DispLog.Open("C", "log");
    m_BadLog.Open("C", "log");
    m_BadLog.PutUtf8(std::string("Start ") + Version + m_CmdLine.ToStr());
    CBadLog::SetBoxHandler(&ShowErrorBox);

    // The channel coding draws its nonce from rand(): a different series per run.
    CPackV7::SeedNonce();
    m_UniqueIdent.SetUnique();
    m_CloudKey = GuestIdeaKey();

    SetSignalHandler(SIGTERM, [](int) { wxGetApp().CloseByRequest(); });
    SetSignalHandler(SIGINT, [](int) { wxGetApp().CloseByRequest(); });

    auto* frame = new VelkonfFrame();
    m_Frame = frame;
    frame->Show();
}

void VelkonfApp::ShowErrorBox(const DBString& text)
{
    wxString message = toWxString(text);
    auto show = [message] { wxMessageBox(message, "Velkonf", wxOK | wxICON_ERROR); };
    // A box belongs to the user-interface thread; a worker posts it there and
    // does not wait for the user.
    if (wxIsMainThread()) show();
    else if (wxTheApp) wxTheApp->CallAfter(show);
}

DBString VelkonfApp::toDBStringArg(const wxString& arg) { return DBString(arg.ToStdWstring()); }

void VelkonfApp::ParseArgument(const std::string& arg)
{
    if (arg.size() >= 2 && arg[0] == '-') {
        const char* value = arg.c_str() + 2;
        switch (arg[1]) {
        case 'i': case 'I': m_Ident = static_cast<int>(std::strtol(value, nullptr, 10)); return;
        case 'l': case 'L': m_IP = IP6FromStr(value); return;
        case 'h': case 'H': m_Port = static_cast<int>(std::strtol(value, nullptr, 10)); return;
        case 'k': case 'K': m_Key = DBString(value); return;
        case 'p': case 'P': m_Pass = value; return;
        case 'c': case 'C': m_CloudHost = value; return;
        case 'u': case 'U': m_UseCloudKey = true; return;
        default: return;
        }
    }
    if (arg.compare(0, 3, "enu") == 0) g_StringENU = true;
}

int VelkonfApp::OnExit()
{
    m_Relays.Stop();
    m_PortNVRAM.Close();
    m_SendNet.Stop();
    m_ReceivNet.Stop();
    // The settings are written while the log can still tell of a failure.
    SaveSettings();
    CBadLog::SetBoxHandler(nullptr);
    m_PortLog.Close();
    m_DispLog.Close();
    m_BadLog.Put(L"Stop");
    m_BadLog.Close();
    m_Pool.Stop();
    wxApp::OnExit();
    return 0;
}

void VelkonfApp::SaveSettings()
{
    // A failure must not open the toolkit's box: the frame is gone, nobody
    // could close it, and the program would never end.
    wxLogNull quiet;
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    cfg->Write("ChgMacAddr", 0);
    cfg->Write("OpenLink", 0);
    cfg->Write("UserDescriptor", 0);
    if (!cfg->Flush()) {
        const std::string text = "The settings could not be written to " + SettingsPath();
        m_BadLog.PutUtf8(text);
        std::fprintf(stderr, "Velkonf: %s\n", text.c_str());
    }
    // Deleted here, so that no later flush tries again with a box.
    delete wxConfigBase::Set(nullptr);
}

std::string VelkonfApp::SettingsPath()
{
    const char* home = std::getenv("HOME");
    return std::string(home ? home : "") + "/.Velkonf";
}

void VelkonfApp::SetEventWaitWho()
{
    m_WaitFlag.exchange(1);
    std::lock_guard<std::mutex> lock(m_WaitMutex);
    m_WaitCond.notify_one();
}

void VelkonfApp::ResetEventWaitWho() { m_WaitFlag.exchange(0); }

bool VelkonfApp::WaitEventWaitWho(int seconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < end) {
        // Keep the interface and its timers running: the events that decide
        // this wait are handled by this very loop.
        if (wxEventLoopBase* loop = wxEventLoopBase::GetActive())
            while (loop->Pending()) loop->Dispatch();
        ProcessPendingEvents();

        std::unique_lock<std::mutex> lock(m_WaitMutex);
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
        while (!m_WaitFlag.load()) {
            if (m_WaitCond.wait_until(lock, deadline) == std::cv_status::timeout) break;
        }
        if (m_WaitFlag.load()) return true;
    }
    return false;
}

void VelkonfApp::PostToFrame(wxEventType type) { QueueEvent(new wxCommandEvent(type)); }

void VelkonfApp::OnFrameEvent(wxCommandEvent& event)
{
    if (VelkonfFrame* frame = m_Frame.load()) frame->GetEventHandler()->ProcessEvent(event);
}

void VelkonfApp::CloseByRequest()
{
    if (VelkonfFrame* frame = m_Frame.load()) frame->Destroy();
    // The frame is deleted at the next idle time; with no user input there
    // would be none, and the program would hang on.
    WakeUpIdle();
}

void VelkonfApp::Put(CPackV7& pack)
{
    if (m_TypConnect != typConnectUSB) m_SendNet.Put(pack);
    else m_PortNVRAM.Put(pack);
}

CIdentV7 VelkonfApp::OwnIdent() const { return m_TypConnect == typConnectUSB ? CIdentV7(0, 1) : m_ReceivNet.m_Ident; }

CIdentV7 VelkonfApp::UnitIdent() const { return m_TypConnect == typConnectUSB ? CIdentV7(0, 0) : m_SendNet.m_Ident; }

CPackV7 VelkonfApp::NewPack() const { return CPackV7(OwnIdent(), UnitIdent()); }

void VelkonfApp::TakePack(const CPackV7& pack)
{
    m_InpQueue.Put(pack);
    PostToFrame(MNG_PACK);
}

void VelkonfApp::LostLink() { PostToFrame(NO_LINK); }

void VelkonfApp::ClrUtil() { PostToFrame(VELK_CLR_UTIL); }
