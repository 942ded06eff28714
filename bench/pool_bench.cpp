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

// A periodic procedure (interval 1 s) started and stopped: StopProc sets the
// break, then polls every millisecond until the thread is free again.
void StartStopPeriodic(benchmark::State& state)
{
    QuietPool pool;
    int context = 0;
    pool.StartProc("warm", Again, &context, 0, 1000);
    pool.StopProc(Again, &context);
    for (auto _ : state) {
        pool.StartProc("cycle", Again, &context, 0, 1000);
        pool.StopProc(Again, &context);
    }
    if (pool.Count() != 1) state.SkipWithError("the pool grew: the thread was not reused");
}
BENCHMARK(StartStopPeriodic)->UseRealTime()->Unit(benchmark::kMicrosecond);

// A run-once procedure: StopProc may find it ended already.
void StartStopOnce(benchmark::State& state)
{
    QuietPool pool;
    int context = 0;
    pool.StartProc("warm", Once, &context, 0, 0);
    pool.StopProc(Once, &context);
    for (auto _ : state) {
        pool.StartProc("cycle", Once, &context, 0, 0);
        pool.StopProc(Once, &context);
    }
    if (pool.Count() != 1) state.SkipWithError("the pool grew: the thread was not reused");
}
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
