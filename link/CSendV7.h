#pragma once
// CSendV7: one side's view of one peer on the V7 UDP link. Packets given to
// Put wait in a queue (at most about 1000; packets switching the GGS on or
// off overtake the others), a procedure takes them one by one into the window
// (CWindV7), which numbers the sequenced ones 1..127 and repeats them until
// the peer acknowledges them in the repl field of a packet of its own. The
// idents that the peer's packets carry are remembered for 60 s (at most 10):
// a repeat is not delivered again but acknowledged again (CReplyForSend).
// Everything leaves through SendSocket, which adds one owed acknowledgement,
// codes the packet and sends it through the CReceivV7 that owns the socket.
//
// The class is abstract: a derived class names its receiver (GetReceiv), says
// what a lost link means (IsNoLink) and where reports go (BadPut...). Either
// side of the link can be built from it: the configurator's link to a unit
// and a unit's link to a configurator are the same class.
//
// Threads: the owner (Start, Stop, StopOnly); any thread (Put, SendSocket);
// "CSendV7::PutProc" and "CWindV7::TimerProc" on the pool given to the
// constructor; the receiver thread (MngReply, MngIdentInp, SendReply, SetAddr,
// SetKey). The virtual IsNoLink is called from SendSocket with the send mutex
// (and maybe the window lock) held: it may post an event, but must not stop
// this sender, which would wait for its own procedures.
// Lock order: (a relay list of a derived class), the window mutex, the send
// mutex, the acknowledgement list's mutex, the socket mutex of CReceivV7. The
// queue mutex is independent: it is released before the window is entered.
//
// Configuration (m_Ident, m_ByCloud, m_OnlyIP, m_AddrCloud, m_PortCloud,
// m_MaxTry, m_TimeTry, m_Timing) is set before Start. The peer's address and
// key change while running only through SetAddr and SetKey.
//
// A derived class must call StopOnly (or Stop) in its own destructor: the
// procedures call the virtual operations until they have ended.
#include "link/CKeySys.h"
#include "link/CPackV7.h"
#include "link/CWindV7.h"
#include "link/V7Timing.h"

#include <netinet/in.h>

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>

class BasePoolThread;
class CReceivV7;

class CSendV7 {
public:
    static constexpr int kQueueLimit = 1000;

    // The idents received from the peer, with whether their acknowledgement
    // has gone out. A repeat of a remembered ident is not delivered again.
    class CReplyForSend {
    public:
        static constexpr size_t kLimit = 10;
        static constexpr time_t kAgeSeconds = 60;

        // True for a new ident (deliver it); false for a repeat, whose
        // acknowledgement is then owed again. Forgets entries older than 60 s.
        bool MngIdentInp(unsigned char ident, time_t now);
        // Writes the first owed acknowledgement into the packet's repl, if the
        // packet has room for it, and marks it sent.
        void AddTo(CPackV7& pack);
        bool IsOwed();
        void Clear();
        size_t Size() const;

    private:
        struct Entry {
            unsigned char ident;
            bool sent;
            time_t time;
        };
        mutable std::mutex m_Mutex;
        std::list<Entry> m_List;   // oldest first
    };

    // The real period of the window timer, each run of which counts as one
    // 500 ms tick of window time (a test runs the window faster, or turns the
    // timer off and calls CWindV7::Tick itself), and the seconds clock. The
    // transmission constants are m_MaxTry and m_TimeTry.
    struct Timing {
        int timerMs = CWindV7::kTickMs;
        V7SecondsClock now;
    };

    explicit CSendV7(BasePoolThread* pool);
    CSendV7(const CSendV7&) = delete;
    CSendV7& operator=(const CSendV7&) = delete;
    virtual ~CSendV7();

    // Asked to forward a packet that is addressed to someone else; true if
    // it did. Runs on the receiver thread.
    virtual bool Retransmission(CReceivV7* receiv, CPackV7& pack, const in6_addr& addr, int port);
    // A packet that has just been sent (plain image with its CRC).
    virtual void LogPut(const CIdentV7& ident, const in6_addr& addr, int port, const unsigned char* data, int len);
    // The link is lost: more than one failure with nothing heard in between.
    virtual void IsNoLink() = 0;
    virtual void BadPut(const wchar_t* text) = 0;
    virtual void BadPutErr(const wchar_t* text, int code) = 0;
    virtual void BadPutMes(const wchar_t* text, const unsigned char* data, int len) = 0;
    // The receiver that owns the socket.
    virtual CReceivV7* GetReceiv() = 0;
    // Feeds a repl from the peer to the window.
    virtual void MngReply(int repl);
    // Queues a copy for ordered, acknowledged delivery. False when disabled
    // or not started.
    virtual bool Put(CPackV7& pack);
    // One pass of PutProc: waits for a queued packet and hands it to the
    // window, which may block while it is full.
    virtual void Send();
    // Tells the peer by one packLinkClose, then StopOnly.
    virtual void Stop();

    // Resets and starts the queue's procedure and the window. Nothing while
    // disabled.
    void Start();
    // Ends both procedures without telling the peer; what is queued or in
    // the window is discarded.
    void StopOnly();
    // Sends at once, outside queue and window; true unless sendto failed.
    bool SendSocket(CPackV7& pack);
    // Records an ident received from the peer; false for a repeat.
    bool MngIdentInp(unsigned char ident);
    // Sends one owed acknowledgement in a packEmpty, if any is owed.
    void SendReply();
    // The next ident, 1..127, wrapping from 127 to 1. Under the window lock.
    int NextIdent();
    // The ident NextIdent would draw, without drawing it. Under the window lock.
    int PeekNextIdent() const { return m_LastIdent % 127 + 1; }

    void SetAddr(const in6_addr& addr, int port);
    void GetAddr(in6_addr& addr, int& port);
    void SetKey(const CKeySys& key);
    CKeySys GetKey();

    size_t QueueSize() const;
    bool IsRun() const { return m_Run; }
    time_t Now() const { return V7Now(m_Timing.now); }

private:
    static bool PutProc(void* send);
    // The identifier of our own side: that of the receiver.
    CIdentV7 OwnIdent();
    // Empty packet from us to the peer.
    CPackV7 EmptyToPeer();

    std::list<CPackV7> m_Queue;    // under m_QueueMutex
    int m_LastIdent = 0;           // under the window lock
    BasePoolThread* m_Pool;
    std::mutex m_SendMutex;
    mutable std::mutex m_QueueMutex;
    std::condition_variable m_QueueCond;

public:
    std::atomic<bool> m_Run{false};
    CReplyForSend m_Reply;
    std::atomic<time_t> m_TimeChangeIP{0};   // last change of the peer's address
    in6_addr m_Addr{};             // the peer's direct address; SetAddr while running
    int m_Port = 0;
    in6_addr m_AddrCloud{};        // the path through VELKCloud
    int m_PortCloud = 0;
    CIdentV7 m_Ident;              // the peer
    CKeySys m_Key;                 // empty: the receiver's key; SetKey while running
    CWindV7 m_Wind;
    int m_MaxTry = 5;              // transmissions of a packet, the first included
    int m_TimeTry = 2000;          // ms between transmissions
    bool m_OnlyIP = false;         // compare the address without the port
    std::atomic<bool> m_Disable{false};
    bool m_ByCloud = false;        // the peer is reached through VELKCloud
    Timing m_Timing;
};
