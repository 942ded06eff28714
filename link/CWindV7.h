#pragma once
// CWindV7: the window of one CSendV7, the sequenced packets that the peer has
// not yet acknowledged (at most 5). A timer procedure sends each of them again
// every m_TimeTry ms until it has gone out m_MaxTry times (0, 2, 4, 6, 8 s
// with the production constants) and gives it up at the next tick. A new
// ident also waits while the oldest packet in flight is five idents behind
// it, so that no resend can outlive the peer's memory of ten idents. An
// acknowledgement for a packet also retransmits at the next tick every older
// packet still waiting, since a gap means they were probably lost.
//
// Threads: the sender's PutProc (Put, which blocks while the window is full),
// "CWindV7::TimerProc" on the pool (Tick), the receiver thread (MngReply,
// IsNoLink through SendSocket), the owner (Start, Stop, Clear).
// Locks: the window mutex is taken before the sender's send mutex: Put and
// Tick call SendSocket with it held, and Put holds it only while not blocked
// (the wait releases it). MngReply hands a saved packet to CSendV7::Put
// outside the lock. The counters are atomic and read without the lock.
#include "link/CPackV7.h"

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>

class BasePoolThread;
class CSendV7;
class CWindV7;

// A packet waiting in the window for its acknowledgement.
class CPackWindV7 : public CPackV7 {
public:
    CPackWindV7(const CPackV7& pack, CWindV7* wind, int timeMs);

    int m_Try = 1;       // transmissions so far
    int m_TimeMs = 0;    // until the next transmission
    CWindV7* m_Wind;
};

class CWindV7 {
public:
    static constexpr int kSize = 5;     // packets awaiting acknowledgement
    static constexpr int kTickMs = 500; // window time per run of the timer
    static constexpr int kDropReport = 10;

    explicit CWindV7(CSendV7* send);
    ~CWindV7();
    CWindV7(const CWindV7&) = delete;
    CWindV7& operator=(const CWindV7&) = delete;

    // Empty list, counters clear, timer started with the sender's timer
    // period as first delay and period. Nothing happens while started already.
    void Start(BasePoolThread* pool);
    // Stops the timer and empties the window.
    void Stop();
    // Empties the window and wakes a sender blocked in Put.
    void Clear();

    // Sends a packet: unsequenced and relayed packets at once, outside the
    // window; a sequenced packet of ours under a new ident, then kept for
    // retransmission. Blocks while the window is full. False if the first
    // transmission failed (the packet is then not kept) or the sender stopped.
    bool Put(CPackV7& pack);
    // A packet was heard from the peer, carrying `repl` (0: none).
    void MngReply(int repl);
    // True once more than one failure has been counted since the peer was
    // last heard; clears the count when it answers true.
    bool IsNoLink();
    // One pass of the timer, 500 ms of window time: retransmissions and
    // give-ups. Public so that a test can drive the window's time itself.
    void Tick();

    int Count() const;
    bool IsStarted() const { return m_Start; }

    std::atomic<int> m_Fail{0};      // failures since the peer was last heard
    std::atomic<int> m_Drop{0};      // packets given up since the last report
    std::atomic<bool> m_LinkOk{false};
    std::atomic<long> m_GivenUp{0};  // packets given up since construction (a statistic)

private:
    static bool TimerProc(void* wind);
    // Whether the next ident may go out: the oldest packet in flight is less
    // than a window's width behind it. Under m_Mutex.
    bool SpanAllows() const;

    std::list<CPackWindV7> m_List;   // oldest first, under m_Mutex
    mutable std::mutex m_Mutex;
    std::condition_variable m_Cond;
    std::atomic<bool> m_Start{false};
    BasePoolThread* m_Pool = nullptr;
    CPackV7 m_Saved;                 // a given-up packet to send again; under m_Mutex
    CSendV7* m_Send;
};
