#include "base/BasePoolThread.h"

#include "base/CBaseLog.h"

#include <chrono>
#include <iostream>

using Clock = std::chrono::steady_clock;

// ---------------------------------------------------------------- the lock

bool BasePoolThread::SteadyLock::TryLockFor(int seconds)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    const auto deadline = Clock::now() + std::chrono::seconds(seconds);
    while (m_Locked) {
        if (m_Cond.wait_until(lock, deadline) == std::cv_status::timeout && m_Locked) return false;
    }
    m_Locked = true;
    return true;
}

void BasePoolThread::SteadyLock::Unlock()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Locked = false;
    }
    m_Cond.notify_one();
}

class BasePoolThread::LockGuard {
public:
    LockGuard(BasePoolThread* pool, const std::string& who) : m_Pool(pool) { m_Pool->Lock(who); }
    ~LockGuard() { m_Pool->Unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    BasePoolThread* m_Pool;
};

void BasePoolThread::Lock(const std::string& who)
{
    const int limit = BaseThread::Limits().lockSeconds;
    if (!m_Lock.TryLockFor(limit)) {
        std::string text = who;
        {
            std::lock_guard<std::mutex> lock(m_HolderMutex);
            if (!m_LastHolder.empty()) text += " act:" + m_LastHolder;
        }
        text += " - lock during " + std::to_string(limit) + " sec";
        PutLog(text);
        BaseThread::AbortProcess(text);
    }
    std::lock_guard<std::mutex> lock(m_HolderMutex);
    m_LastHolder = who;
}

void BasePoolThread::Unlock() { m_Lock.Unlock(); }

// ---------------------------------------------------------------- a pool thread

BasePoolThread::Thread::Thread(BasePoolThread* pool) : m_Pool(pool)
{
    m_ProcName = "constructor";
    m_State = "constructor";
}

BasePoolThread::Thread::~Thread() = default;

std::string BasePoolThread::Thread::Name() const
{
    std::lock_guard<std::mutex> lock(m_TextMutex);
    return m_ProcName + "(" + Num(m_Delay) + "," + Num(m_Interval) + ")" + ThreadIdLocked() + m_State + " ";
}

void BasePoolThread::Thread::PutLog(const std::string& text) { m_Pool->PutLog(text); }

void BasePoolThread::Thread::PutErr(const DBString& text, int code) { m_Pool->PutErr(text, code); }

void BasePoolThread::Thread::SetState(const std::string& state)
{
    std::lock_guard<std::mutex> lock(m_TextMutex);
    m_State = state;
}

void BasePoolThread::Thread::Assign(const std::string& name, ThreadProc fn, void* arg, int delayMs, int intervalMs)
{
    {
        std::lock_guard<std::mutex> lock(m_TextMutex);
        m_ProcName = name;
        m_State = "SetParamExec(" + name;
    }
    m_Fn = fn;
    m_Arg = arg;
    m_Delay = delayMs;
    m_Interval = intervalMs;
    m_PoolBreak.exchange(false);
}

void BasePoolThread::Thread::SetBusy()
{
    {
        std::lock_guard<std::mutex> lock(m_BusyMutex);
        m_Busy.exchange(true);
    }
    m_BusyCond.notify_all();
}

void BasePoolThread::Thread::SetPoolBreak()
{
    {
        std::lock_guard<std::mutex> lock(m_BreakMutex);
        m_PoolBreak.exchange(true);
    }
    m_BreakCond.notify_all();
}

bool BasePoolThread::Thread::WaitBeforePoolExec(int ms)
{
    if (ms > 0) return WaitForBreak(m_BreakMutex, m_BreakCond, m_PoolBreak, ms);
    if (ms == 0) return true;
    m_Pool->PutLog("Duration of procedure is longer than timer interval " + Name() + " " + Num(ms) + " " +
                   Num(m_Interval));
    return true;
}

void BasePoolThread::Thread::Exec()
{
    SetState("Exec begin");
    const ThreadProc fn = m_Fn;
    void* const arg = m_Arg;
    const int interval = m_Interval;
    std::string procName;
    {
        std::lock_guard<std::mutex> lock(m_TextMutex);
        procName = m_ProcName;
    }
    if (WaitBeforePoolExec(m_Delay)) {
        for (;;) {
            const auto t0 = Clock::now();
            SetState("Func begin");
            const bool again = CallProc(fn, arg, procName);
            SetState(again ? "Func TRUE end" : "Func FALSE end");
            if (!again) break;
            const auto t1 = Clock::now();
            if (interval < 1) break;
            const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(t1 - t0).count();
            if (!WaitBeforePoolExec(interval - static_cast<int>(spent))) break;
        }
    }
    SetState("Exec end");
}

bool BasePoolThread::PoolThreadProc(void* thread)
{
    auto* t = static_cast<Thread*>(thread);
    BasePoolThread* pool = t->m_Pool;
    t->SetState("Thread begin");
    while (pool->m_Running) {
        t->SetState("Before wait exec");
        // Held for the whole procedure: Stop waits on it for a running one.
        std::unique_lock<std::mutex> busy(t->m_BusyMutex);
        t->m_BusyCond.wait(busy, [&] { return t->m_Busy || !pool->m_Running; });
        t->SetState("After wait exec");
        if (!pool->m_Running) return true;
        if (t->m_Busy && t->m_Fn && t->m_Arg && !t->m_PoolBreak) t->Exec();
        if (pool->IsLog()) pool->PutLog("Stop  " + t->Name() + " ended in pool " + pool->m_Name);
        t->m_Fn = nullptr;
        t->m_Arg = nullptr;
        t->m_Busy.exchange(false);
    }
    return true;
}

// ---------------------------------------------------------------- the pool

BasePoolThread::BasePoolThread(const std::string& name, bool log) : m_Name(name), m_Log(log) {}

BasePoolThread::~BasePoolThread() { Stop(); }

void BasePoolThread::PutLog(const std::string& text) { std::cout << m_Name << " - " << text << std::endl; }

void BasePoolThread::PutErr(const DBString& text, int code) { PutLog(CBaseLog::CnvErr(text.c_str(), code).ToStr()); }

int BasePoolThread::Count() const { return m_Count; }

BasePoolThread::Thread* BasePoolThread::FindLocked(ThreadProc fn, void* arg, std::string& outName, bool breakIt)
{
    for (const auto& owned : m_List) {
        Thread* t = owned.get();
        if (t->m_Fn != fn || t->m_Arg != arg) continue;
        outName = t->Name();
        if (t->m_Busy) {
            if (breakIt) t->SetPoolBreak();
            return t;
        }
        // The procedure has ended and left its pair behind.
        t->m_Fn = nullptr;
        t->m_Arg = nullptr;
        return nullptr;
    }
    return nullptr;
}

BasePoolThread::Thread* BasePoolThread::IsStartProc(ThreadProc fn, void* arg, std::string& outName, bool breakIt)
{
    outName.clear();
    LockGuard guard(this, "BasePoolThread::IsStartProc");
    return FindLocked(fn, arg, outName, breakIt);
}

BasePoolThread::Thread* BasePoolThread::StartProc(const std::string& name, ThreadProc fn, void* arg, int delayMs,
                                                  int intervalMs)
{
    std::string other;
    Thread* t = nullptr;
    {
        // The look-up and the assignment share one hold of the lock, so two
        // callers cannot both start the same pair.
        LockGuard guard(this, "BasePoolThread::StartProc " + name);
        Thread* running = FindLocked(fn, arg, other, false);
        if (!running) {
            for (const auto& c : m_List) {
                if (!c->m_Busy) {
                    t = c.get();
                    break;
                }
            }
            if (t) {
                t->Assign(name, fn, arg, delayMs, intervalMs);
                if (IsLog()) PutLog("Start " + t->Name() + "not new");
            } else {
                t = m_List.emplace_back(std::make_unique<Thread>(this)).get();
                ++m_Count;
                t->Assign(name, fn, arg, delayMs, intervalMs);
                t->Start("BasePoolThread::StartProc: pool " + m_Name + " thread " + name, PoolThreadProc, t, 0, 0,
                         false);
            }
            t->SetBusy();
            return t;
        }
        t = running;
    }
    PutLog(name + " NOT added to pool " + m_Name + " because there is already a thread " + other);
    return t;
}

void BasePoolThread::StopProc(ThreadProc fn, void* arg)
{
    const auto deadline = Clock::now() + std::chrono::seconds(BaseThread::Limits().stopSeconds.load());
    std::string name;
    std::string found;   // the name seen while it ran: the last pass finds nothing
    for (;;) {
        Thread* t = IsStartProc(fn, arg, name, true);
        if (!name.empty()) found = name;
        if (!t) {
            if (IsLog() && !found.empty()) PutLog("Stop  " + found + " removed from pool " + m_Name);
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (Clock::now() >= deadline) break;
    }
    const std::string text = found + " - thread not complete";
    PutLog(text);
    PrintProc();
    BaseThread::AbortProcess(text);
}

void BasePoolThread::PrintProc()
{
    LockGuard guard(this, "BasePoolThread::PrintProc");
    for (const auto& t : m_List)
        PutLog(t->Name() + (t->m_Busy ? "1" : "0") + (t->m_PoolBreak ? " 1" : " 0"));
}

void BasePoolThread::Stop()
{
    LockGuard guard(this, "BasePoolThread::Stop");
    m_Running.exchange(false);
    for (const auto& t : m_List) {
        t->SetBusy();   // waits for a procedure that is still running
        t->BaseThread::Stop();
    }
    for (auto& t : m_List) m_Stopped.push_back(std::move(t));
    m_List.clear();
    m_Count = 0;
}

// ---------------------------------------------------------------- the application's pool

PoolThread::PoolThread(const std::string& name, bool log, CBaseLog* badLog)
    : BasePoolThread(name, log), m_BadLog(badLog)
{
}

PoolThread::~PoolThread() { Stop(); }

void PoolThread::PutLog(const std::string& text)
{
    if (CBaseLog* log = m_BadLog) log->PutUtf8(text);
    else BasePoolThread::PutLog(text);
}

void PoolThread::PutErr(const DBString& text, int code)
{
    if (CBaseLog* log = m_BadLog) log->PutErr(text.c_str(), code);
    else BasePoolThread::PutErr(text, code);
}
