#include "base/BaseThread.h"

#include "base/CBaseLog.h"
#include "base/ErrorXML.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>

using Clock = std::chrono::steady_clock;

bool BaseThread::s_IsAllLog = false;

ThreadLimits& BaseThread::Limits()
{
    static ThreadLimits limits;
    return limits;
}

void BaseThread::AbortProcess(const std::string& text)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(Limits().abortPauseMs.load()));
    std::cout << "abort " << text << std::endl;
    std::abort();
}

long BaseThread::CurrentTid() { return static_cast<long>(gettid()); }

BaseThread::Borders::Borders(BaseThread* thread) : m_Thread(thread)
{
    m_Thread->m_Running = true;
    m_Thread->m_InExec = false;
}

BaseThread::Borders::~Borders()
{
    // `running` last: once a stopper sees it false, the object may go away.
    m_Thread->m_InExec = false;
    m_Thread->m_Running = false;
}

BaseThread::BaseThread() = default;

BaseThread::~BaseThread() { Release("~BaseThread"); }

void BaseThread::PrintListProc() {}

std::string BaseThread::Name() const
{
    std::lock_guard<std::mutex> lock(m_TextMutex);
    return m_Name + "(" + Num(m_Delay) + "," + Num(m_Interval) + ")" + m_ThreadId;
}

void BaseThread::PutLog(const std::string& text) { std::cout << Name() << " - " << text << std::endl; }

void BaseThread::PutErr(const DBString& text, int code) { PutLog(CBaseLog::CnvErr(text.c_str(), code).ToStr()); }

bool BaseThread::CallProc(ThreadProc fn, void* arg, const std::string& procName)
{
    try {
        return fn(arg);
    } catch (const ErrorXML& e) {
        PutErr(DBString(procName.c_str()) + L" - " + e.GetText(), e.GetCode());
    } catch (const std::exception& e) {
        PutErr(DBString(procName.c_str()) + L" - " + DBString(e.what()), 0);
    }
    return false;
}

void BaseThread::Release(const char* where)
{
    if (!m_Thread.joinable()) return;
    const std::string prefix = std::string(" - BaseThread::") + where + ": ";
    if (m_Running) {
        if (!m_InExec) {
            PutLog(Name() + prefix + "forced stop beginning");
            Stop();
            PutLog(Name() + prefix + "forced stop ending");
        } else {
            // The user function cannot be waited for; it runs on unowned.
            PutLog(Name() + prefix + "forced disconnection !!!");
        }
    }
    if (m_Thread.joinable()) m_Thread.detach();
}

void BaseThread::Start(const std::string& name, ThreadProc fn, void* arg, int delayMs, int intervalMs, bool log)
{
    Release("Start");
    {
        std::lock_guard<std::mutex> lock(m_TextMutex);
        m_Name = name;
        m_ThreadId.clear();   // the new body sets its own
    }
    m_Fn = fn;
    m_Arg = arg;
    m_Interval = intervalMs;
    m_Delay = delayMs;
    m_Log = log;
    m_BreakFlag.exchange(false);
    if (log || s_IsAllLog) PutLog("Init  " + Name() + " launching PID: " + Num(CurrentTid()));
    // Set before the body exists, so that a Stop that follows at once waits
    // for the body instead of detaching a thread that has yet to begin.
    m_Running = true;
    try {
        m_Thread = std::thread(&BaseThread::Proc, this);
    } catch (...) {
        m_Running = false;
        throw;
    }
}

void BaseThread::Proc()
{
    Borders borders(this);
    {
        std::lock_guard<std::mutex> lock(m_TextMutex);
        m_ThreadId = " PID: " + Num(CurrentTid()) + " ";
    }
    const std::string copy = Name();
    const int delay = m_Delay;
    const int interval = m_Interval;
    const bool log = m_Log;
    const ThreadProc fn = m_Fn;
    void* const arg = m_Arg;
    std::string procName;
    {
        std::lock_guard<std::mutex> lock(m_TextMutex);
        procName = m_Name;
    }

    if (log || s_IsAllLog) PutLog("Start " + copy);
    if (WaitBeforeExec(delay)) {
        for (;;) {
            const auto t0 = Clock::now();
            if (log) PutLog("Exec " + copy);
            m_InExec = true;
            const bool again = CallProc(fn, arg, procName);
            m_InExec = false;
            if (!again) {
                if (log) {
                    PutLog("Avto break " + copy);
                    PutLog("End " + copy);
                }
                return;
            }
            const auto t1 = Clock::now();
            if (interval <= 0) break;
            const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(t1 - t0).count();
            if (!WaitBeforeExec(interval - static_cast<int>(spent))) break;
        }
    }
    if (log) PutLog("End " + copy);
}

bool BaseThread::WaitForBreak(std::mutex& mutex, std::condition_variable& cond, const std::atomic<bool>& flag,
                              int ms)
{
    std::unique_lock<std::mutex> lock(mutex);
    const auto deadline = Clock::now() + std::chrono::milliseconds(ms);
    while (!flag) {
        if (cond.wait_until(lock, deadline) == std::cv_status::timeout) break;
    }
    return !flag;
}

bool BaseThread::WaitBeforeExec(int ms)
{
    if (ms > 0) return WaitForBreak(m_BreakMutex, m_BreakCond, m_BreakFlag, ms);
    if (ms == 0) return true;
    PutLog("Duration of procedure is longer than timer interval " + Name() + " " + Num(ms) + " " + Num(m_Interval));
    if (m_Log || s_IsAllLog) PrintListProc();
    return true;
}

void BaseThread::BreakExec()
{
    {
        std::lock_guard<std::mutex> lock(m_BreakMutex);
        m_BreakFlag.exchange(true);
    }
    m_BreakCond.notify_all();
}

void BaseThread::Stop()
{
    if (!m_Thread.joinable()) return;
    if (m_Log || s_IsAllLog) {
        const std::string name = Name();
        if (!name.empty()) PutLog("Stop " + name);
    }
    BreakExec();
    // The limit is on the steady clock, so that a change of the wall clock
    // neither fires nor hides it; the pause between polls is 1 ms.
    const auto deadline = Clock::now() + std::chrono::seconds(Limits().stopSeconds.load());
    do {
        if (!m_Thread.joinable()) return;
        if (!m_Running) {
            m_Thread.detach();
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } while (Clock::now() < deadline);
    const std::string text = Name() + " - thread not complete";
    PutLog(text);
    AbortProcess(text);
}
