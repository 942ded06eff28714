// One StartProc/StopProc cycle on a warm pool (its thread exists already):
// what opening and closing a link costs in procedure management.
#include "base/BasePoolThread.h"

#include <benchmark/benchmark.h>

namespace {

class QuietPool : public BasePoolThread {
public:
    QuietPool() : BasePoolThread("bench", false) {}
    ~QuietPool() override { Stop(); }
    void PutLog(const std::string&) override {}
};

bool Again(void*) { return true; }
bool Once(void*) { return false; }

// Starts and stops the same pair again and again on one warm thread.
void Cycles(benchmark::State& state, ThreadProc fn, int intervalMs)
{
    QuietPool pool;
    int context = 0;
    pool.StartProc("warm", fn, &context, 0, intervalMs);
    pool.StopProc(fn, &context);
    for (auto _ : state) {
        pool.StartProc("cycle", fn, &context, 0, intervalMs);
        pool.StopProc(fn, &context);
    }
    if (pool.Count() != 1) state.SkipWithError("the pool grew: the thread was not reused");
}

// A periodic procedure (interval 1 s): StopProc sets the break, then polls
// every millisecond until the thread is free again.
void StartStopPeriodic(benchmark::State& state) { Cycles(state, Again, 1000); }
BENCHMARK(StartStopPeriodic)->UseRealTime()->Unit(benchmark::kMicrosecond);

// A run-once procedure: StopProc may find it ended already.
void StartStopOnce(benchmark::State& state) { Cycles(state, Once, 0); }
BENCHMARK(StartStopOnce)->UseRealTime()->Unit(benchmark::kMicrosecond);

// StartProc alone for a pair that is running: the refusal path.
void StartProcOfARunningPair(benchmark::State& state)
{
    QuietPool pool;
    int context = 0;
    pool.StartProc("running", Again, &context, 0, 60000);
    for (auto _ : state) benchmark::DoNotOptimize(pool.StartProc("again", Again, &context, 0, 60000));
    pool.StopProc(Again, &context);
}
BENCHMARK(StartProcOfARunningPair)->UseRealTime();

}  // namespace
