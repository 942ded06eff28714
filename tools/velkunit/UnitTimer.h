#pragma once
// UnitTimer: one thread of timed jobs for the simulator: answers held back by
// --delay, the two ends of a restart, the buttons of the cloud method, the
// clean-up of links that went quiet.
//
// Threads: any thread schedules (After). The procedure "UnitTimer::Proc" on
// the pool runs the jobs one at a time, in the order of their time, and
// without holding the timer's mutex, so that a job may schedule another or
// stop a carrier. The mutex is a leaf.
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>

class BasePoolThread;

namespace velkunit {

class UnitTimer {
public:
    using Job = std::function<void()>;

    explicit UnitTimer(BasePoolThread* pool) : m_Pool(pool) {}
    ~UnitTimer() { Stop(); }
    UnitTimer(const UnitTimer&) = delete;
    UnitTimer& operator=(const UnitTimer&) = delete;

    void Start();
    // Returns after the job under way; the jobs not yet due are dropped.
    void Stop();
    void After(int ms, Job job);

private:
    static bool Proc(void* timer);

    BasePoolThread* m_Pool;
    std::mutex m_Mutex;
    std::condition_variable m_Cond;
    std::multimap<std::chrono::steady_clock::time_point, Job> m_Jobs;   // under m_Mutex
    bool m_Run = false;                                                 // under m_Mutex
};

}  // namespace velkunit
