#pragma once
// BaseThread: runs one periodic procedure on one operating-system thread.
//
// A procedure is a plain function bool (*)(void*) with its context: true asks
// to run again after the interval, false ends it. The period is kept from
// start to start; a run longer than the interval is logged and the next run
// starts at once. Delays and intervals are signed milliseconds on the steady
// clock, so a change of the wall clock neither shortens nor stretches them.
//
// A thread is never joined: Stop sets the break flag and polls `running`
// every millisecond, then detaches. A thread that has not ended within the
// stop limit (31 s) is a fatal fault: the process logs one line, prints it on
// standard output after "abort " and aborts. There is no recovery.
//
// Faults: an ErrorXML or other std::exception thrown by the procedure is
// caught at the edge of each call, logged with its text and code (PutErr),
// and ends that run of the procedure as if it had returned false; the thread
// and the process go on.
//
// Threads: Start, Stop and the destructor are called by the owner, one thread
// at a time. The body runs on its own thread. BreakExec and Name may be
// called from any thread.
// Locks: the break mutex guards the wait of the body and is a leaf; the text
// mutex guards the texts that Name() reads and is a leaf as well.
//
// Destroying the object while its function is running detaches the body
// (" - BaseThread::~BaseThread: forced disconnection !!!"), which then runs on
// an object that no longer exists: stop a thread before destroying it.
#include "base/DBString.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

using ThreadProc = bool (*)(void*);

// The hard limits past which a stuck thread or lock ends the process.
// Production keeps these values; tests shorten them to reach the abort path
// in a child process within a second.
struct ThreadLimits {
    std::atomic<int> stopSeconds{31};    // BaseThread::Stop, BasePoolThread::StopProc
    std::atomic<int> lockSeconds{30};    // BasePoolThread::Lock
    std::atomic<int> abortPauseMs{512};  // lets a log writer take the last line
};

class BaseThread {
public:
    BaseThread();
    BaseThread(const BaseThread&) = delete;
    BaseThread& operator=(const BaseThread&) = delete;

    virtual void PrintListProc();   // hook for overrun reports; empty here
    virtual std::string Name() const;
    virtual void PutLog(const std::string& text);
    // A fault of the procedure: its text and code (CBaseLog::CnvErr), to PutLog.
    virtual void PutErr(const DBString& text, int code);
    virtual ~BaseThread();

    void Start(const std::string& name, ThreadProc fn, void* arg, int delayMs, int intervalMs, bool log);
    void Stop();
    // Asks the body to end at its next wait, without waiting for it.
    void BreakExec();
    // Waits ms milliseconds unless a break comes first; true means run.
    // ms 0 runs at once; ms below 0 is an overrun: logged, and run at once.
    bool WaitBeforeExec(int ms);

    // The body is between its start and its exit (set already by Start, so
    // that a Stop right after Start waits for the body).
    bool IsRunning() const { return m_Running; }
    bool IsInExec() const { return m_InExec; }

    static bool s_IsAllLog;   // as if every log flag were on; never set here
    static ThreadLimits& Limits();
    // Sleeps the abort pause, prints "abort " and the text, and aborts.
    [[noreturn]] static void AbortProcess(const std::string& text);
    // The kernel id of the calling thread.
    static long CurrentTid();

    // Keeps `running` true while the body is on the stack, and clears both
    // flags on any way out of it.
    class Borders {
    public:
        explicit Borders(BaseThread* thread);
        virtual ~Borders();
        Borders(const Borders&) = delete;
        Borders& operator=(const Borders&) = delete;

    private:
        BaseThread* m_Thread;
    };

protected:
    // One call of the procedure; a fault thrown by it is logged and reads as
    // false, so that it ends the procedure instead of the process.
    bool CallProc(ThreadProc fn, void* arg, const std::string& procName);
    // Waits until the deadline or until `flag` is set under `mutex`; true if
    // the time ran out with no break.
    static bool WaitForBreak(std::mutex& mutex, std::condition_variable& cond, const std::atomic<bool>& flag,
                             int ms);
    static std::string Num(long value) { return std::to_string(value); }

    mutable std::mutex m_TextMutex;   // leaf; guards the texts of Name()
    // " PID: <kernel id> ", set by the body at entry; read under m_TextMutex.
    const std::string& ThreadIdLocked() const { return m_ThreadId; }

private:
    void Proc();
    // The three-way rule of Start and the destructor for an old body.
    void Release(const char* where);

    ThreadProc m_Fn = nullptr;
    void* m_Arg = nullptr;
    std::thread m_Thread;
    std::atomic<bool> m_Running{false};
    std::atomic<bool> m_InExec{false};
    std::string m_Name;              // under m_TextMutex
    std::atomic<bool> m_BreakFlag{false};
    std::atomic<int> m_Delay{0};
    std::atomic<int> m_Interval{0};
    bool m_Log = false;
    std::mutex m_BreakMutex;
    std::condition_variable m_BreakCond;
    std::string m_ThreadId;          // under m_TextMutex
};
