// Messages per second through a pair of dispatcher sessions on ::1: queue,
// merging, window, IDEA, both sockets and the acknowledgements, end to end.
#include "disp/DispHarness.h"

#include <benchmark/benchmark.h>

#include <condition_variable>

namespace {

using namespace disptest;

// Counts what arrives and wakes the benchmark when a batch is complete.
class CountingSession : public CSendDisp {
public:
    CountingSession(BasePoolThread* pool, CReceivDisp* socket, int peerPort)
        : CSendDisp(pool, LocalHostIPv6(), peerPort, 1, nullptr), m_Socket(socket)
    {
    }
    ~CountingSession() override { Stop(); }

    int Send(const unsigned char* data, int length, const in6_addr& peer, int port) override
    {
        return m_Socket->Send(data, length, peer, port);
    }
    void HandlingData(CPackDisp& pack) override
    {
        int n = 0;
        pack.BegGet();
        for (CMesDisp m; pack.GetMes(m);) ++n;
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Count += n;
        m_Cond.notify_all();
    }
    bool WaitFor(long count)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        return m_Cond.wait_for(lock, std::chrono::seconds(60), [&] { return m_Count >= count; });
    }

private:
    CReceivDisp* m_Socket;
    std::mutex m_Mutex;
    std::condition_variable m_Cond;
    long m_Count = 0;
};

// Sends batches of `range(0)` messages of `range(1)` data bytes from one
// session to the other and waits until the last has been delivered.
void Throughput(benchmark::State& state)
{
    const int batch = static_cast<int>(state.range(0));
    const int size = static_cast<int>(state.range(1));
    BasePoolThread pool("bench", false);
    TestReceiver sockA(&pool), sockB(&pool);   // bound and started
    CountingSession a(&pool, &sockA, sockB.Port()), b(&pool, &sockB, sockA.Port());
    sockA.Route(sockB.Port(), &a);
    sockB.Route(sockA.Port(), &b);
    a.Start();
    b.Start();
    const CMesDisp mes = IndexMes(0, size);
    long sent = 0;
    for (auto _ : state) {
        for (int i = 0; i < batch; ++i) a.SendMes(mes);
        sent += batch;
        if (!b.WaitFor(sent)) {
            state.SkipWithError("messages were lost");
            break;
        }
    }
    state.SetItemsProcessed(sent);
    sockA.Stop();
    sockB.Stop();
}
// 16 bytes: merged, about 20 messages a datagram. 300 bytes: one a datagram.
BENCHMARK(Throughput)->Args({1000, 16})->Args({1000, 300})->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
