// BaseThread and the pool: timing, stop, one run per (function, context)
// pair, reuse of ended threads, the bounded queue, and the limits that end
// the process (in a child, with the limits shortened). Timing checks use
// lower bounds that a slow machine cannot break, and upper bounds only where
// a fault would add a whole interval.
#include "base/BasePoolThread.h"
#include "base/ErrorXML.h"
#include "support/WaitUntil.h"
#include "base/StringQueue.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <functional>
#include <future>
#include <stdexcept>
#include <vector>

// Shared with the log tests of this executable.
namespace velktest {
// The text matches the pattern, in which '#' stands for a digit and '*' for
// any run of characters. (std::regex draws false warnings from g++ 12 in the
// sanitizer builds.)
bool Like(const char* text, const char* pattern)
{
    if (*pattern == '*') return Like(text, pattern + 1) || (*text && Like(text + 1, pattern));
    if (!*pattern || !*text) return !*pattern && !*text;
    const bool same = *pattern == '#' ? isdigit(static_cast<unsigned char>(*text)) != 0 : *text == *pattern;
    return same && Like(text + 1, pattern + 1);
}
}  // namespace velktest

using velktest::Like;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

long Ms(Clock::duration d) { return static_cast<long>(std::chrono::duration_cast<milliseconds>(d).count()); }

// A thread or a pool whose log lines are kept for the test.
template <class Base>
class Logged : public Base {
public:
    using Base::Base;
    ~Logged() override { this->Stop(); }
    void PutLog(const std::string& text) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Lines.push_back(text);
    }
    std::vector<std::string> Lines()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Lines;
    }
    long Having(const char* pattern)   // how many lines are Like the pattern
    {
        const auto lines = Lines();
        return std::count_if(lines.begin(), lines.end(), [&](auto& l) { return Like(l.c_str(), pattern); });
    }

private:
    std::mutex m_Mutex;
    std::vector<std::string> m_Lines;
};

// A scripted procedure: every call takes sleepMs, then waits until the gate
// is open; the first trueRuns calls ask to run again.
struct Proc {
    explicit Proc(bool open = true) { if (open) Open(); }
    void Open() { gate.set_value(); }
    static bool Run(void* p)
    {
        auto* s = static_cast<Proc*>(p);
        const auto start = Clock::now();
        const int n = s->calls++;
        std::this_thread::sleep_for(milliseconds(s->sleepMs));
        s->opened.wait();
        s->starts.push_back(start);
        s->ends.push_back(Clock::now());
        return n < s->trueRuns;
    }

    int sleepMs = 0;
    int trueRuns = 1 << 30;
    std::atomic<int> calls{0};
    std::promise<void> gate;
    std::shared_future<void> opened = gate.get_future().share();
    std::vector<Clock::time_point> starts, ends;   // read once the procedure has ended
};

// Stops from another thread while the procedure is held in its first call;
// the stop must return only after the call has, and prevent a second one.
void StopWhileInside(Proc& s, const std::function<void()>& stop, const std::function<bool()>& breakSeen)
{
    ASSERT_TRUE(WaitUntil([&] { return s.calls == 1; }));
    Clock::time_point stopped;
    std::thread stopper([&] {
        stop();
        stopped = Clock::now();
    });
    const bool seen = WaitUntil(breakSeen);
    s.Open();
    stopper.join();
    EXPECT_TRUE(seen);
    ASSERT_EQ(s.calls, 1);   // a 60 s interval that was cut, not waited
    EXPECT_GE(stopped, s.ends[0]);
}

}  // namespace

TEST(ThreadTiming, IntervalZeroRunsOnceAfterTheDelayAndAPeriodIsKeptFromStartToStart)
{
    // Each periodic run takes 150 ms of a 300 ms period. Starts 450 ms apart
    // would mean the run time was added to the pause instead of subtracted.
    Proc once, periodic;
    periodic.sleepMs = 150;
    periodic.trueRuns = 4;
    Logged<BaseThread> t, p;
    const auto begin = Clock::now();
    t.Start("once", Proc::Run, &once, 30, 0, true);
    p.Start("period", Proc::Run, &periodic, 0, 300, false);
    ASSERT_TRUE(WaitUntil([&] { return !t.IsRunning() && !p.IsRunning(); }));
    ASSERT_EQ(once.calls, 1);
    EXPECT_GE(Ms(once.starts[0] - begin), 30);
    const auto lines = t.Lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_TRUE(Like(lines[0].c_str(), "Init  once(30,0) launching PID: #*")) << lines[0];
    EXPECT_TRUE(Like(lines[1].c_str(), "Start once(30,0) PID: #* ")) << lines[1];
    EXPECT_EQ(lines[2], "Exec " + lines[1].substr(6));
    EXPECT_EQ(lines[3], "End " + lines[1].substr(6));
    EXPECT_EQ(t.Name(), lines[1].substr(6)) << "the name outlives the body";

    ASSERT_EQ(periodic.starts.size(), 5u);
    std::vector<long> gaps;
    for (size_t i = 1; i < 5; ++i) gaps.push_back(Ms(periodic.starts[i] - periodic.starts[i - 1]));
    EXPECT_GE(*std::min_element(gaps.begin(), gaps.end()), 299);
    EXPECT_LT(*std::min_element(gaps.begin(), gaps.end()), 450);
    EXPECT_TRUE(p.Lines().empty()) << "no overrun";
}

TEST(ThreadTiming, AnOverrunIsLoggedOnceAndTheNextRunStartsAtOnce)
{
    // Each call takes longer than the 1000 ms interval; the second ends it.
    Proc ts, ps;
    ts.sleepMs = ps.sleepMs = 1100;
    ts.trueRuns = ps.trueRuns = 1;
    Logged<BaseThread> t;
    Logged<BasePoolThread> pool("P", false);
    t.Start("slow", Proc::Run, &ts, 0, 1000, false);
    auto* pt = pool.StartProc("slow", Proc::Run, &ps, 0, 1000);
    ASSERT_TRUE(WaitUntil([&] { return !t.IsRunning() && ps.calls == 2 && !pt->IsBusy(); }));
    for (Proc* s : {&ts, &ps}) {
        ASSERT_EQ(s->calls, 2);
        EXPECT_LT(Ms(s->starts[1] - s->ends[0]), 500);   // not another interval
    }
    // One line, with the overrun (at least 100 ms) as a negative wait, then the interval.
    const char* overrun = "Duration of procedure is longer than timer interval slow(0,1000) PID: * -###* 1000";
    EXPECT_EQ(t.Having(overrun), 1);
    EXPECT_EQ(pool.Having(overrun), 1);
    EXPECT_EQ(t.Lines().size() + pool.Lines().size(), 2u);
}

TEST(ThreadStop, StopDuringTheFunctionWaitsForItAndPreventsTheNextRun)
{
    Proc ts(false), ps(false);   // before the thread and the pool, which stop on their way out
    Logged<BaseThread> t;
    t.Start("held", Proc::Run, &ts, 0, 60000, true);
    // "Stop " is written just before the break flag is set.
    StopWhileInside(ts, [&] { t.Stop(); }, [&] { return t.Having("Stop held(0,60000)*") == 1; });
    EXPECT_FALSE(t.IsRunning());

    Logged<BasePoolThread> pool("P", true);
    auto* pt = pool.StartProc("held", Proc::Run, &ps, 0, 60000);
    StopWhileInside(ps, [&] { pool.StopProc(Proc::Run, &ps); }, [&] { return pt->IsPoolBreak(); });
    EXPECT_EQ(pool.Having("Stop  held(0,60000) PID: * removed from pool P"), 1);
}

TEST(PoolProcedures, StoppingAPairThatNeverRanReturnsAtOnceAndSaysNothing)
{
    Proc never;
    Logged<BasePoolThread> pool("P", true);
    const auto begin = Clock::now();
    pool.StopProc(Proc::Run, &never);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
    EXPECT_TRUE(pool.Lines().empty());
}

TEST(PoolProcedures, ARunningPairIsNotStartedAgain)
{
    Proc first;
    Logged<BasePoolThread> pool("P", true);
    auto* t = pool.StartProc("first", Proc::Run, &first, 0, 60000);
    ASSERT_TRUE(WaitUntil([&] { return first.calls == 1; }));
    EXPECT_EQ(pool.StartProc("second", Proc::Run, &first, 5, 10), t);
    EXPECT_EQ(pool.Having("second NOT added to pool P because there is already a thread first(0,60000) PID: *"), 1);
    EXPECT_EQ(t->Name().rfind("first(0,60000) PID: ", 0), 0u);   // its settings kept
    pool.StopProc(Proc::Run, &first);
    EXPECT_EQ(first.calls, 1);
}

TEST(PoolProcedures, AThreadWhoseProcedureEndedIsTakenForTheNextOne)
{
    Proc once, next;
    Logged<BasePoolThread> pool("P", true);
    auto* u = pool.StartProc("once", Proc::Run, &once, 0, 0);
    ASSERT_TRUE(WaitUntil([&] { return once.calls == 1 && !u->IsBusy(); }));
    EXPECT_EQ(pool.Having("Stop  once(0,0) PID: * ended in pool P"), 1);
    EXPECT_EQ(pool.Having("*not new"), 0);
    EXPECT_EQ(pool.StartProc("next", Proc::Run, &next, 0, 0), u);
    EXPECT_EQ(pool.Count(), 1);
    EXPECT_EQ(pool.Having("Start next(0,0) PID: #* SetParamExec(next not new"), 1);
    ASSERT_TRUE(WaitUntil([&] { return next.calls == 1 && !u->IsBusy(); }));
}

TEST(PoolProcedures, AProcedureThatThrowsIsEndedAndItsFaultLoggedWhileThePoolGoesOn)
{
    Logged<BasePoolThread> pool("P", false);
    std::atomic<int> calls{0};
    const ThreadProc thrower = [](void* n) -> bool {
        if (++*static_cast<std::atomic<int>*>(n) == 1) throw ErrorXML(DBString(L"no unit"), ENOENT);
        throw std::runtime_error("bad state");
    };
    auto* t = pool.StartProc("thrower", thrower, &calls, 0, 10);
    ASSERT_TRUE(WaitUntil([&] { return calls == 1 && !t->IsBusy(); }));
    EXPECT_EQ(pool.Having("thrower - no unit: 2 - *"), 1) << "text and code";

    t = pool.StartProc("thrower", thrower, &calls, 0, 10);
    ASSERT_TRUE(WaitUntil([&] { return calls == 2 && !t->IsBusy(); }));
    EXPECT_EQ(pool.Having("thrower - bad state"), 1);
    EXPECT_EQ(calls, 2) << "each fault ended its run; the interval brought no other call";
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
// The abort paths run in a child process with limits of one second and no
// pause, the abort line sent to standard error where the matcher reads. The
// thread-sanitizer build skips them: forking a process that has threads is
// not dependable under it.
namespace {
void ExpectAbort(void (*body)(), const char* line)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            BaseThread::Limits().stopSeconds = 1;
            BaseThread::Limits().lockSeconds = 1;
            BaseThread::Limits().abortPauseMs = 0;
            body();
        },
        testing::KilledBySignal(SIGABRT), line);
}
}  // namespace

TEST(ThreadLimitsDeathTest, AStuckThreadOrPoolLockEndsTheProcessWithOneLine)
{
    ExpectAbort(
        [] {
            static Proc stuck(false);
            static BaseThread t;
            t.Start("stuck", Proc::Run, &stuck, 0, 0, false);
            while (stuck.calls == 0) std::this_thread::sleep_for(milliseconds(1));
            t.Stop();
        },
        "abort stuck\\(0,0\\) PID: [0-9]+  - thread not complete");
    ExpectAbort(
        [] {
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
        "abort second act:holder - lock during 1 sec");
    ExpectAbort(
        [] {
            static BasePoolThread pool("P", false);
            static Proc stuck(false);
            pool.StartProc("stuck", Proc::Run, &stuck, 0, 0);
            while (stuck.calls == 0) std::this_thread::sleep_for(milliseconds(1));
            pool.StopProc(Proc::Run, &stuck);
        },
        "P - stuck\\(0,0\\) PID: [0-9]+ Func begin 1 1\n"
        ".*abort stuck\\(0,0\\) PID: [0-9]+ Func begin  - thread not complete");
}
#endif
