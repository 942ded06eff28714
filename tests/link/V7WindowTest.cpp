// The V7 sender and its window over real UDP on the loopback: delivery,
// acknowledgement, retransmission, give-up and the queue's rules. Time of the
// window is driven by the test (Tick) or shortened.
#include "tests/link/V7Peers.h"

#include <gtest/gtest.h>

#include <set>

using namespace v7test;

namespace {
// The timer never runs on its own: the test calls Tick.
const CSendV7::Timing kManualTicks{3600 * 1000, {}};
}  // namespace

TEST(V7Window, DeliversAThousandSequencedPacketsInOrderWithIdentsWrappingAfter127)
{
    BasePoolThread pool("test", false);
    TestReceiv prog(&pool, kProg), unit(&pool, kUnit);
    prog.Start();
    unit.Start();
    TestSend* toUnit = prog.AddSender(kUnit, unit.GetPort());
    unit.AddSender(kProg, prog.GetPort());

    ASSERT_TRUE(PutNumbered(*toUnit, 0, 999));
    ASSERT_TRUE(unit.WaitDelivered(1000));
    const auto got = unit.Delivered();   // idents run from 1 to 127 and wrap to 1
    for (uint32_t n = 0; n < 1000; ++n) ASSERT_TRUE(NumberOf(got[n]) == n && got[n].m_Ident == int(n % 127 + 1)) << n;
    EXPECT_EQ(toUnit->m_NoLink, 0);
}

TEST(V7Window, StopSendsOneCloseToDeviceZeroOfThePeersNode)
{
    BasePoolThread pool("test", false);
    TestReceiv prog(&pool, kProg);
    prog.Start();
    RawPeer watch;
    TestSend* toDevice2 = prog.AddSender(CIdentV7(kUnit.GetNode(), 2), watch.Port());
    toDevice2->Stop();
    CPackV7 close;
    ASSERT_TRUE(watch.Recv(close));
    EXPECT_TRUE(close.IsCloseLink() && close.m_Len == 17);
    EXPECT_TRUE(close.m_Dst.FullEQ(kUnit)) << "a link packet goes to device 0";
    EXPECT_FALSE(watch.Recv(close, 300)) << "closing is a single datagram";
    EXPECT_FALSE(toDevice2->Put(close)) << "a stopped sender takes nothing";
}

TEST(V7Window, WindowBlocksTheSixthPacketUntilAnAcknowledgementWhileGgsPacketsOvertakeTheQueue)
{
    ToRawPeer link({}, 60000);
    PutNumbered(*link.send, 1, 6);
    CPackV7 p;
    for (int ident = 1; ident <= 5; ++ident) {
        ASSERT_TRUE(link.Next(p));
        EXPECT_EQ(p.m_Ident, ident);
    }
    CPackV7 alive;
    alive.SetLink(CPackV7::packLinkAlive, nullptr, 4);
    link.send->Put(alive);
    EXPECT_FALSE(link.Next(p, 300)) << "the sixth waits, and the link packet behind it";

    CPackV7 direct = Numbered(77);
    direct.SetID(kProg, kUnit);
    EXPECT_TRUE(link.send->SendSocket(direct));
    ASSERT_TRUE(link.Next(p));
    EXPECT_EQ(NumberOf(p), 77u) << "SendSocket passes the full window";

    link.Ack(1);
    ASSERT_TRUE(link.Next(p));
    EXPECT_TRUE(p.m_Ident == 6 && NumberOf(p) == 6);
    EXPECT_FALSE(link.Next(p, 300)) << "the window is full again";
    link.Ack(2);
    ASSERT_TRUE(link.Next(p));
    EXPECT_TRUE(p.m_Class == CPackV7::classLink && p.m_Ident == 0);

    // 7 fills the window again and 8 waits for room: the queue behind keeps
    // its newest 1001 ordinary packets, and GGS packets go to its front.
    PutNumbered(*link.send, 7, 8);
    ASSERT_TRUE(link.Next(p) && NumberOf(p) == 7);
    ASSERT_TRUE(WaitUntil([&] { return link.send->QueueSize() == 0; }));
    PutNumbered(*link.send, 100, 1104);
    EXPECT_EQ(link.send->QueueSize(), 1001u) << "the oldest ordinary packets go";
    PutNumbered(*link.send, 2000, 2001, CPackV7::askGgs65);
    PutNumbered(*link.send, 3000, 3000);
    EXPECT_EQ(link.send->QueueSize(), 1003u) << "a GGS packet at the front stops the trimming";
    std::vector<uint32_t> order;
    for (int ident = 3; ident <= 6; ++ident) {
        link.Ack(ident);
        ASSERT_TRUE(link.Next(p));
        order.push_back(NumberOf(p));
    }
    EXPECT_EQ(order, (std::vector<uint32_t>{8, 2001, 2000, 105}));
}

TEST(V7Window, RetransmitsEveryTwoSecondsAndGivesUpHalfASecondAfterTheFifth)
{
    ToRawPeer link(kManualTicks);
    PutNumbered(*link.send, 1, 1);
    CPackV7 p;
    ASSERT_TRUE(link.Next(p));
    std::vector<int> sentAtTick{0};
    for (int tick = 1; tick <= 20; ++tick) {   // ticks of 500 ms
        link.send->m_Wind.Tick();
        // Loopback delivers within sendto; only an expected datagram gets a long wait.
        if (link.Next(p, tick % 4 == 0 && tick <= 16 ? 10000 : 100)) {
            EXPECT_EQ(p.m_Ident, 1);
            sentAtTick.push_back(tick);
        }
        if (tick == 16 || tick == 17) {
            EXPECT_EQ(link.send->m_Wind.Count(), 17 - tick) << "given up at 8.5 s";
        }
    }
    EXPECT_EQ(sentAtTick, (std::vector<int>{0, 4, 8, 12, 16}));
    EXPECT_EQ(link.send->m_Wind.m_Drop, 1);
}

TEST(V7Window, AnAcknowledgementAcrossAGapResendsTheOlderPacketsAtTheNextTick)
{
    ToRawPeer link(kManualTicks);
    PutNumbered(*link.send, 1, 4);
    CPackV7 p;
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(link.Next(p));
    link.Ack(3);
    ASSERT_TRUE(WaitUntil([&] { return link.send->m_Wind.Count() == 3; }));
    link.send->m_Wind.Tick();
    std::set<int> again;
    for (int i = 0; i < 2 && link.Next(p); ++i) again.insert(p.m_Ident);
    EXPECT_EQ(again, (std::set<int>{1, 2}));
    EXPECT_FALSE(link.Next(p, 200)) << "the packet after the acknowledged one waits its time";
}

TEST(V7Window, LinkIsLostAfterTwoFailuresWithNothingHeardInBetween)
{
    ToRawPeer link(kManualTicks);
    link.send->m_MaxTry = 1;   // given up at the first tick
    auto giveUp = [&](int packets) {
        PutNumbered(*link.send, 1, static_cast<uint32_t>(packets));
        CPackV7 p;
        for (int i = 0; i < packets; ++i) ASSERT_TRUE(link.Next(p));
        // Sent before it is kept: the tick must find it in the window.
        ASSERT_TRUE(WaitUntil([&] { return link.send->m_Wind.Count() == packets; }));
        link.send->m_Wind.Tick();
    };
    auto heard = [&] {
        link.Ack(0);
        ASSERT_TRUE(WaitUntil([&] { return link.send->m_Wind.m_Fail == 0; }));
    };
    CPackV7 alive(kProg, kUnit);
    alive.SetLink(CPackV7::packLinkAlive, nullptr, 4);

    giveUp(2);
    link.send->SendSocket(alive);
    EXPECT_EQ(link.send->m_NoLink, 1);
    giveUp(1);
    heard();
    giveUp(1);
    link.send->SendSocket(alive);
    EXPECT_EQ(link.send->m_NoLink, 1);

    // More than ten packets given up on a link that had worked: one report.
    const std::wstring lost = L"Remote unit 1234.0 not receiving data from it unit";
    for (int i = 0; i < 6; ++i) giveUp(1);   // ten in all
    EXPECT_EQ(link.me.m_Reports.Count(lost), 0);
    for (int i = 0; i < 16; ++i) giveUp(1);
    EXPECT_EQ(link.me.m_Reports.Count(lost), 1) << "not again until the unit is heard";

    // A first transmission that fails counts too, and is not kept.
    const int before = link.send->m_NoLink;
    heard();
    link.me.m_FailSends = true;
    PutNumbered(*link.send, 0, 2);
    EXPECT_TRUE(WaitUntil([&] { return link.send->m_NoLink == before + 1; }));
    EXPECT_TRUE(WaitUntil([&] { return link.me.m_Reports.Count(L"CReceivV7::Send sendto()") == 3; }));
    EXPECT_EQ(link.send->m_Wind.Count(), 0);
}
