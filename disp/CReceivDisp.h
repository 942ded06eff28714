#pragma once
// CReceivDisp: the one UDP socket of the dispatcher protocol. The procedure
// "CReceivDisp::WinSockProc" reads datagrams and hands each to the session of
// its sender, found by GetSendRemote or made by Connect; every session sends
// through Send on this same socket. A stray socket error closes the socket
// and binds it again on the same port; the procedure ends only when that
// fails, on EINTR, or at Stop.
//
// A derived class (the relay's listener) overrides Connect, GetSendRemote and
// the logging hooks; the defaults open no session and write nothing. It must
// call Stop() in its own destructor, so that the procedure never calls one of
// its overrides while it is being destroyed.
//
// Threads: WinSockProc on the pool reads, and runs each session's Handling,
// so a slow session delays all others. Send is called by the sessions'
// threads (PutProc, TimerProc, the reading thread itself). Start and Stop by
// the owner.
// Locks: the socket mutex keeps sendto away from a socket being closed or
// bound again; it is taken after a session's window lock and send mutex
// (Send runs under them), and nothing else is taken while it is held.
// Handling is never called with it held.
#include "base/DBString.h"
#include "disp/CPackDisp.h"

#include <netinet/in.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

class BasePoolThread;
class CSendDisp;

class CReceivDisp {
public:
    static constexpr int RecvSize = CPackDisp::BufSize;
    static constexpr int MinDatagram = 6;          // shorter ones cannot hold a packet
    static constexpr int BigBufferBytes = 1048576;
    static constexpr int RebindPauseMs = 1000;

    // bigBuffers: ask for 1 MB socket buffers each way.
    CReceivDisp(BasePoolThread* pool, bool bigBuffers);
    CReceivDisp(const CReceivDisp&) = delete;
    CReceivDisp& operator=(const CReceivDisp&) = delete;

    virtual ~CReceivDisp();
    // Every datagram read, before it goes to a session. Here: nothing.
    virtual void LogPut(const in6_addr& from, int port, const unsigned char* data, int length);
    // A datagram from an unknown peer: the session that takes it, or null to
    // drop it. The session stays owned by the derived class. Here: null.
    virtual CSendDisp* Connect(const in6_addr& from, int port, const unsigned char* data, int length);
    virtual void BadPut(const wchar_t* text);
    virtual void BadPutErr(const wchar_t* text, int errorCode);
    virtual void BadPutMes(const wchar_t* text, const unsigned char* bytes, int length);
    // The session of a known peer, or null. Here: null.
    virtual CSendDisp* GetSendRemote(const in6_addr& from, int port);
    // The program's name, for the derived class's texts. Here: "Velkonf".
    virtual DBString NameApp();

    // Where Start binds; port 0 lets the system choose (see Port). Before Start.
    void SetBind(const in6_addr& address, int port);
    // The bound port, once Start has bound with port 0.
    int Port() const { return m_Port; }
    bool IsActive() const { return m_Active; }

    // Binds and starts WinSockProc. A failed bind throws ErrorXML with the
    // text and the error code.
    void Start();
    // Ends a read in progress (shutdown wakes it), waits for the procedure,
    // then closes the socket.
    void Stop();
    // The byte count, or -1 with errno set (also when the socket is closed).
    int Send(const unsigned char* data, int length, const in6_addr& to, int port);
    // Opens and binds the socket: 0, or the error code with its text. The
    // socket must be closed. Throws ErrorXML if the chosen port cannot be read.
    int Bind(DBString& errorText);

protected:
    // Hands one datagram to its session, on WinSockProc. A derived class may
    // refuse a sender's address first, or hold a lock of its own across the
    // finding of the session and its Handling.
    virtual void Dispatch(const sockaddr_in6& from, const unsigned char* data, int length);
    // The open descriptor, or -1; for a derived class's socket options.
    int SocketFd();

private:
    static bool WinSockProc(void* self);
    void ReadLoop();
    // After a stray error: close, pause, bind again. False to leave.
    bool Rebind();
    int BindLocked(DBString& errorText);
    void SetBigBuffers(int fd);
    void LogBufferSizes(int fd);

    const bool m_BigBuffers;
    std::mutex m_Mutex;
    std::condition_variable m_StopCond;   // cuts the rebind pause short at Stop
    BasePoolThread* m_Pool;
    std::string m_Name = "CReceivDisp::WinSockProc";
    std::atomic<bool> m_Active{false};
    in6_addr m_Address;
    std::atomic<int> m_Port{0};
    int m_Socket = -1;   // written under m_Mutex; read unlocked by WinSockProc only
};
