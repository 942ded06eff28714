// A sibling tool's request through the V7 relay to velkunit and back, over
// the loopback on the IP method, beside the configurator's own request on
// the same link: what the relay adds to a tool's round trip.
#include "base/IPv6.h"
#include "relay/RelayClient.h"
#include "support/Simulator.h"

#include <benchmark/benchmark.h>

using namespace unittest;

namespace {

constexpr int kIdent = 4321;

struct Bed {
    Bed() : sim({"--udp-port", "0", "--bind", "::1", "--ident", std::to_string(kIdent)})
    {
        CTargetLU t;
        t.method = typConnectIP;
        t.addr = LocalHostIPv6();
        t.port = sim.Udp();
        t.ident = kIdent;
        client.Open(t);
        client.m_Relays.Start();
        const CToolParams p = client.m_Relays.Params(false);
        CKeySys key;
        key.Set(DBString(p.key).c_str());
        tool.Open(LocalHostIPv6(), p.portV7, p.node, key);
    }
    Simulator sim;
    RelayClient client;
    ToolPeerV7 tool{client.m_Pool};
};

bool IsStatus(const CPackV7& p) { return p.m_Class == CPackV7::classData && p.m_Ask == CPackV7::askStatus; }

void ThroughRelay(benchmark::State& state)
{
    Bed bed;
    size_t n = 0;
    for (auto _ : state) {
        CPackV7 ask = bed.tool.NewPack();
        ask.SetAsk(CPackV7::packAsk, CPackV7::askStatus, CPackV7::dirAsk, nullptr, 0);
        bed.tool.Request(ask);
        if (!bed.tool.m_Got.Wait(IsStatus, ++n, std::chrono::seconds(10))) state.SkipWithError("no answer");
    }
}
BENCHMARK(ThroughRelay)->UseRealTime()->Unit(benchmark::kMicrosecond)->Iterations(2000);

void Direct(benchmark::State& state)
{
    Bed bed;
    for (auto _ : state) {
        CPackV7 ask = bed.client.NewPack();
        ask.SetAsk(CPackV7::packAsk, CPackV7::askStatus, CPackV7::dirAsk, nullptr, 0);
        bed.client.Put(ask);
        CPackV7 got;
        do {
            if (!bed.client.Next(got, std::chrono::seconds(10))) {
                state.SkipWithError("no answer");
                break;
            }
        } while (!IsStatus(got));
    }
}
BENCHMARK(Direct)->UseRealTime()->Unit(benchmark::kMicrosecond)->Iterations(2000);

}  // namespace
