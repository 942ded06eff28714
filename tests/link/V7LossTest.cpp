// The V7 window over a lossy loopback: a seeded fifth of the datagrams is
// dropped in both directions at the single send path of each receiver, and
// the window runs 50 times faster than in production (a tick every 10 ms).
//
// What the link promises under loss, and what this pins: every packet arrives
// exactly once, unless it is given up after five transmissions (then at most
// once). It does not promise order: a packet whose transmission is lost is
// overtaken by the ones behind it in the window, and the receiver delivers
// what it gets as it gets it.
#include "tests/link/V7Peers.h"

#include <gtest/gtest.h>

#include <map>

using namespace v7test;

TEST(V7LossyLink, EveryPacketArrivesExactlyOnceUnlessGivenUp)
{
    BasePoolThread pool("test", false);
    TestReceiv prog(&pool, kProg), unit(&pool, kUnit);
    prog.m_Loss = unit.m_Loss = 0.2;
    unit.m_Rng.seed(2);   // another stream than prog's
    prog.Start();
    unit.Start();
    const CSendV7::Timing fast{10, {}};
    TestSend* toUnit = prog.AddSender(kUnit, unit.GetPort(), fast);
    unit.AddSender(kProg, prog.GetPort(), fast);

    const size_t count = 1000;
    ASSERT_TRUE(PutNumbered(*toUnit, 0, count - 1));
    ASSERT_TRUE(WaitUntil([&] { return toUnit->QueueSize() == 0 && toUnit->m_Wind.Count() == 0; }, 300s));

    std::map<uint32_t, int> times;
    for (const auto& pack : unit.Delivered()) {
        const uint32_t n = NumberOf(pack);
        ASSERT_LT(n, count);
        EXPECT_EQ(++times[n], 1) << "packet " << n << " delivered twice";
    }
    const auto givenUp = static_cast<size_t>(toUnit->m_Wind.m_GivenUp);
    EXPECT_GE(times.size() + givenUp, count) << "a packet vanished without being given up";
    EXPECT_LT(givenUp, count / 50);
}
