// The dispatcher exchange between two sessions over real sockets on ::1:
// window, merging, retransmission, acknowledgements, the duplicate filter,
// ident wrap, the loss of a silent peer and delivery through random loss.
// Times are shortened through CSendDisp::Timing(); every wait is for a
// condition, with a deadline far beyond need.
#include "DispHarness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>

using namespace disptest;

namespace {

std::vector<int> Range(int from, int to)
{
    std::vector<int> v(static_cast<size_t>(to - from));
    std::iota(v.begin(), v.end(), from);
    return v;
}

std::set<int> NumberedIdents(TestSession& s)
{
    auto lock = s.Lock();
    std::set<int> idents;
    for (const SentRecord& r : s.sent)
        if (r.ident != 0) idents.insert(r.ident);
    return idents;
}

}  // namespace

TEST(DispExchange, AFullWindowHoldsTheEighthPacketAndMergesWhatQueuesBehindIt)
{
    FastTiming timing(50, 1000);
    LoopbackPair pair;
    pair.b->LoseAll(true);   // B hears everything, but its acknowledgements are lost
    for (int i = 0; i < 7; ++i) {
        pair.a->SendMes(IndexMes(i));
        ASSERT_TRUE(WaitUntil([&] { return pair.a->SendsOf(i + 1) == 1; }));
    }
    for (int i = 7; i < 28; ++i) pair.a->SendMes(IndexMes(i));

    // The window gives nothing up for 4 s: ident 8 must not appear meanwhile.
    EXPECT_FALSE(WaitUntil([&] { return pair.a->SendsOf(8) > 0; }, 1));

    pair.b->LoseAll(false);
    ASSERT_TRUE(WaitUntil([&] { return pair.b->Received() == 28; }));
    {
        auto lock = pair.b->Lock();
        EXPECT_EQ(pair.b->received, Range(0, 28)) << "in order, and resends of 1..7 not delivered again";
    }
    const std::set<int> idents = NumberedIdents(*pair.a);
    EXPECT_LE(idents.size(), 9u) << "21 messages queued behind the full window travel in at most two packets";
}

TEST(DispExchange, AnAcknowledgementPastAGapResendsTheOlderPacketsAtTheNextTick)
{
    FastTiming timing(20, 600000);   // no resend by the retry timer during the test
    LoopbackPair pair;
    pair.a->LoseFirstSendOf({1, 2});
    for (int i = 0; i < 3; ++i) {
        pair.a->SendMes(IndexMes(i));
        ASSERT_TRUE(WaitUntil([&] { return pair.a->SendsOf(i + 1) == 1; }));
    }
    ASSERT_TRUE(WaitUntil([&] { return pair.b->Received() == 3; }));
    auto lock = pair.b->Lock();
    EXPECT_EQ(pair.b->received, (std::vector<int>{2, 0, 1}));
}

TEST(DispExchange, ARepeatIsAcknowledgedAgainButDeliveredOnce)
{
    QuietPool pool;
    TestSession s(&pool, nullptr, 1);
    s.Start();
    const Bytes five = Datagram(5, {IndexMes(50)});
    const Bytes six = Datagram(6, {IndexMes(60)});
    for (const Bytes* d : {&five, &five, &six, &five}) s.Handling(d->data(), static_cast<int>(d->size()));

    auto lock = s.Lock();
    EXPECT_EQ(s.received, (std::vector<int>{50, 60}));
    std::vector<Bytes> acks;
    for (const SentRecord& r : s.sent) acks.push_back(r.replies);
    EXPECT_EQ(acks, (std::vector<Bytes>{{5}, {5}, {6}, {5}})) << "each datagram answered, repeats included";
}

TEST(DispExchange, OpenLinkExInPacketOneLetsARestartedPeerCountAgain)
{
    QuietPool pool;
    CMesDisp open;
    open.Create_OpenLinkEx();
    const std::vector<Bytes> before = {Datagram(1, {IndexMes(1)}), Datagram(2, {IndexMes(2)}),
                                       Datagram(3, {IndexMes(3)})};
    TestSession plain(&pool, nullptr, 1), reopened(&pool, nullptr, 2);
    plain.Start();
    reopened.Start();
    for (const Bytes& d : before) {
        plain.Handling(d.data(), static_cast<int>(d.size()));
        reopened.Handling(d.data(), static_cast<int>(d.size()));
    }
    const Bytes again = Datagram(1, {IndexMes(10)});
    const Bytes restart = Datagram(1, {open, IndexMes(10)});
    const Bytes two = Datagram(2, {IndexMes(20)});
    plain.Handling(again.data(), static_cast<int>(again.size()));
    reopened.Handling(restart.data(), static_cast<int>(restart.size()));
    reopened.Handling(two.data(), static_cast<int>(two.size()));

    EXPECT_EQ(plain.Received(), 3) << "without OpenLinkEx a new packet 1 is a duplicate";
    auto lock = reopened.Lock();
    EXPECT_EQ(reopened.received, (std::vector<int>{1, 2, 3, -1, 10, 20}));
}

TEST(DispExchange, IdentsWrapFrom255To1AndEveryPacketStillArrives)
{
    LoopbackPair pair;
    for (int i = 0; i < 258; ++i) {
        pair.a->SendMes(IndexMes(i));
        ASSERT_TRUE(WaitUntil([&] { return pair.b->Received() == i + 1; })) << i;
    }
    auto lock = pair.a->Lock();
    std::vector<int> idents;
    for (const SentRecord& r : pair.a->sent)
        if (r.ident != 0 && (idents.empty() || r.ident != idents.back())) idents.push_back(r.ident);
    ASSERT_EQ(idents.size(), 258u);
    EXPECT_EQ(std::vector<int>(idents.begin() + 253, idents.end()), (std::vector<int>{254, 255, 1, 2, 3}));
}

TEST(DispExchange, ASilentPeerIsGivenUpAfterElevenLostPacketsWithOneDisconnect)
{
    FastTiming timing(10, 40);
    LoopbackPair pair;
    pair.b->LoseAll(true);
    // 300-byte messages cannot be merged: eleven packets.
    for (int i = 0; i < 11; ++i) pair.a->SendMes(IndexMes(i, 300));
    ASSERT_TRUE(WaitUntil([&] { return !pair.a->IsActive(); }));
    pair.a->Stop();   // waits for the timer procedure: no second Disconnect can follow

    const std::set<int> idents = NumberedIdents(*pair.a);
    const std::vector<int> eleven = Range(1, 12);
    EXPECT_EQ(idents, std::set<int>(eleven.begin(), eleven.end()));
    for (int ident : idents) EXPECT_EQ(pair.a->SendsOf(ident), CDispWind::MaxTries) << ident;
    auto lock = pair.a->Lock();
    EXPECT_EQ(pair.a->disconnects, 1);
    EXPECT_GE(pair.a->disconnectAt - pair.a->sent.front().at, std::chrono::milliseconds(4 * 40));
    EXPECT_EQ(std::count(pair.a->badLines.begin(), pair.a->badLines.end(),
                         DBString(L"CDispWind::TimerProc - Disconnect ") + pair.a->ToStr()),
              1);
}

TEST(DispExchange, EveryMessageArrivesOnceThroughTwentyPercentLossBothWays)
{
    FastTiming timing(10, 50);
    LoopbackPair pair;
    pair.a->LoseRandomly(20, 7);
    pair.b->LoseRandomly(20, 11);
    constexpr int count = 300;
    std::thread other([&] {
        for (int i = 0; i < count; ++i) pair.b->SendMes(IndexMes(i, 4 + i % 60));
    });
    for (int i = 0; i < count; ++i) pair.a->SendMes(IndexMes(i, 4 + (i * 7) % 60));
    other.join();
    ASSERT_TRUE(WaitUntil([&] { return pair.a->Received() == count && pair.b->Received() == count; }, 120));

    for (TestSession* s : {pair.a.get(), pair.b.get()}) {
        auto lock = s->Lock();
        std::vector<int> got = s->received;
        std::sort(got.begin(), got.end());
        EXPECT_EQ(got, Range(0, count));
        EXPECT_EQ(s->disconnects, 0);
        EXPECT_GT(std::count_if(s->sent.begin(), s->sent.end(), [](const SentRecord& r) { return r.dropped; }), 10);
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
    int n = 0;
    pack.GetReply(n);
    EXPECT_EQ(n, 14);
    EXPECT_FALSE(replies.HasUnsent());
    EXPECT_FALSE(replies.Add(9));
    CPackDisp next;
    replies.Fill(next);
    const unsigned char* r = next.GetReply(n);
    EXPECT_EQ(Bytes(r, r + n), Bytes{9}) << "a repeat is owed again, alone";
}
