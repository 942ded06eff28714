#pragma once
// InpQueuePackV7: received packets on their way to the user-interface thread.
// A receive thread appends and posts an event; the interface thread drains
// the queue, so one event may carry many packets and surplus events find the
// queue empty.
//
// Threads: any. The mutex is a leaf.
#include "link/CPackV7.h"

#include <deque>
#include <mutex>

class InpQueuePackV7 {
public:
    // Appends a copy; always true.
    bool Put(const CPackV7& pack);
    // Moves the oldest packet into `pack`; false when the queue is empty.
    bool Read(CPackV7& pack);
    size_t Size() const;
    void Clear();

private:
    std::deque<CPackV7> m_Queue;
    mutable std::mutex m_Mutex;
};
