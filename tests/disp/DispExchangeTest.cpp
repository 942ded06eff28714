// The dispatcher exchange: two sessions over real sockets on ::1 (or one fed
// datagrams by hand): window, merging, retransmission, acknowledgements, the
// duplicate filter, ident wrap, the loss of a silent peer and delivery through
// random loss. The window's time runs by hand (CDispWind::Tick) or on a fast
// timer; every wait is for a condition, with a deadline far beyond need.
#include "DispHarness.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <set>

using namespace disptest;

namespace {

std::vector<int> Range(int from, int to)
{
    std::vector<int> v(static_cast<size_t>(to - from));
    std::iota(v.begin(), v.end(), from);
    return v;
}

bool LoseAll(int) { return true; }

// 20 % lost at random with a fixed seed, but never all five sends of one
// numbered packet: that is the give-up path, tested on its own.
std::function<bool(int)> TwentyPercentLoss(unsigned seed)
{
    return [rng = std::mt19937(seed), inARow = std::map<int, int>()](int ident) mutable {
        const bool drop = rng() % 100 < 20;
        if (ident == 0) return drop;
        int& row = inARow[ident];
        row = drop && row < CDispWind::MaxTries - 1 ? row + 1 : 0;
        return row > 0;
    };
}

}  // namespace

TEST(DispExchange, AFullWindowHoldsTheEighthPacketUntilAnAcknowledgementMakesRoom)
{
    LoopbackPair pair(kManualTicks);
    CDispWind& wind = pair.a.Wind();
    pair.b.Lose(LoseAll);   // B hears everything, but its acknowledgements are lost
    for (int i = 0; i < 28; ++i) pair.a.SendMes(IndexMes(i, i < 7 ? 300 : 4));   // 300 bytes: one packet each
    ASSERT_TRUE(WaitUntil([&] { return wind.InFlight() == 7 && pair.a.SendsOf(7) == 1; }));
    for (int tick = 0; tick < 8; ++tick) wind.Tick();   // two resends of each, none given up
    EXPECT_EQ(pair.a.SendsOf(1), 3);
    EXPECT_EQ(wind.InFlight(), 7);
    EXPECT_EQ(pair.a.SendsOf(8), 0);

    pair.b.Lose(nullptr);
    for (int tick = 0; tick < 4; ++tick) wind.Tick();   // the third resend is acknowledged
    ASSERT_TRUE(WaitUntil([&] { return pair.b.Received() == 28; }));
    EXPECT_EQ(pair.b.log.Lock()->received, Range(0, 28)) << "in order, and resends of 1..7 not delivered again";
    EXPECT_EQ(pair.a.SendsOf(10), 0) << "21 messages queued behind the full window travel in at most two packets";
}

TEST(DispExchange, AnAcknowledgementPastAGapResendsTheOlderPacketsAtTheNextTick)
{
    LoopbackPair pair(kManualTicks);
    pair.a.Lose([first = std::set<int>{1, 2}](int ident) mutable { return first.erase(ident) > 0; });
    for (int i = 0; i < 3; ++i) pair.a.SendMes(IndexMes(i, 300));
    ASSERT_TRUE(WaitUntil([&] { return pair.b.Received() == 1 && pair.a.Wind().InFlight() == 2; }));
    pair.a.Wind().Tick();
    ASSERT_TRUE(WaitUntil([&] { return pair.b.Received() == 3; }));
    EXPECT_EQ(pair.b.log.Lock()->received, (std::vector<int>{2, 0, 1}));
}

TEST(DispExchange, RepeatsAreAcknowledgedAgainButDeliveredOnceUntilOpenLinkExRestartsTheCount)
{
    BasePoolThread pool("disptest", false);
    TestSession s(&pool, nullptr, 1);
    s.Start();
    CMesDisp open;
    open.Create_OpenLinkEx();
    // 3 twice: the last packet again. Then 1 and 2: known to the filter of
    // recent idents, also as a new packet 1. With OpenLinkEx, 1 and 2 are new.
    for (const Bytes& d : {Datagram(1, {IndexMes(1)}), Datagram(2, {IndexMes(2)}), Datagram(3, {IndexMes(3)}),
                           Datagram(3, {IndexMes(30)}), Datagram(1, {IndexMes(10)}), Datagram(2, {IndexMes(20)}),
                           Datagram(1, {open, IndexMes(100)}), Datagram(2, {IndexMes(200)})})
        s.Handling(d.data(), static_cast<int>(d.size()));

    EXPECT_EQ(s.log.Lock()->received, (std::vector<int>{1, 2, 3, -1, 100, 200}));
    EXPECT_EQ(s.log.Lock()->replies, (std::vector<Bytes>{{1}, {2}, {3}, {3}, {1}, {2}, {1}, {2}}))
        << "each datagram answered, repeats included";
}

TEST(DispExchange, IdentsWrapFrom255To1AndEveryPacketStillArrives)
{
    LoopbackPair pair;
    for (int i = 0; i < 258; ++i) pair.a.SendMes(IndexMes(i, 300));
    ASSERT_TRUE(WaitUntil([&] { return pair.b.Received() == 258; }, std::chrono::seconds(120)));
    auto log = pair.b.log.Lock();
    EXPECT_EQ(log->received, Range(0, 258));
    EXPECT_EQ(std::vector<int>(log->packets.begin() + 253, log->packets.end()), (std::vector<int>{254, 255, 1, 2, 3}));
}

TEST(DispExchange, APacketIsSentFiveTimesTwoSecondsApartAndThenGivenUp)
{
    LoopbackPair pair(kManualTicks);
    pair.b.Lose(LoseAll);
    pair.a.SendMes(IndexMes(0, 300));
    ASSERT_TRUE(WaitUntil([&] { return pair.a.Wind().InFlight() == 1; }));
    std::vector<int> sentAtTick{0};
    for (int tick = 1; tick <= 17; ++tick) {   // ticks of 500 ms
        const int before = pair.a.SendsOf(1);
        pair.a.Wind().Tick();
        if (pair.a.SendsOf(1) > before) sentAtTick.push_back(tick);
        if (tick == 16) {
            EXPECT_EQ(pair.a.Wind().InFlight(), 0) << "given up with its fifth send";
        }
    }
    EXPECT_EQ(sentAtTick, (std::vector<int>{0, 4, 8, 12, 16}));
    EXPECT_EQ(pair.a.LostCount(), 1);
}

TEST(DispExchange, ASilentPeerIsGivenUpAtItsEleventhLostPacketInARow)
{
    LoopbackPair pair(kManualTicks);
    pair.b.Lose(LoseAll);
    int index = 0;
    auto loseOne = [&] {   // 300 bytes: one packet, given up after 16 ticks
        pair.a.SendMes(IndexMes(index++, 300));
        ASSERT_TRUE(WaitUntil([&] { return pair.a.Wind().InFlight() == 1; }));
        for (int tick = 0; tick < 16; ++tick) pair.a.Wind().Tick();
    };
    for (int i = 0; i < 10; ++i) loseOne();
    // A valid packet from the peer: the count starts again.
    pair.b.Lose(nullptr);
    pair.b.SendMes(IndexMes(100));
    ASSERT_TRUE(WaitUntil([&] { return pair.a.Received() == 1; }));
    EXPECT_EQ(pair.a.LostCount(), 0);
    pair.b.Lose(LoseAll);
    for (int i = 0; i < 10; ++i) loseOne();
    EXPECT_TRUE(pair.a.IsActive()) << "ten lost packets in a row are not enough";
    EXPECT_EQ(pair.a.log.Lock()->disconnects, 0);

    loseOne();
    EXPECT_FALSE(pair.a.IsActive());
    pair.a.Stop();
    EXPECT_EQ(pair.a.log.Lock()->disconnects, 1);
    EXPECT_EQ(pair.a.log.Lock()->bad,
              std::vector<DBString>{DBString(L"CDispWind::TimerProc - Disconnect ") + pair.a.ToStr()});
}

TEST(DispExchange, EveryMessageArrivesOnceThroughTwentyPercentLossBothWays)
{
    LoopbackPair pair(10);
    pair.a.Lose(TwentyPercentLoss(7));
    pair.b.Lose(TwentyPercentLoss(11));
    constexpr int count = 300;
    std::thread other([&] {
        for (int i = 0; i < count; ++i) pair.b.SendMes(IndexMes(i, 4 + i % 60));
    });
    for (int i = 0; i < count; ++i) pair.a.SendMes(IndexMes(i, 4 + (i * 7) % 60));
    other.join();
    ASSERT_TRUE(WaitUntil([&] { return pair.a.Received() == count && pair.b.Received() == count; }, std::chrono::seconds(120)));

    for (TestSession* s : {&pair.a, &pair.b}) {
        auto log = s->log.Lock();
        std::sort(log->received.begin(), log->received.end());
        EXPECT_EQ(log->received, Range(0, count));
        EXPECT_EQ(log->disconnects, 0);
        EXPECT_GT(log->lost, 10) << "the loss did happen";
    }
}

TEST(DispExchange, TheDuplicateFilterRemembersTheLastFourteenIdents)
{
    CSendDisp::CReplyForSend replies;
    for (int id = 1; id <= 14; ++id) ASSERT_TRUE(replies.Add(id));
    EXPECT_FALSE(replies.Add(1));
    EXPECT_TRUE(replies.Add(15));
    EXPECT_TRUE(replies.Add(1)) << "1 was the oldest and has been forgotten";
    CPackDisp pack;
    replies.Fill(pack);
    EXPECT_EQ(pack.ReplyCount(), 14);
}
