#pragma once
// BasePoolThread: named periodic procedures on reusable threads, so that a
// link can be opened and closed many times without creating a thread each
// time. A running procedure is identified only by the pair (function,
// context): that pair starts it, finds it, stops it, and refuses a second
// start of it. PoolThread is the pool of the application, one per process,
// which writes its lines to the log it is given.
//
// Threads: StartProc, StopProc, IsStartProc and PrintProc may be called from
// any thread; Stop by the owner at exit. Each pool thread runs its assigned
// procedure while holding its own `busy` mutex.
// Lock order, outermost first: the pool lock; a thread's `busy` mutex; that
// thread's `poolBreak` mutex. The text mutex of a thread and the holder mutex
// of the pool are leaves.
//
// Faults: a procedure that throws (ErrorXML or another std::exception) is
// ended as if it had returned false; the text and code go to the pool's log
// (PutErr: the application's pool writes them to its bad log).
//
// Limits: the pool lock is waited for at most 30 s, a procedure's end at most
// 31 s (ThreadLimits); past that the process logs one line, prints it after
// "abort " on standard output and aborts.
//
// Rules for users: a procedure must not StopProc itself (it would wait for
// its own end until the limit), and every user stops its own procedures with
// StopProc before the owner calls Stop, which waits with no limit for a
// procedure that is still running.
#include "base/BaseThread.h"

#include <atomic>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class CBaseLog;

class BasePoolThread {
public:
    class Thread : public BaseThread {
    public:
        explicit Thread(BasePoolThread* pool);
        // Procedure name "(" delay "," interval ")", thread id, state, blank.
        std::string Name() const override;
        void PutLog(const std::string& text) override;   // to the pool's log
        void PutErr(const DBString& text, int code) override;
        ~Thread() override;

        bool IsBusy() const { return m_Busy; }
        bool IsPoolBreak() const { return m_PoolBreak; }

    private:
        friend class BasePoolThread;
        void Exec();
        bool WaitBeforePoolExec(int ms);
        void SetState(const std::string& state);
        void Assign(const std::string& name, ThreadProc fn, void* arg, int delayMs, int intervalMs);
        void SetBusy();
        void SetPoolBreak();

        BasePoolThread* m_Pool;
        std::atomic<bool> m_Busy{false};
        std::mutex m_BusyMutex;
        std::condition_variable m_BusyCond;
        std::atomic<ThreadProc> m_Fn{nullptr};
        std::atomic<void*> m_Arg{nullptr};
        std::string m_ProcName;   // under m_TextMutex
        std::string m_State;      // under m_TextMutex
        std::atomic<int> m_Delay{0};
        std::atomic<int> m_Interval{0};
        std::atomic<bool> m_PoolBreak{false};
        std::mutex m_BreakMutex;
        std::condition_variable m_BreakCond;
    };

    BasePoolThread(const std::string& name, bool log);
    BasePoolThread(const BasePoolThread&) = delete;
    BasePoolThread& operator=(const BasePoolThread&) = delete;

    // Pool name, " - ", text, on standard output.
    virtual void PutLog(const std::string& text);
    // A procedure's fault: CBaseLog::CnvErr of text and code, to PutLog.
    virtual void PutErr(const DBString& text, int code);
    // Stops the pool (a second Stop finds the list empty) and frees the
    // threads of every earlier Stop.
    virtual ~BasePoolThread();

    // Runs fn(arg) after delayMs, then every intervalMs (0 or less: once).
    // A pair that is running already is left as it is, and its thread returned.
    Thread* StartProc(const std::string& name, ThreadProc fn, void* arg, int delayMs, int intervalMs);
    // Returns when the procedure has ended; at once for a pair not running.
    void StopProc(ThreadProc fn, void* arg);
    // The thread running the pair, or null; outName gets its Name(). With
    // breakIt the procedure is also told to stop.
    Thread* IsStartProc(ThreadProc fn, void* arg, std::string& outName, bool breakIt);
    void PrintProc();
    void Stop();

    void Lock(const std::string& who);
    void Unlock();

    const std::string& PoolName() const { return m_Name; }
    int Count() const;   // threads in the list

private:
    class LockGuard;
    // A timed lock whose deadline is on the steady clock. Built on a
    // condition variable because the thread sanitizer of our compiler does
    // not see pthread_mutex_clocklock, which std::timed_mutex uses.
    class SteadyLock {
    public:
        bool TryLockFor(int seconds);
        void Unlock();

    private:
        std::mutex m_Mutex;
        std::condition_variable m_Cond;
        bool m_Locked = false;
    };

    static bool PoolThreadProc(void* thread);
    // Under the pool lock: the first thread assigned to the pair.
    Thread* FindLocked(ThreadProc fn, void* arg, std::string& outName, bool breakIt);
    bool IsLog() const { return m_Log || BaseThread::s_IsAllLog; }

    std::string m_Name;
    bool m_Log;
    std::list<std::unique_ptr<Thread>> m_List;
    std::atomic<int> m_Count{0};   // changed under the pool lock
    SteadyLock m_Lock;
    std::string m_LastHolder;   // overwritten at each lock, under m_HolderMutex
    std::mutex m_HolderMutex;
    std::atomic<bool> m_Running{true};
    // Threads of a stopped pool stay allocated until the pool goes, since a
    // caller may still hold the pointer StartProc gave it.
    std::vector<std::unique_ptr<Thread>> m_Stopped;
};

// The application's pool: its lines go to the given log (the application
// passes its CBadLog) through PutUtf8, or to standard output while none is set.
class PoolThread : public BasePoolThread {
public:
    explicit PoolThread(const std::string& name, bool log = false, CBaseLog* badLog = nullptr);
    // Stops here, while PutLog still reaches this class.
    ~PoolThread() override;
    void SetLog(CBaseLog* badLog) { m_BadLog = badLog; }
    void PutLog(const std::string& text) override;
    void PutErr(const DBString& text, int code) override;

private:
    std::atomic<CBaseLog*> m_BadLog;
};
