#pragma once
// CClientLU: a connection to one unit without a window. It runs the same
// carriers and the same exchange as the configurator (CUnitLB, CSendNet,
// CReceivNet, CPortNVRAM) for a caller that waits on one thread: a
// command-line tool, a test. Packets of the unit are queued, and the caller
// takes them with Next or lets Read and Save run the exchange.
//
// Threads: one owner thread calls everything; the carriers' threads only
// queue and wake it (CLinkHost). Lock: the wake mutex is a leaf.
#include "base/BasePoolThread.h"
#include "base/CBadLog.h"
#include "base/CPortLog.h"
#include "link/InpQueuePackV7.h"
#include "unit/CLinkHost.h"
#include "unit/CPortNVRAM.h"
#include "unit/CSendNet.h"
#include "unit/StatusLB.h"

#include <netinet/in.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

class CUnitLB;

// Where a unit is and how to reach it, as the Connection page takes it.
struct CTargetLU {
    int method = typConnectIP;
    in6_addr addr{};                  // the unit (IP), or the cloud server (cloud methods)
    int port = V7Net::kUnitPort;      // the unit's or the server's port
    int ident = 2;                    // the unit's identifier
    CKeySys key;                      // the link key; empty: the default key
    std::string serial;               // the serial device (USB)
};

class CClientLU : public CLinkHost {
public:
    using Ms = std::chrono::milliseconds;

    CClientLU();
    ~CClientLU() override;
    CClientLU(const CClientLU&) = delete;
    CClientLU& operator=(const CClientLU&) = delete;

    // Starts the carrier of `target`; throws ErrorXML when it cannot (a
    // socket that will not bind, a port that will not open).
    void Open(const CTargetLU& target);
    // Stops the carrier, telling the unit on an IP or cloud-key link.
    void Close();

    // Every packet for the unit leaves here.
    void Put(CPackV7& pack);
    // A packet from this program to the unit, for SetAsk.
    CPackV7 NewPack() const;
    // The next packet of the unit within `limit`.
    bool Next(CPackV7& pack, Ms limit);

    // The read of the unit into `unit`: true when the image is complete and
    // a status has come within `limit`; otherwise `why` says what is missing.
    // On the cloud methods askInfo is answered first (the person at the
    // unit), then the rest is asked for.
    bool Read(CUnitLB& unit, Ms limit, std::string& why);
    // The changed chunks of `unit` and askRestart; the count of chunks.
    int Save(CUnitLB& unit);

    // The link is lost (a sender gave up, or a cloud peer closed).
    bool IsLost() const { return m_Lost; }

    // CLinkHost.
    void TakePack(const CPackV7& pack) override;
    void LostLink() override;
    void SetEventWaitWho() override {}
    CBadLog& BadLog() override { return m_BadLog; }
    CPortLog& PortLog() override { return m_PortLog; }

    CStatusEth m_Status;          // the last askStatus reply of a read
    BasePoolThread m_Pool;
    CBadLog m_BadLog;             // not opened: a caller may Open it to keep the lines
    CPortLog m_PortLog;
    CReceivNet m_ReceivNet;
    CSendNet m_SendNet;
    CPortNVRAM m_PortNVRAM;

private:
    void TakeReply(CUnitLB& unit, CPackV7& pack, bool& status);

    InpQueuePackV7 m_InpQueue;
    std::mutex m_WakeMutex;
    std::condition_variable m_Wake;
    std::atomic<bool> m_Lost{false};
    bool m_Open = false;
};
