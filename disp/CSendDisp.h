#pragma once
// CSendDisp: one end of a reliable session of the dispatcher protocol over
// datagrams. It numbers packets 1..255 (wrapping to 1), keeps up to seven in
// flight in its CDispWind, sends each at most five times, 2 s apart, carries
// acknowledgements as reply bytes in the trailer of whatever goes out next,
// drops repeats with a filter of the last 14 idents, and gives the peer up
// after eleven lost packets. It owns no socket: finished bytes leave through
// the virtual Send, and received datagrams come in through Handling.
//
// A derived class (the relay's session of one tool) overrides Send, Disconnect,
// HandlingData, and the logging hooks; the defaults here write nothing.
//
// Threads:
//   - the receiver's thread runs Handling (and with it HandlingData);
//   - "CSendDisp::PutProc" on the pool drains the send queue into the window;
//   - "CDispWind::TimerProc" on the pool retransmits and gives packets up;
//   - Put and SendMes may be called from any thread; Start, Stop and the
//     destructor by the owner.
// Lock order, outermost first: the owner's list mutex (the relay's, not ours);
// the window lock; the send mutex; then either the reply-list lock or the key
// lock (never both). The send-queue lock is independent: it is released
// before the window lock is taken. Send (and so the receiver's socket mutex)
// is called with the window lock and the send mutex held.
//
// Procedures never stop themselves: TimerProc reaches Disconnect, whose
// override must call StopSendOnly, never Stop, and must not wait for a lock
// that a caller of Stop may hold while Stop waits for TimerProc (the relay's
// list mutex). A derived class must call Stop() in its own destructor, so
// that no procedure calls one of its overrides while it is being destroyed;
// the base destructor only makes sure that no procedure outlives the object.
#include "base/DBGUID.h"
#include "base/DBString.h"
#include "base/Secrets.h"
#include "disp/CPackDisp.h"
#include "link/CIdeaCtx.h"

#include <netinet/in.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <list>
#include <mutex>
#include <string>

class BasePoolThread;
class CIdeaKey;
class CSendDisp;

// A packet in the window: how often it went out, and the time left until the
// next send.
class CPackDispWind : public CPackDisp {
public:
    CPackDispWind(const CPackDisp& pack, int firstTimerMs) : CPackDisp(pack), timerMs(firstTimerMs) {}

    int tries = 1;
    int timerMs;
};

// The packets in flight of one session, and the timer that resends them.
// At most seven are in flight, and no new packet goes out while the oldest one
// in flight is seven idents or more behind it: the peer's duplicate filter
// remembers fourteen idents, and a packet held back while more than that
// passed it would be taken for a new one when resent, and delivered twice.
// Without loss the two rules are the same.
// Threads and locks: see CSendDisp; the window lock guards the list, `started`
// and the owner's outgoing ident.
class CDispWind {
public:
    static constexpr int MaxInFlight = 7;
    static constexpr int MaxTries = 5;    // sends of one packet before it is given up
    static constexpr int MaxLost = 11;    // packets given up in a row: the peer is lost
    static constexpr int kTickMs = 500;   // window time of one tick
    static constexpr int kRetryMs = 2000; // window time between two sends of one packet

    CDispWind(CSendDisp* owner, BasePoolThread* pool);
    ~CDispWind();
    CDispWind(const CDispWind&) = delete;
    CDispWind& operator=(const CDispWind&) = delete;

    // Numbers and sends a packet, then keeps it until it is acknowledged or
    // given up. Blocks while the window has no room. An empty or voice packet is
    // sent once, unnumbered and untracked. A window that is not started (or
    // whose owner has stopped) drops the packet and returns true; false means
    // Send failed and nothing is kept.
    bool Put(CPackDisp& pack);
    // Idents acknowledged by the peer: those packets leave the window, and any
    // older packet still in it goes out again at the next tick.
    void MngReply(int count, const unsigned char* idents);
    // Starts the timer, unless it runs already.
    void Start();
    // Sends a CloseLink, ends the timer and empties the window.
    void Stop();
    void Clear();
    int InFlight() const;
    // One pass of the timer, 500 ms of window time: resends and give-ups,
    // and the loss of the peer. False once the peer is given up. Public so
    // that a test can drive the window's time itself.
    bool Tick();

private:
    friend class CSendDisp;
    static bool TimerProc(void* wind);
    bool HasRoomLocked() const;
    // Ends the timer without a CloseLink (the peer is gone or has closed).
    void EndTimer();

    std::list<CPackDispWind> m_List;
    mutable std::mutex m_Mutex;
    std::condition_variable m_Cond;   // Put waits here for room
    bool m_Started = false;
    BasePoolThread* m_Pool;
    std::string m_Name = "CDispWind::TimerProc";
    CSendDisp* m_Owner;
};

class CSendDisp {
public:
    // The key mask of the protocol; the value lives in base/Secrets.cpp.
    static const Secrets::Key16& m_Maska;

    // Acknowledgements owed to the peer, and with them the duplicate filter:
    // the last 14 idents received.
    class CReplyForSend {
    public:
        static constexpr int Remembered = 14;
        // False for an ident already listed (a duplicate): it is then owed
        // again. Otherwise listed, owed, and the oldest forgotten past 14.
        bool Add(int ident);
        void Clear();
        bool HasUnsent();
        // Puts the owed idents into the reply trailer of `pack`, as many as
        // fit, and marks them sent.
        void Fill(CPackDisp& pack);

    private:
        struct Entry {
            unsigned char ident;
            bool sent;
        };
        std::mutex m_Mutex;
        std::deque<Entry> m_List;
    };

    // mode 1: plain packets (this system); mode 2: each packet also carries a
    // TimeAndGUID with `guid` (null: zero). The key is the protocol's default
    // (DefaultKey) until SetKey.
    CSendDisp(BasePoolThread* pool, const in6_addr& peer, int port, int mode, const DBGUID* guid);
    CSendDisp(const CSendDisp&) = delete;
    CSendDisp& operator=(const CSendDisp&) = delete;

    virtual ~CSendDisp();
    // Traffic hooks, called with the plain packet (replies included).
    virtual void LogSend(const in6_addr& peer, int port, const CPackDisp& pack);
    virtual void LogReceive(const in6_addr& peer, int port, const CPackDisp& pack);
    virtual void BadPut(const wchar_t* text);
    virtual void BadPutErr(const wchar_t* text, int errorCode);
    virtual void BadPutMes(const wchar_t* text, const unsigned char* bytes, int length);
    // Hands one datagram to the socket: the byte count, or -1 with errno set.
    // Here: -1 (ENOTCONN), since the base class has no socket.
    virtual int Send(const unsigned char* data, int length, const in6_addr& peer, int port);
    // The peer is lost (eleven packets given up). Runs on TimerProc: it may
    // call StopSendOnly, never Stop. Here: StopSendOnly.
    virtual void Disconnect(const in6_addr& peer, int port);
    // One new packet from the peer, after the duplicate filter. Here: nothing.
    virtual void HandlingData(CPackDisp& pack);
    // Hooks of the protocol's configuration transfer; nothing here uses them.
    virtual void FragConfig(int part, int count);
    virtual void PartNodeConfig();
    virtual void DispatchEventLoop();

    void Start();
    // Ends the session: the queue, window and reply list are emptied, a
    // CloseLink goes out, both procedures end. Also waits for the procedures
    // of a session already stopped by StopSendOnly. Never from a procedure.
    void Stop();
    // Stop without the window's part (no CloseLink, the timer left running):
    // for Disconnect, which runs on the timer's own procedure.
    void StopSendOnly();
    // Empties the window, the reply list and the send queue.
    void Clear();

    // Sends a packet reliably (queued, merged, numbered). Nothing happens
    // while the session is not active. An empty or voice packet goes out at
    // once, unnumbered.
    void Put(CPackDisp& pack);
    void SendMes(const CMesDisp& mes);
    // One datagram received from the peer, on the receiver's thread.
    void Handling(const unsigned char* data, int length);
    // Adds the owed replies (and in mode 2 the TimeAndGUID) to a copy, enciphers
    // it and sends it. True also when there was nothing to send.
    bool SendSocket(const CPackDisp& pack);
    // 1..255, then 1 again. Called under the window lock.
    int NextIdent();
    // "[address]:port" of the peer.
    DBString ToStr() const;

    void SetKey(const CIdeaKey& key);
    // The protocol's key: CIdeaKey::Set2 of three empty texts and m_Maska.
    static CIdeaKey DefaultKey();

    bool IsActive() const { return m_Active; }
    int LostCount() const { return m_LostCount; }
    const in6_addr& Peer() const { return m_Peer; }
    int Port() const { return m_Port; }
    CDispWind& Wind() { return m_Wind; }

    // The real period of the window timer, each run of which counts as one
    // 500 ms tick of window time. Production keeps 500; a test runs the window
    // faster, or sets an hour and calls CDispWind::Tick itself. Set before Start.
    struct Timing {
        int timerMs = CDispWind::kTickMs;
    };
    Timing m_Timing;

private:
    friend class CDispWind;
    static bool PutProc(void* self);
    // One pass of PutProc: waits for the queue, merges, hands to the window.
    void Send();
    // Clears `active` and ends PutProc; false if the session was not active.
    bool StopSending();
    // An otherwise empty packet, if some acknowledgement is owed.
    void SendReplies();

    std::list<CPackDisp> m_Queue;
    std::mutex m_QueueMutex;
    std::condition_variable m_QueueCond;
    std::atomic<int> m_LastIdent{0};   // receiver's thread (and Start)
    const int m_Mode;
    BasePoolThread* m_Pool;
    std::string m_Name = "CSendDisp::PutProc";
    std::mutex m_SendMutex;
    std::mutex m_KeyMutex;
    const in6_addr m_Peer;
    const int m_Port;
    const DBGUID m_Guid;
    std::atomic<bool> m_Active{false};
    CReplyForSend m_Reply;
    uint32_t m_OutIdent = 0;   // under the window lock
    std::atomic<int> m_LostCount{0};
    CIdeaCtx m_Key;            // under m_KeyMutex
    CDispWind m_Wind;
};
