#pragma once
// CToolRelays: both relays for sibling tools, as the owner of the link to
// the unit runs them: started once a unit has answered, stopped at a
// disconnect and at exit, fed with every packet of the unit, and told to
// drop closed relays. The configurator's frame drives it from the
// user-interface thread; a test drives it from its own thread the same way.
//
// Threads: the owner's thread calls everything except ToTool, which the
// unit's receiver thread calls. Locks: those of the two relays.
#include "relaycore/CRelayDisp.h"
#include "relaycore/CRelayV7.h"
#include "relaycore/ToolLaunch.h"

class CToolRelays {
public:
    explicit CToolRelays(CRelayHost& host);
    ~CToolRelays();
    CToolRelays(const CToolRelays&) = delete;
    CToolRelays& operator=(const CToolRelays&) = delete;

    // Both listeners, each on a port that the system chooses.
    void Start();
    // Every tool's relay and both listeners; nothing while stopped.
    void Stop();
    bool IsRun() const { return m_ReceivUtilV7.IsRun() || m_ReceivUtil.IsActive(); }
    // A packet of the unit, as the owner's thread receives it: copied to the
    // V7 tools on USB and the cloud by buttons, and its lift-network message
    // to the dispatcher tools on every link.
    void MngPack(const CPackV7& pack);
    // Drops the relays that have ended.
    void DeleteClose();
    // A packet of the unit addressed to a V7 tool; the unit's receiver thread.
    bool ToTool(CPackV7& pack) { return m_ListSendUtilV7.SendTo(pack); }
    // What a tool's command line tells it.
    CToolParams Params(bool enu) const;

    CListSendUtilV7 m_ListSendUtilV7;
    CReceivUtilV7 m_ReceivUtilV7;
    CListSendUtil m_ListSendUtil;
    CReceivUtil m_ReceivUtil;

private:
    CRelayHost& m_Host;
};
