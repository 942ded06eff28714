// BaseThread and the pool: timing, stop, one run per (function, context)
// pair, reuse of ended threads, the bounded queue, and the limits that end
// the process (in a child, with the limits shortened). Timing checks use
// lower bounds that a slow machine cannot break, and upper bounds only where
// a fault would add a whole interval.
#include "base/BasePoolThread.h"
#include "base/StringQueue.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <vector>

// Shared with the log tests of this executable.
namespace velktest {

// Polls for a condition with a deadline far beyond any normal wait.
bool WaitUntil(const std::function<bool()>& done)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace velktest

using velktest::WaitUntil;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

long Ms(Clock::duration d) { return static_cast<long>(std::chrono::duration_cast<milliseconds>(d).count()); }

class Captured {
public:
    void Add(const std::string& line)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Lines.push_back(line);
    }
    std::vector<std::string> With(const std::string& part = "")
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        std::vector<std::string> out;
        for (const auto& l : m_Lines)
            if (l.find(part) != std::string::npos) out.push_back(l);
        return out;
    }

private:
    std::mutex m_Mutex;
    std::vector<std::string> m_Lines;
};

class LoggedThread : public BaseThread {
public:
    ~LoggedThread() override { Stop(); }
    void PutLog(const std::string& text) override { log.Add(text); }
    Captured log;
};

class CapturePool : public BasePoolThread {
public:
    explicit CapturePool(bool logging) : BasePoolThread("P", logging) {}
    ~CapturePool() override { Stop(); }
    void PutLog(const std::string& text) override { log.Add(text); }
    bool Idle(ThreadProc fn, void* arg)
    {
        std::string name;
        return IsStartProc(fn, arg, name, false) == nullptr;
    }
    Captured log;
};

// A scripted procedure: call n takes sleepMs[n], then waits while the gate
// is shut; the first trueRuns calls ask to run again.
struct Proc {
    std::vector<int> sleepMs;
    int trueRuns = 1 << 30;
    std::atomic<int> calls{0};
    std::atomic<bool> stopReturned{false};
    std::atomic<bool> stopReturnedBeforeEnd{false};
    std::mutex mutex;
    std::condition_variable cond;
    bool open = true;
    std::vector<Clock::time_point> starts, ends;   // read once the procedure has ended

    void SetOpen(bool value)
    {
        std::lock_guard<std::mutex> lock(mutex);
        open = value;
        cond.notify_all();
    }
    static bool Run(void* p)
    {
        auto* s = static_cast<Proc*>(p);
        const auto start = Clock::now();
        const int n = s->calls++;
        if (n < static_cast<int>(s->sleepMs.size())) std::this_thread::sleep_for(milliseconds(s->sleepMs[n]));
        std::unique_lock<std::mutex> lock(s->mutex);
        s->cond.wait(lock, [s] { return s->open; });
        s->stopReturnedBeforeEnd = s->stopReturned.load();
        s->starts.push_back(start);
        s->ends.push_back(Clock::now());
        return n < s->trueRuns;
    }
};

// The milliseconds of an overrun line: "... <ms> <interval>".
int OverrunMs(const std::string& line)
{
    const size_t end = line.rfind(' ');
    return std::stoi(line.substr(line.rfind(' ', end - 1) + 1));
}

}  // namespace

TEST(BaseThreadTiming, IntervalZeroRunsOnceAfterTheDelayWithItsLifeCycleLines)
{
    Proc s;
    LoggedThread t;
    const auto begin = Clock::now();
    t.Start("once", Proc::Run, &s, 30, 0, true);
    ASSERT_TRUE(WaitUntil([&] { return !t.IsRunning(); }));
    ASSERT_EQ(s.calls, 1);
    EXPECT_GE(Ms(s.starts[0] - begin), 30);
    const auto lines = t.log.With();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].rfind("Init  once(30,0) launching PID: ", 0), 0u);
    EXPECT_EQ(lines[1].rfind("Start once(30,0) PID: ", 0), 0u);
    EXPECT_EQ(lines[2], "Exec " + lines[1].substr(6));
    EXPECT_EQ(lines[3], "End " + lines[1].substr(6));
    EXPECT_EQ(t.Name(), lines[1].substr(6));
}

TEST(BaseThreadTiming, PeriodIsKeptFromStartToStart)
{
    // Each run takes 150 ms of a 300 ms period. Starts 450 ms apart would
    // mean the run time was added to the pause instead of subtracted.
    Proc s;
    s.sleepMs = {150, 150, 150, 150};
    s.trueRuns = 4;
    LoggedThread t;
    t.Start("period", Proc::Run, &s, 0, 300, false);
    ASSERT_TRUE(WaitUntil([&] { return !t.IsRunning(); }));
    ASSERT_EQ(s.starts.size(), 5u);
    long shortest = 1000000;
    for (size_t i = 1; i < s.starts.size(); ++i) {
        EXPECT_GE(Ms(s.starts[i] - s.starts[i - 1]), 299);
        shortest = std::min(shortest, Ms(s.starts[i] - s.starts[i - 1]));
    }
    EXPECT_LT(shortest, 450);
    EXPECT_TRUE(t.log.With("Duration of procedure").empty());
}

TEST(BaseThreadTiming, OverrunIsLoggedOnceAndTheNextRunStartsAtOnce)
{
    Proc s;
    s.sleepMs = {1100};   // longer than the 1000 ms interval; the second call ends it
    s.trueRuns = 1;
    LoggedThread t;
    t.Start("slow", Proc::Run, &s, 0, 1000, false);
    ASSERT_TRUE(WaitUntil([&] { return !t.IsRunning(); }));
    ASSERT_EQ(s.calls, 2);
    EXPECT_LT(Ms(s.starts[1] - s.ends[0]), 500);   // not another interval
    const auto lines = t.log.With();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("Duration of procedure is longer than timer interval slow(0,1000) PID: ", 0), 0u);
    EXPECT_LE(OverrunMs(lines[0]), -100);
    EXPECT_EQ(lines[0].substr(lines[0].size() - 5), " 1000");
}

TEST(BaseThreadTiming, StopDuringTheFunctionWaitsForItAndPreventsTheNextRun)
{
    Proc s;
    s.SetOpen(false);
    LoggedThread t;
    t.Start("held", Proc::Run, &s, 0, 60000, true);
    ASSERT_TRUE(WaitUntil([&] { return s.calls == 1; }));
    std::thread stopper([&] {
        t.Stop();
        s.stopReturned = true;
    });
    // "Stop " is written just before the break flag is set.
    ASSERT_TRUE(WaitUntil([&] { return t.log.With("Stop held(0,60000)").size() == 1; }));
    s.SetOpen(true);
    stopper.join();
    EXPECT_FALSE(s.stopReturnedBeforeEnd);
    EXPECT_FALSE(t.IsRunning());
    EXPECT_EQ(s.calls, 1);   // a 60 s interval that was cut, not waited
}

TEST(PoolProcedures, ARunningPairIsNotStartedAgainAndKeepsItsSettings)
{
    Proc w, other;   // before the pool, which stops on its way out
    CapturePool pool(false);
    auto* t = pool.StartProc("first", Proc::Run, &w, 0, 60000);
    ASSERT_TRUE(WaitUntil([&] { return w.calls == 1; }));
    EXPECT_EQ(pool.StartProc("second", Proc::Run, &w, 5, 10), t);
    const auto refused = pool.log.With(" NOT added to pool ");
    ASSERT_EQ(refused.size(), 1u);
    EXPECT_EQ(refused[0].rfind("second NOT added to pool P because there is already a thread first(0,60000) PID: ", 0),
              0u);
    EXPECT_EQ(t->Name().rfind("first(0,60000) PID: ", 0), 0u);
    // Another context is another procedure, on another thread.
    EXPECT_NE(pool.StartProc("other", Proc::Run, &other, 0, 60000), t);
    EXPECT_EQ(pool.Count(), 2);
    pool.StopProc(Proc::Run, &w);
    pool.StopProc(Proc::Run, &other);
    EXPECT_EQ(w.calls, 1);
    EXPECT_TRUE(pool.Idle(Proc::Run, &w));
}

TEST(PoolProcedures, AnEndedThreadIsReusedNotRecreated)
{
    Proc once, next;
    CapturePool pool(true);
    auto* t = pool.StartProc("once", Proc::Run, &once, 0, 0);
    ASSERT_TRUE(WaitUntil([&] { return once.calls == 1 && !t->IsBusy(); }));
    EXPECT_TRUE(pool.log.With("not new").empty());
    ASSERT_EQ(pool.log.With(" ended in pool P").size(), 1u);
    EXPECT_EQ(pool.log.With(" ended in pool P")[0].rfind("Stop  once(0,0) PID: ", 0), 0u);

    EXPECT_EQ(pool.StartProc("next", Proc::Run, &next, 0, 0), t);
    EXPECT_EQ(pool.Count(), 1);
    const auto reused = pool.log.With("not new");
    ASSERT_EQ(reused.size(), 1u);
    EXPECT_EQ(reused[0].rfind("Start next(0,0) PID: ", 0), 0u);
    EXPECT_NE(reused[0].find("SetParamExec(next not new"), std::string::npos);
    ASSERT_TRUE(WaitUntil([&] { return next.calls == 1 && !t->IsBusy(); }));
}

TEST(PoolProcedures, StopOfAPairThatNeverRanReturnsAtOnceWithoutALine)
{
    Proc never;
    CapturePool pool(true);
    const auto begin = Clock::now();
    pool.StopProc(Proc::Run, &never);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
    EXPECT_TRUE(pool.log.With().empty());
}

TEST(PoolProcedures, StopDuringTheProcedureLetsItFinishAndEndsAtTheNextWait)
{
    Proc s;
    CapturePool pool(true);
    s.SetOpen(false);
    auto* t = pool.StartProc("held", Proc::Run, &s, 0, 60000);
    ASSERT_TRUE(WaitUntil([&] { return s.calls == 1; }));
    std::thread stopper([&] {
        pool.StopProc(Proc::Run, &s);
        s.stopReturned = true;
    });
    ASSERT_TRUE(WaitUntil([&] { return t->IsPoolBreak(); }));
    s.SetOpen(true);
    stopper.join();
    EXPECT_FALSE(s.stopReturnedBeforeEnd);
    EXPECT_EQ(s.calls, 1);
    const auto removed = pool.log.With(" removed from pool P");
    ASSERT_EQ(removed.size(), 1u);
    EXPECT_EQ(removed[0].rfind("Stop  held(0,60000) PID: ", 0), 0u);
}

TEST(PoolProcedures, OverrunIsLoggedThroughThePoolAndTheNextRunStartsAtOnce)
{
    Proc s;
    CapturePool pool(false);
    s.sleepMs = {1100};
    s.trueRuns = 1;
    auto* t = pool.StartProc("slow", Proc::Run, &s, 0, 1000);
    ASSERT_TRUE(WaitUntil([&] { return s.calls == 2 && !t->IsBusy(); }));
    EXPECT_LT(Ms(s.starts[1] - s.ends[0]), 500);
    const auto overrun = pool.log.With("Duration of procedure is longer than timer interval slow(0,1000) PID: ");
    ASSERT_EQ(overrun.size(), 1u);
    EXPECT_LE(OverrunMs(overrun[0]), -100);
}

TEST(StringQueueBounds, MaximumNHoldsNPlusOneThenDropsTheOldest)
{
    StringQueue q(3);
    for (int i = 1; i <= 4; ++i) EXPECT_TRUE(q.Put(std::to_string(i)));
    EXPECT_FALSE(q.Put("5"));
    EXPECT_EQ(q.Size(), 4u);
    std::string out;
    ASSERT_TRUE(q.Read(out));
    EXPECT_EQ(out, "2");
}

#ifndef VELK_TSAN
// The abort paths run in a child process with the limits shortened. The
// thread-sanitizer build skips them: forking a process that has threads is
// not dependable under it.

namespace {

// In a death test's child: the abort line to standard error, where the
// matcher reads, and limits of one second with no pause.
void ShortLimits()
{
    dup2(STDERR_FILENO, STDOUT_FILENO);
    BaseThread::Limits().stopSeconds = 1;
    BaseThread::Limits().lockSeconds = 1;
    BaseThread::Limits().abortPauseMs = 0;
}

}  // namespace

TEST(ThreadLimitsDeathTest, AThreadThatWillNotStopEndsTheProcessWithOneLine)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ShortLimits();
            static Proc stuck;
            static BaseThread t;
            stuck.SetOpen(false);
            t.Start("stuck", Proc::Run, &stuck, 0, 0, false);
            while (stuck.calls == 0) std::this_thread::sleep_for(milliseconds(1));
            t.Stop();
        },
        testing::KilledBySignal(SIGABRT), "abort stuck\\(0,0\\) PID: [0-9]+  - thread not complete");
}

TEST(ThreadLimitsDeathTest, APoolLockHeldPastTheLimitEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ShortLimits();
            static BasePoolThread pool("P", false);
            static std::atomic<bool> held{false};
            std::thread([] {
                pool.Lock("holder");
                held = true;
                for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
            }).detach();
            while (!held) std::this_thread::sleep_for(milliseconds(1));
            pool.Lock("second");
        },
        testing::KilledBySignal(SIGABRT), "abort second act:holder - lock during 1 sec");
}

TEST(ThreadLimitsDeathTest, APoolProcedureThatWillNotStopEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ShortLimits();
            static BasePoolThread pool("P", false);
            static Proc stuck;
            stuck.SetOpen(false);
            pool.StartProc("stuck", Proc::Run, &stuck, 0, 0);
            while (stuck.calls == 0) std::this_thread::sleep_for(milliseconds(1));
            pool.StopProc(Proc::Run, &stuck);
        },
        testing::KilledBySignal(SIGABRT),
        "P - stuck\\(0,0\\) PID: [0-9]+ Func begin 1 1\n.*abort stuck\\(0,0\\) PID: [0-9]+ Func begin  - thread not complete");
}
#endif
