#include "base/StringQueue.h"

StringQueue::StringQueue(unsigned long maxSize) : m_MaxSize(maxSize) {}

StringQueue::~StringQueue() = default;

bool StringQueue::Put(const std::string& text) { return Put(std::string(text)); }

bool StringQueue::Put(std::string&& text)
{
    bool kept = true;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        while (m_Queue.size() > m_MaxSize) {
            m_Queue.pop_front();
            kept = false;
        }
        m_Queue.push_back(std::move(text));
    }
    m_Cond.notify_one();
    return kept;
}

bool StringQueue::Read(std::string& out)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Cond.wait(lock, [this] { return !m_Queue.empty(); });
    out = std::move(m_Queue.front());
    m_Queue.pop_front();
    return true;
}

size_t StringQueue::Size() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Queue.size();
}
