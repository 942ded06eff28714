#pragma once
// VelkonfApp: the one process-wide object. It owns every long-lived object
// that is not a window, parses the command line, sets up locale, texts and
// logs, creates the main frame, and stops everything in a fixed order at exit.
//
// Threads: everything here runs on the user-interface thread, except
// SetEventWaitWho and PostToFrame, which receive threads call, and the flags
// m_CloudFound and m_LUFound, which they set.
#include "base/BasePoolThread.h"
#include "base/CBadLog.h"
#include "base/CDispLog.h"
#include "base/CPortLog.h"
#include "base/DBString.h"
#include "link/CIdeaKey.h"
#include "link/CIdentV7.h"
#include "link/InpQueuePackV7.h"
#include "relaycore/CToolRelays.h"
#include "relaycore/CRelayHost.h"
#include "unit/CLinkHost.h"
#include "unit/CPortNVRAM.h"
#include "unit/CSendNet.h"
#include "unit/CUnitLB.h"

#include <wx/app.h>

#include <netinet/in.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

class VelkonfFrame;
class wxCommandEvent;

inline constexpr char Version[] = "v" VELK_VERSION;

// The unit's image, kind and feature bits (CUnitLB) and the flags of the
// connection (CLinkHost) are the application's own members, as the pages and
// the connect procedures know them: wxGetApp().m_NVRAM, m_TypConnect.
class VelkonfApp : public wxApp, public CUnitLB, public CLinkHost, public CRelayHost {
public:
    VelkonfApp();

    bool OnInit() override;
    int OnExit() override;

    // $HOME/VELK/logs/Velkonf/
    std::string PathLogs() const { return ::PathLogs(); }

    // Every packet for the unit leaves here: the serial line on USB, the
    // UDP sender otherwise.
    void Put(CPackV7& pack) override;
    // The identifiers of a request: from this program to the unit.
    CIdentV7 OwnIdent() const override;
    CIdentV7 UnitIdent() const override;
    // A packet addressed from this program to the unit, for SetAsk.
    CPackV7 NewPack() const;

    // The wait event: a receive thread raises it when the unit has answered;
    // a connect procedure waits for it while the user interface keeps running.
    void SetEventWaitWho() override;
    void ResetEventWaitWho();
    bool WaitEventWaitWho(int seconds);

    // Posts a command event of `type` from any thread; it reaches the main
    // frame on the user-interface thread if the frame still exists, and is
    // dropped otherwise (deep in shutdown there is no frame to tell).
    void PostToFrame(wxEventType type);

    // Applies one command-line argument; unknown arguments are ignored.
    void ParseArgument(const std::string& arg);
    // The run's command line as logged at start: " " LANG " " argv[0] and
    // the arguments.
    const DBString& CommandLineText() const { return m_CmdLine; }

    // Closes the frame as its Close button does; the handler of SIGTERM and
    // SIGINT, run on the user-interface thread.
    void CloseByRequest();

    int m_Ident = 0;                 // -i: unit identifier
    in6_addr m_IP{};                 // -l: unit address; non-nil connects at start
    int m_Port = 0;                  // -h: unit port
    std::wstring m_Key;              // -k: unit key, text form
    std::string m_Pass;              // -p: kept, never read
    std::string m_CloudHost;         // -c: cloud server host
    int m_CloudPort = V7Net::kCloudPort;         // cloud port of the buttons method
    int m_CloudKeyPort = V7Net::kCloudKeyPort;      // cloud port of the key method
    bool m_UseCloudKey = false;      // -u: the key method for an address given by -l
    CIdeaKey m_CloudKey;             // key of the cloud server's guest account
    bool m_DefKey = false;           // the link runs on the default key
    bool m_KeyEntered = false;       // a new key was entered on the System page
    PoolThread m_Pool;               // every worker procedure runs here
    CPortLog m_PortLog;              // traffic with the unit
    CBadLog m_BadLog;                // events and errors
    CDispLog m_DispLog;              // traffic with the dispatcher tools
    CReceivNet m_ReceivNet;          // the UDP socket to the unit or the cloud server
    CSendNet m_SendNet;              // the unit, on UDP
    CPortNVRAM m_PortNVRAM;          // the unit, on the serial line
    CIdentV7 m_UniqueIdent;          // this run's program identifier, new at each network connect
    InpQueuePackV7 m_InpQueue;       // packets on their way to OnMngPack
    CToolRelays m_Relays{*this};     // the sibling tools' relays, from AddParam to RemoveParam
    std::atomic<VelkonfFrame*> m_Frame{nullptr};

    std::mutex m_WaitMutex;
    std::atomic<int> m_WaitFlag{0};
    std::condition_variable m_WaitCond;

    // CLinkHost: the carriers' reports reach the frame as posted events.
    bool IsTaking() const override { return m_Frame.load() != nullptr; }
    void TakePack(const CPackV7& pack) override;
    void LostLink() override;
    CBadLog& BadLog() override { return m_BadLog; }
    CPortLog& PortLog() override { return m_PortLog; }
    bool ToTool(CPackV7& pack) override { return m_Relays.ToTool(pack); }

    // CRelayHost: the relays use the same carriers; their signals are
    // events posted to the frame.
    int RelayTypConnect() const override { return m_TypConnect; }
    CReceivNet& RelayReceivNet() override { return m_ReceivNet; }
    CSendNet& RelaySendNet() override { return m_SendNet; }
    BasePoolThread& RelayPool() override { return m_Pool; }
    void PutSerial(CPackV7& pack) override { m_PortNVRAM.Put(pack); }
    void ClrUtil() override;
    CDispLog& DispLog() override { return m_DispLog; }

private:
    void StartUp();
    // Clears the three one-run switches and writes the settings file.
    void SaveSettings();
    static std::string SettingsPath();
    void SetLocale();
    void OnFrameEvent(wxCommandEvent& event);
    static DBString toDBStringArg(const wxString& arg);
    static void ShowErrorBox(const DBString& text);

    DBString m_CmdLine;
};

wxDECLARE_APP(VelkonfApp);
