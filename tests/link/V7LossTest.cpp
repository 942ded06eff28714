// The V7 window over a lossy loopback: a seeded fifth of the datagrams is
// dropped in both directions at the single send path of each receiver, and
// the window runs 50 times faster than in production (a tick every 10 ms).
//
// What the protocol promises under loss, and what this pins: nothing is lost
// without being given up after five transmissions, and a repeat is delivered
// again only once the receiver has forgotten its ident, after ten newer ones.
// It does not promise delivery in order or exactly once: a packet whose
// transmission is lost is overtaken by the four behind it in the window, and
// one whose acknowledgement is lost until ten newer idents have come is
// delivered twice. With this seed that is 58 repeats and 272 late packets of
// 1000 (docs/performance.md).
#include "tests/link/V7Peers.h"

#include <gtest/gtest.h>

#include <map>

using namespace v7test;

TEST(V7LossyLink, EveryPacketArrivesUnlessGivenUpAndRepeatsPassOnlyBeyondTheFiltersMemory)
{
    BasePoolThread pool("test", false);
    TestReceiv prog(&pool, kProg), unit(&pool, kUnit);
    prog.SetLoss(0.2, 1);
    unit.SetLoss(0.2, 2);
    prog.Start();
    unit.Start();
    const CSendV7::Timing fast{10, {}};
    TestSend* toUnit = prog.AddSender(kUnit, unit.GetPort(), fast);
    unit.AddSender(kProg, prog.GetPort(), fast);

    const size_t count = 1000;
    for (uint32_t n = 0; n < count; ++n) {
        CPackV7 p = Numbered(n);
        ASSERT_TRUE(toUnit->Put(p));
    }
    ASSERT_TRUE(WaitUntil([&] { return toUnit->QueueSize() == 0 && toUnit->m_Wind.Count() == 0; }, 300s));

    // Each delivery is one new entry of the receiver's memory of idents.
    std::map<uint32_t, size_t> lastAt;
    size_t repeats = 0;
    const auto got = unit.Delivered();
    for (size_t i = 0; i < got.size(); ++i) {
        const uint32_t n = NumberOf(got[i]);
        ASSERT_LT(n, count);
        if (auto it = lastAt.find(n); it != lastAt.end()) {
            ++repeats;
            EXPECT_GE(i - it->second - 1, CSendV7::CReplyForSend::kLimit) << "packet " << n << " delivered again";
        }
        lastAt[n] = i;
    }
    const auto givenUp = static_cast<size_t>(toUnit->m_Wind.m_GivenUp);
    EXPECT_GE(lastAt.size() + givenUp, count) << "a packet vanished without being given up";
    EXPECT_LT(givenUp, count / 50);
    EXPECT_LT(repeats, count / 5);
}
