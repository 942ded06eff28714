// The dispatcher receiver: routing datagrams to sessions, a bind that fails,
// rebinding after a socket error, and Stop during a blocked read. A second
// receiver stands for a tool: it is just a socket on ::1.
#include "DispHarness.h"

#include "base/ErrorXML.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace disptest;

TEST(DispReceiver, EachDatagramGoesToItsSendersSessionOrAsksForOneIfLongEnough)
{
    QuietPool pool;
    TestReceiver receiver(&pool), stranger(&pool), tool(&pool);
    receiver.Start();
    stranger.Start();
    tool.Start();
    TestSession session(&pool, &receiver, tool.Port());
    receiver.Route(tool.Port(), &session);
    session.Start();

    stranger.SendTo(receiver.Port(), Bytes(5, 0x11));
    ASSERT_TRUE(WaitUntil([&] { return receiver.Get().datagrams == 1; }));
    EXPECT_EQ(receiver.Get().connects, 0) << "5 bytes cannot hold a packet";
    stranger.SendTo(receiver.Port(), Bytes(6, 0x11));
    ASSERT_TRUE(WaitUntil([&] { return receiver.Get().connects == 1; }));

    Bytes damaged = Datagram(1, {IndexMes(7)});
    damaged[3] ^= 0x40;
    tool.SendTo(receiver.Port(), damaged);
    tool.SendTo(receiver.Port(), Datagram(1, {IndexMes(8)}));
    ASSERT_TRUE(WaitUntil([&] { return session.Received() == 1; }));
    receiver.Stop();
    EXPECT_EQ(receiver.Get().connects, 1);
    auto lock = session.Lock();
    EXPECT_EQ(session.received, std::vector<int>{8}) << "the damaged one is dropped by the session";
}

TEST(DispReceiver, AFailedBindIsThrownWithItsErrorCode)
{
    QuietPool pool;
    TestReceiver holder(&pool);
    holder.Start();
    TestReceiver receiver(&pool, holder.Port());
    try {
        receiver.Start();
        FAIL() << "bound a port that is taken";
    } catch (const ErrorXML& e) {
        EXPECT_EQ(e.GetText(), DBString(L"CReceivDisp::Bind(): bind()"));
        EXPECT_EQ(e.GetCode(), EADDRINUSE);
    }
    EXPECT_FALSE(receiver.IsActive());
    EXPECT_EQ(receiver.Get().errors, std::vector<int>{EADDRINUSE});
}

TEST(DispReceiver, ASocketErrorRebindsOnTheSamePort)
{
    QuietPool pool;
    TestReceiver receiver(&pool), tool(&pool), gone(&pool);
    receiver.Start();
    tool.Start();
    gone.Start();
    gone.Stop();
    const int port = receiver.Port();
    // With IPV6_RECVERR the refusal by a closed port comes back as an error
    // of the next recvfrom, which is what a stray socket error looks like.
    const int on = 1;
    ASSERT_EQ(setsockopt(receiver.Fd(), IPPROTO_IPV6, IPV6_RECVERR, &on, sizeof on), 0);
    receiver.SendTo(gone.Port(), Bytes(8, 0));
    ASSERT_TRUE(WaitUntil([&] { return !receiver.Get().errors.empty(); }));
    EXPECT_EQ(receiver.Get().errors.front(), ECONNREFUSED);

    ASSERT_TRUE(WaitUntil([&] {
        tool.SendTo(port, Bytes(6, 0x22));   // lost while the socket is closed
        return receiver.Get().datagrams > 0;
    }));
    EXPECT_EQ(receiver.Port(), port);
    EXPECT_TRUE(receiver.IsActive());
}

TEST(DispReceiver, StopEndsABlockedReadWellWithinTheStopLimit)
{
    QuietPool pool;
    TestReceiver receiver(&pool), tool(&pool);
    receiver.Start();
    tool.Start();
    tool.SendTo(receiver.Port(), Bytes(6, 0x33));
    ASSERT_TRUE(WaitUntil([&] { return receiver.Get().datagrams == 1; }));   // the reader is in its loop

    const auto start = std::chrono::steady_clock::now();
    receiver.Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(BaseThread::Limits().stopSeconds / 2));
    EXPECT_FALSE(receiver.IsActive());
    EXPECT_EQ(receiver.SendTo(tool.Port(), Bytes(6, 0)), -1);
}
