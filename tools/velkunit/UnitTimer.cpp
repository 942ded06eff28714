#include "tools/velkunit/UnitTimer.h"

#include "base/BasePoolThread.h"

namespace velkunit {

void UnitTimer::Start()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_Run) return;
        m_Run = true;
    }
    m_Pool->StartProc("UnitTimer::Proc", Proc, this, 0, 0);
}

void UnitTimer::Stop()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Run = false;
        m_Jobs.clear();
    }
    m_Cond.notify_all();
    m_Pool->StopProc(Proc, this);
}

void UnitTimer::After(int ms, Job job)
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (!m_Run) return;
        m_Jobs.emplace(std::chrono::steady_clock::now() + std::chrono::milliseconds(ms), std::move(job));
    }
    m_Cond.notify_all();
}

bool UnitTimer::Proc(void* timer)
{
    auto* self = static_cast<UnitTimer*>(timer);
    std::unique_lock<std::mutex> lock(self->m_Mutex);
    while (self->m_Run) {
        if (self->m_Jobs.empty()) {
            self->m_Cond.wait(lock);
            continue;
        }
        const auto first = self->m_Jobs.begin();
        // A copy: the job may be dropped (Stop) while the wait has the lock released.
        const auto due = first->first;
        if (due > std::chrono::steady_clock::now()) {
            self->m_Cond.wait_until(lock, due);
            continue;
        }
        Job job = std::move(first->second);
        self->m_Jobs.erase(first);
        lock.unlock();
        job();
        lock.lock();
    }
    return false;
}

}  // namespace velkunit
