#pragma once
// CLinkHost: what the link to a unit reports to, and the flags of a
// connection that the link and the connect procedure share. The
// configurator's application object is one host; a client without a window
// can be another. The carriers (CPortNVRAM, CSendNet, CReceivNet) call it
// from their own threads.
//
// Threads: TakePack, LostLink and SetEventWaitWho come from receive and
// sender threads and must only queue and wake the host's own thread. The
// flags are atomics: the connect procedure clears them, receive threads set
// them.
#include "link/CPackV7.h"
#include "link/V7Net.h"

#include <atomic>

class CBadLog;
class CPortLog;

class CLinkHost {
public:
    virtual ~CLinkHost() = default;

    // False while nobody could take a packet (the configurator before its
    // frame exists): the carriers then drop what they receive.
    virtual bool IsTaking() const { return true; }
    // A packet of the unit, for the host's thread: queue it and wake it.
    virtual void TakePack(const CPackV7& pack) = 0;
    // The link to the unit is lost (a sender gave up, or a cloud peer closed).
    virtual void LostLink() = 0;
    // The unit has answered askInfo; a connect procedure may be waiting.
    virtual void SetEventWaitWho() = 0;
    // A packet of the unit addressed to a sibling tool (the tools' relay
    // knows its destination): true if it was passed on. Runs on the
    // receiver's thread. Here: no tools.
    virtual bool ToTool(CPackV7& pack)
    {
        (void)pack;
        return false;
    }
    virtual CBadLog& BadLog() = 0;
    virtual CPortLog& PortLog() = 0;

    // The method of the running connection (typConnect); set before the
    // carrier starts.
    int m_TypConnect = typConnectUSB;
    std::atomic<bool> m_CloudPro{false};     // the link uses the cloud coding (key method)
    std::atomic<bool> m_CloudFound{false};   // the cloud server announced itself (buttons method)
    std::atomic<bool> m_LUFound{false};      // the cloud server has reported the unit
};
