#pragma once
// The V7 relay for sibling tools. A tool speaks V7 to CReceivUtilV7 on a
// local port as if this program were the unit; each tool has its
// CSendUtilV7, kept by node in CListSendUtilV7, and its packets are carried
// on over whatever link the host has to the unit:
//   - USB and the cloud by buttons: the relay acknowledges the tool's packet
//     itself, strips its ident and sends it as this program's own, so the
//     carrying link numbers it; what the unit says is copied to every tool
//     (MngPack, on the owner's thread).
//   - IP and the cloud by key: the packet leaves as it stands, with the
//     tool's identifier, and the unit answers the tool by name: the unit's
//     receiver passes it back through SendTo.
// Datagrams from anywhere but the local host are refused and logged.
//
// Threads: "CReceivV7::WinSockProc" of the relay's socket runs
// Retransmission, NewSender and the checks; each relay's "CSendV7::PutProc"
// and "CWindV7::TimerProc"; the unit's receiver thread runs SendTo; the
// owner's thread (the user-interface thread) runs MngPack, DeleteClose and
// Clear, and starts and stops the receiver.
// Locks, outermost first: the list's use mutex (held by the relay's receiver
// across a whole datagram, from GetSend to the end of Retransmission, and by
// Clear); the list's mutex; then the locks of a sender (CSendV7). DeleteClose
// takes the list's mutex to unhook stopped relays and then, alone, the use
// mutex to wait for the datagram in hand before deleting them: a pointer that
// GetSend handed out is never freed under the receiver.
#include "link/CReceivV7.h"
#include "link/CSendV7.h"

#include <map>
#include <mutex>

class CRelayHost;
class CReceivUtilV7;

class CSendUtilV7 : public CSendV7 {
public:
    CSendUtilV7(CRelayHost& host, CReceivUtilV7& receiv);
    ~CSendUtilV7() override;

    bool Retransmission(CReceivV7* receiv, CPackV7& pack, const in6_addr& addr, int port) override;
    void LogPut(const CIdentV7& ident, const in6_addr& addr, int port, const unsigned char* data, int len) override;
    void IsNoLink() override;
    void BadPut(const wchar_t* text) override;
    void BadPutErr(const wchar_t* text, int code) override;
    void BadPutMes(const wchar_t* text, const unsigned char* data, int len) override;
    CReceivV7* GetReceiv() override;
    // On IP and the cloud by key the tool first hears the unit close.
    void Stop() override;

private:
    // The tool gets its acknowledgement at once; the carrying link applies
    // its own sequencing.
    void AckAndStrip(CPackV7& pack);

    CRelayHost& m_Host;
    CReceivUtilV7& m_Receiv;
};

class CListSendUtilV7 {
public:
    CListSendUtilV7() = default;
    ~CListSendUtilV7();
    CListSendUtilV7(const CListSendUtilV7&) = delete;
    CListSendUtilV7& operator=(const CListSendUtilV7&) = delete;

    // False, and nothing changes, when the node has a relay already.
    bool Insert(int node, CSendUtilV7* send);
    CSendUtilV7* Find(const CIdentV7& ident);
    // A packet of the unit, copied to every tool once, unsequenced (USB and
    // the cloud by buttons). The caller's packet is left as it is.
    void MngPack(const CPackV7& pack, int typConnect, const CIdentV7& unit);
    // A packet of the unit addressed to a tool (IP, the cloud by key): sent
    // to that tool's relay; false if none has its node.
    bool SendTo(CPackV7& pack);
    // Deletes the relays that have stopped. Owner's thread.
    void DeleteClose();
    // Stops and deletes all. Owner's thread.
    void Clear();
    size_t Size();

    // Held by the relay's receiver across one datagram.
    std::mutex& UseMutex() { return m_UseMutex; }

private:
    std::mutex m_UseMutex;
    std::mutex m_Mutex;
    std::map<int, CSendUtilV7*> m_Map;
};

class CReceivUtilV7 : public CReceivV7 {
public:
    CReceivUtilV7(CRelayHost& host, CListSendUtilV7& list);
    ~CReceivUtilV7() override;

    // Takes the link key of the unit's receiver, draws its own identifier
    // and binds a port that the system chooses (GetPort).
    void Start();

    CSendV7* NewSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key,
                       const CReceivV7* receiv) override;
    bool UnknownSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key) override;
    void LogPut(const CSendV7* send, const in6_addr& addr, int port, const unsigned char* data, int len) override;
    void BadPut(const wchar_t* text, bool isError) override;
    void BadPutErr(const wchar_t* text, int code) override;
    void BadPutMes(const wchar_t* text, const unsigned char* data, int len, bool isError) override;
    // Nothing: a tool's traffic goes on through Retransmission.
    void HandlingData(const CPackV7& pack, const CSendV7* send) override;
    CSendV7* GetSend(const CIdentV7& ident) override;
    DBString NameApp() override;

    CRelayHost& Host() { return m_Host; }

protected:
    void Receive(const unsigned char* data, int len, const in6_addr& addr, int port) override;

private:
    CRelayHost& m_Host;
    CListSendUtilV7& m_List;
};
