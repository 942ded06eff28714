#pragma once
// StringQueue: the bounded text queue between any thread that writes a log
// line and the log's one writer thread.
//
// Put never blocks: when the queue is over its maximum, the oldest entries are
// dropped, so a burst of traffic costs the caller one insertion and loses old
// lines rather than stalling a receive thread. With a maximum of N the queue
// holds N + 1 entries at most.
//
// Threads: any number of writers, one or more readers. The mutex is a leaf:
// nothing else is taken while it is held.
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

class StringQueue {
public:
    explicit StringQueue(unsigned long maxSize);
    virtual ~StringQueue();
    StringQueue(const StringQueue&) = delete;
    StringQueue& operator=(const StringQueue&) = delete;

    // Appends the text and wakes one reader. False if an older entry had to
    // be dropped to make room.
    bool Put(const std::string& text);
    bool Put(std::string&& text);
    // Blocks until there is an entry, then moves the oldest one out. Always true.
    bool Read(std::string& out);
    size_t Size() const;

private:
    std::deque<std::string> m_Queue;
    mutable std::mutex m_Mutex;
    std::condition_variable m_Cond;
    unsigned long m_MaxSize;
};
