#pragma once
// The dispatcher relay for sibling tools: a small local server of the
// dispatcher protocol. CReceivUtil listens on a port of ::1 that the system
// chooses; each tool, known by its port, has a session CSendUtil in
// CListSendUtil. A tool's SendMsg is carried to the unit as lift-network
// messages in V7 packets; every message of the unit goes back to every tool
// as a Msg (MngPack). Datagrams from anywhere but the local host are refused
// and logged.
//
// Threads: "CReceivDisp::WinSockProc" runs Connect and each session's
// Handling (HandlingData); each session's "CSendDisp::PutProc" and
// "CDispWind::TimerProc" (which reaches Disconnect); the owner's thread (the
// user-interface thread) runs MngPack, DeleteClose and Clear, and starts and
// stops the listener.
// Locks, outermost first: the list's use mutex (held by the listener across
// one datagram, from GetSendRemote to the end of Handling, and by Clear);
// the list's mutex (it also covers the Stop of a session that closes, against
// a concurrent MngPack); then the locks of a session (CSendDisp). DeleteClose
// unhooks closed sessions under the list's mutex, then waits for the use
// mutex alone before destroying them, so a session that GetSendRemote handed
// out is never freed while the listener still uses it. Disconnect (on
// TimerProc) takes neither.
#include "disp/CReceivDisp.h"
#include "disp/CSendDisp.h"
#include "link/CIdeaCtx.h"

#include <map>
#include <mutex>

class CListSendUtil;
class CPackMes;
class CRelayHost;

class CSendUtil : public CSendDisp {
public:
    CSendUtil(CRelayHost& host, CListSendUtil& list, CReceivDisp& receiv, const in6_addr& peer, int port);
    ~CSendUtil() override;

    void LogSend(const in6_addr& peer, int port, const CPackDisp& pack) override;
    void LogReceive(const in6_addr& peer, int port, const CPackDisp& pack) override;
    void BadPut(const wchar_t* text) override;
    void BadPutErr(const wchar_t* text, int errorCode) override;
    void BadPutMes(const wchar_t* text, const unsigned char* bytes, int length) override;
    int Send(const unsigned char* data, int length, const in6_addr& peer, int port) override;
    void Disconnect(const in6_addr& peer, int port) override;
    void HandlingData(CPackDisp& pack) override;

private:
    void SendMsgToUnit(CMesDisp& mes);

    CRelayHost& m_Host;
    CListSendUtil& m_List;
    CReceivDisp& m_Receiv;
};

class CListSendUtil {
public:
    CListSendUtil() = default;
    ~CListSendUtil();
    CListSendUtil(const CListSendUtil&) = delete;
    CListSendUtil& operator=(const CListSendUtil&) = delete;

    CSendUtil* Find(int port);
    // False, and nothing changes, when the port has a session already.
    bool Insert(int port, CSendUtil* send);
    // Stops and destroys every session. Owner's thread.
    void Clear();
    // Destroys the sessions that are no longer active. Owner's thread.
    void DeleteClose();
    // A message of the unit, as a Msg to every session in port order.
    void MngPack(const CPackMes& pack);
    size_t Size();

    std::mutex& Mutex() { return m_Mutex; }
    std::mutex& UseMutex() { return m_UseMutex; }

private:
    std::mutex m_UseMutex;
    std::mutex m_Mutex;
    std::map<int, CSendUtil*> m_Map;
};

class CReceivUtil : public CReceivDisp {
public:
    CReceivUtil(CRelayHost& host, CListSendUtil& list);
    ~CReceivUtil() override;

    // Binds ::1 on a port that the system chooses (Port); a failure is
    // logged, not thrown.
    void Start();

    CSendDisp* Connect(const in6_addr& from, int port, const unsigned char* data, int length) override;
    CSendDisp* GetSendRemote(const in6_addr& from, int port) override;
    void BadPut(const wchar_t* text) override;
    void BadPutErr(const wchar_t* text, int errorCode) override;
    void BadPutMes(const wchar_t* text, const unsigned char* bytes, int length) override;

protected:
    void Dispatch(const sockaddr_in6& from, const unsigned char* data, int length) override;

private:
    CRelayHost& m_Host;
    CListSendUtil& m_List;
    CIdeaCtx m_Ctx;   // reads a stranger's first datagram
};
