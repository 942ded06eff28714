// The V7 sender and its window over real UDP on the loopback: delivery,
// acknowledgement, retransmission, give-up, the duplicate filter and the
// queue's rules. Time of the window is driven by the test (Tick) or shortened.
#include "tests/link/V7Peers.h"

#include <gtest/gtest.h>

#include <set>

using namespace v7test;

namespace {

// The timer never runs on its own: the test calls Tick.
CSendV7::Timing ManualTicks() { return CSendV7::Timing{3600 * 1000, {}}; }

}  // namespace

TEST(V7Window, DeliversAThousandSequencedPacketsInOrderThenClosesWithOnePacket)
{
    BasePoolThread pool("test", false);
    TestReceiv prog(&pool, kProg), unit(&pool, kUnit);
    prog.Start();
    unit.Start();
    TestSend* toUnit = prog.AddSender(kUnit, unit.GetPort());
    unit.AddSender(kProg, prog.GetPort());

    for (uint32_t n = 0; n < 1000; ++n) {
        CPackV7 p = Numbered(n);
        ASSERT_TRUE(toUnit->Put(p));
    }
    ASSERT_TRUE(unit.WaitDelivered(1000));
    const auto got = unit.Delivered();
    for (uint32_t n = 0; n < 1000; ++n) ASSERT_EQ(NumberOf(got[n]), n);
    EXPECT_TRUE(WaitUntil([&] { return toUnit->m_Wind.Count() == 0; })) << "every packet acknowledged";
    EXPECT_EQ(toUnit->m_NoLink, 0);

    RawPeer watch;
    toUnit->SetAddr(LocalHostIPv6(), watch.Port());
    toUnit->Stop();
    CPackV7 close;
    ASSERT_TRUE(watch.Recv(close));
    EXPECT_TRUE(close.IsCloseLink());
    EXPECT_TRUE(close.m_Dst.FullEQ(kUnit) && close.m_Len == 17);
    EXPECT_FALSE(watch.Recv(close, 300)) << "closing is a single datagram";
    EXPECT_FALSE(toUnit->Put(close)) << "a stopped sender takes nothing";
}

TEST(V7Window, WindowBlocksTheSixthPacketUntilAnAcknowledgement)
{
    ToRawPeer link({}, 60000);
    for (uint32_t n = 1; n <= 6; ++n) {
        CPackV7 p = Numbered(n);
        link.send->Put(p);
    }
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
}

TEST(V7Window, RetransmitsEveryTwoSecondsAndGivesUpHalfASecondAfterTheFifth)
{
    ToRawPeer link(ManualTicks());
    CPackV7 p = Numbered(1);
    link.send->Put(p);
    ASSERT_TRUE(link.Next(p));
    std::vector<int> sentAtTick{0};
    for (int tick = 1; tick <= 20; ++tick) {   // ticks of 500 ms
        link.send->m_Wind.Tick();
        // Loopback delivers within sendto; only an expected datagram gets a long wait.
        if (link.Next(p, tick % 4 == 0 && tick <= 16 ? 10000 : 100)) {
            EXPECT_EQ(p.m_Ident, 1);
            sentAtTick.push_back(tick);
        }
        if (tick == 16) {
            EXPECT_EQ(link.send->m_Wind.Count(), 1);
        } else if (tick == 17) {
            EXPECT_EQ(link.send->m_Wind.Count(), 0) << "given up at 8.5 s";
        }
    }
    EXPECT_EQ(sentAtTick, (std::vector<int>{0, 4, 8, 12, 16}));
    EXPECT_EQ(link.send->m_Wind.m_Drop, 1);
}

TEST(V7Window, AnAcknowledgementAcrossAGapResendsTheOlderPacketsAtTheNextTick)
{
    ToRawPeer link(ManualTicks());
    CPackV7 p;
    for (uint32_t n = 1; n <= 4; ++n) {
        p = Numbered(n);
        link.send->Put(p);
        ASSERT_TRUE(link.Next(p));
    }
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
    ToRawPeer link(ManualTicks());
    link.send->m_MaxTry = 1;   // given up at the first tick
    auto giveUp = [&](int packets) {
        for (int i = 0; i < packets; ++i) {
            CPackV7 p = Numbered(static_cast<uint32_t>(i));
            link.send->Put(p);
            ASSERT_TRUE(link.Next(p));
        }
        // Sent before it is kept: the tick must find it in the window.
        ASSERT_TRUE(WaitUntil([&] { return link.send->m_Wind.Count() == packets; }));
        link.send->m_Wind.Tick();
    };
    CPackV7 alive;
    alive.SetID(kProg, kUnit);
    alive.SetLink(CPackV7::packLinkAlive, nullptr, 4);

    giveUp(2);
    link.send->SendSocket(alive);
    EXPECT_EQ(link.send->m_NoLink, 1);

    giveUp(1);
    link.Ack(0);   // heard in between
    ASSERT_TRUE(WaitUntil([&] { return link.send->m_Wind.m_Fail == 0; }));
    giveUp(1);
    link.send->SendSocket(alive);
    EXPECT_EQ(link.send->m_NoLink, 1);

    // More than ten packets given up on a link that had worked: one report.
    for (int i = 0; i < 11; ++i) giveUp(1);
    EXPECT_EQ(link.me.m_Reports.Count(L"Remote unit 1234.0 not receiving data from it unit"), 1);

    // A first transmission that fails counts too, and is not kept.
    const int before = link.send->m_NoLink;
    link.Ack(0);
    ASSERT_TRUE(WaitUntil([&] { return link.send->m_Wind.m_Fail == 0; }));
    link.me.m_FailSends = true;
    for (uint32_t n = 0; n < 3; ++n) {
        CPackV7 p = Numbered(n);
        link.send->Put(p);
    }
    EXPECT_TRUE(WaitUntil([&] { return link.send->m_NoLink == before + 1; }));
    EXPECT_TRUE(WaitUntil([&] { return link.me.m_Reports.Count(L"CReceivV7::Send sendto()") == 3; }));
    EXPECT_EQ(link.send->m_Wind.Count(), 0);
}

TEST(V7Window, GgsPacketsOvertakeTheQueueNewestFirstAndStopItsTrimming)
{
    ToRawPeer link({}, 60000);
    CPackV7 p;
    for (uint32_t n = 1; n <= 6; ++n) {   // five in the window, the sixth waiting for room
        p = Numbered(n);
        link.send->Put(p);
    }
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(link.Next(p));
    ASSERT_TRUE(WaitUntil([&] { return link.send->QueueSize() == 0; }));

    for (uint32_t n = 100; n < 1105; ++n) {
        p = Numbered(n);
        link.send->Put(p);
    }
    EXPECT_EQ(link.send->QueueSize(), 1001u) << "the oldest ordinary packets go";
    for (uint32_t n : {2000u, 2001u}) {
        p = Numbered(n, CPackV7::askGgs65);
        link.send->Put(p);
    }
    p = Numbered(3000);
    link.send->Put(p);
    EXPECT_EQ(link.send->QueueSize(), 1003u) << "a GGS packet at the front stops the trimming";

    std::vector<uint32_t> order;
    for (int ident = 1; ident <= 4; ++ident) {
        link.Ack(ident);
        ASSERT_TRUE(link.Next(p));
        order.push_back(NumberOf(p));
    }
    EXPECT_EQ(order, (std::vector<uint32_t>{6, 2001, 2000, 105}));
}

TEST(V7Window, IdentsRunFrom1To127AndWrapTo1)
{
    BasePoolThread pool("test", false);
    TestReceiv me(&pool, kProg);
    TestSend send(&pool, &me, kUnit, 0);
    std::vector<int> idents;
    for (int i = 0; i < 128; ++i) idents.push_back(send.NextIdent());
    EXPECT_EQ(idents.front(), 1);
    EXPECT_EQ(idents[126], 127);
    EXPECT_EQ(idents[127], 1);
}
