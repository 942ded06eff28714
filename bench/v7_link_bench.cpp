// The V7 window over the loopback: the round trip of one packet and the
// sustained rate of sequenced packets, with the production constants (window
// of 5, 2 s between transmissions, 500 ms timer). Nothing is lost here, so
// the rate is bounded by the window: 5 packets per acknowledgement round trip.
#include "tests/link/V7Peers.h"

#include <benchmark/benchmark.h>

using namespace v7test;

namespace {

// A configurator and a unit, each with a sender for the other.
struct Pair {
    // With echo, the unit answers every packet with a copy of it; `onUnit`
    // is told of every packet the unit takes otherwise.
    explicit Pair(bool echo, std::function<void(const CPackV7&, const CSendV7*)> onUnit = {})
    {
        prog.m_Record = false;
        unit.m_Record = false;
        unit.m_OnData = std::move(onUnit);
        if (echo)
            unit.m_OnData = [this](const CPackV7& p, const CSendV7*) {
                CPackV7 reply = p;
                toProg.load()->Put(reply);
            };
        prog.Start();
        unit.Start();
        toUnit = prog.AddSender(kUnit, unit.GetPort());
        toProg = unit.AddSender(kProg, prog.GetPort());
    }

    BasePoolThread pool{"bench", false};
    TestReceiv prog{&pool, kProg}, unit{&pool, kUnit};
    TestSend* toUnit = nullptr;
    std::atomic<TestSend*> toProg{nullptr};
};

// Waits, spinning, for `done`: a sleep would dominate a round trip of microseconds.
template <class F>
bool Spin(F done)
{
    for (const auto end = Clock::now() + 30s; !done();) {
        if (Clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

// A request to the unit and its answer back, each through queue, window and
// socket: what the application waits for one reply.
void RequestAndAnswer(benchmark::State& state)
{
    Pair pair(true);
    uint32_t n = 0;
    for (auto _ : state) {
        const size_t before = pair.prog.DeliveredCount();
        CPackV7 p = Numbered(n++);
        pair.toUnit->Put(p);
        if (!Spin([&] { return pair.prog.DeliveredCount() > before; })) state.SkipWithError("no answer");
    }
}
BENCHMARK(RequestAndAnswer)->UseRealTime()->Unit(benchmark::kMicrosecond);

// One packet handed to the window until its acknowledgement has removed it:
// the round trip that paces the window.
void AcknowledgementRoundTrip(benchmark::State& state)
{
    Pair pair(false);
    uint32_t n = 0;
    for (auto _ : state) {
        const size_t before = pair.unit.DeliveredCount();
        CPackV7 p = Numbered(n++);
        pair.toUnit->Put(p);
        if (!Spin([&] { return pair.unit.DeliveredCount() > before && pair.toUnit->m_Wind.Count() == 0; }))
            state.SkipWithError("no acknowledgement");
    }
    state.counters["window limit pkt/s"] =
        benchmark::Counter(static_cast<double>(CWindV7::kSize) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}
BENCHMARK(AcknowledgementRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

// Batches of 1000 sequenced packets, queued at once, until all are delivered.
// The benchmark's thread sleeps meanwhile, leaving both cores to the link.
void SustainedRate(benchmark::State& state)
{
    std::mutex mutex;
    std::condition_variable cond;
    std::atomic<size_t> target{0};
    Pair pair(false, [&](const CPackV7&, const CSendV7*) {
        if (pair.unit.DeliveredCount() < target) return;
        std::lock_guard<std::mutex> lock(mutex);
        cond.notify_one();
    });
    const int batch = 1000;
    uint32_t n = 0;
    for (auto _ : state) {
        target += batch;
        for (int i = 0; i < batch; ++i) {
            CPackV7 p = Numbered(n++);
            pair.toUnit->Put(p);
        }
        std::unique_lock<std::mutex> lock(mutex);
        if (!cond.wait_for(lock, 30s, [&] { return pair.unit.DeliveredCount() >= target; }))
            state.SkipWithError("packets missing");
    }
    state.counters["pkt/s"] =
        benchmark::Counter(static_cast<double>(batch) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}
BENCHMARK(SustainedRate)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
