#pragma once
// Test support: the configurator without its windows, for the relay tests
// and the relay benchmark. The windowless client holds the link to the
// unit, and a thread of its own plays the frame.
#include "base/CDispLog.h"
#include "link/V7Net.h"
#include "relaycore/CRelayHost.h"
#include "relaycore/CToolRelays.h"
#include "tools/toolpeer/ToolPeer.h"
#include "unit/CClientLU.h"

#include <atomic>
#include <thread>

// The configurator without its windows: the windowless client holds the link
// to the unit, and a thread of its own plays the frame (the unit's packets
// to the relays, closed relays dropped).
class RelayClient : public CClientLU, public CRelayHost {
public:
    RelayClient() : m_Relays(*this) {}
    ~RelayClient() override
    {
        StopFrame();
        m_Relays.Stop();
        Close();
    }

    int RelayTypConnect() const override { return m_TypConnect; }
    CReceivNet& RelayReceivNet() override { return m_ReceivNet; }
    CSendNet& RelaySendNet() override { return m_SendNet; }
    BasePoolThread& RelayPool() override { return m_Pool; }
    CIdentV7 OwnIdent() const override { return m_TypConnect == typConnectUSB ? CIdentV7(0, 1) : m_ReceivNet.m_Ident; }
    CIdentV7 UnitIdent() const override { return m_TypConnect == typConnectUSB ? CIdentV7(0, 0) : m_SendNet.m_Ident; }
    void Put(CPackV7& pack) override { CClientLU::Put(pack); }
    void PutSerial(CPackV7& pack) override
    {
        m_SerialIdents.Add(pack.m_Ident);
        m_PortNVRAM.Put(pack);
    }
    void ClrUtil() override { m_Clr = true; }
    void LostLink() override { CClientLU::LostLink(); }
    CBadLog& BadLog() override { return m_BadLog; }
    CPortLog& PortLog() override { return m_PortLog; }
    CDispLog& DispLog() override { return m_DispLog; }
    bool ToTool(CPackV7& pack) override { return m_Relays.ToTool(pack); }

    void StartFrame()
    {
        m_FrameRun = true;
        m_Frame = std::thread([this] {
            CPackV7 pack;
            while (m_FrameRun) {
                if (Next(pack, std::chrono::milliseconds(20))) m_Relays.MngPack(pack);
                if (m_Clr.exchange(false)) m_Relays.DeleteClose();
            }
        });
    }
    void StopFrame()
    {
        m_FrameRun = false;
        if (m_Frame.joinable()) m_Frame.join();
    }

    CToolRelays m_Relays;
    CDispLog m_DispLog;
    PeerStore<int> m_SerialIdents;   // idents of what the relay put on the serial line
    std::atomic<bool> m_Clr{false};

private:
    std::atomic<bool> m_FrameRun{false};
    std::thread m_Frame;
};

