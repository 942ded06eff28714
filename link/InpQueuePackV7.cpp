#include "link/InpQueuePackV7.h"

bool InpQueuePackV7::Put(const CPackV7& pack)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_Queue.push_back(pack);
    return true;
}

bool InpQueuePackV7::Read(CPackV7& pack)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Queue.empty()) return false;
    pack = m_Queue.front();
    m_Queue.pop_front();
    return true;
}

size_t InpQueuePackV7::Size() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Queue.size();
}

void InpQueuePackV7::Clear()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_Queue.clear();
}
