// The dispatcher receiver: routing datagrams to sessions, a bind that fails,
// rebinding after a socket error, and Stop during a blocked read. Other
// receivers stand for the tools: they are just sockets on ::1.
#include "DispHarness.h"

#include "base/ErrorXML.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace disptest;

TEST(DispReceiver, EachDatagramReachesOnlyTheSessionOfItsSender)
{
    BasePoolThread pool("disptest", false);
    TestSession session(&pool, nullptr, 1);   // outlives the readers that call it
    TestReceiver receiver(&pool), stranger(&pool), tool(&pool);
    receiver.Route(tool.Port(), &session);
    session.Start();

    stranger.SendTo(receiver.Port(), Bytes(5, 0x11));
    ASSERT_TRUE(WaitUntil([&] { return receiver.log.Lock()->datagrams == 1; }));
    EXPECT_EQ(receiver.log.Lock()->connects, 0) << "5 bytes cannot hold a packet";
    stranger.SendTo(receiver.Port(), Bytes(6, 0x11));
    ASSERT_TRUE(WaitUntil([&] { return receiver.log.Lock()->connects == 1; }));
    Bytes damaged = Datagram(1, {IndexMes(7)});
    damaged[3] ^= 0x40;
    tool.SendTo(receiver.Port(), damaged);
    tool.SendTo(receiver.Port(), Datagram(1, {IndexMes(8)}));
    ASSERT_TRUE(WaitUntil([&] { return session.Received() == 1; }));
    EXPECT_EQ(session.log.Lock()->received, std::vector<int>{8});
    EXPECT_EQ(session.log.Lock()->packets, std::vector<int>{1}) << "the damaged datagram is dropped by the session";

    // The reader is back in recvfrom, or on its way there.
    const auto start = std::chrono::steady_clock::now();
    receiver.Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(BaseThread::Limits().stopSeconds / 2));
    EXPECT_EQ(receiver.log.Lock()->connects, 1) << "a known sender asks for no session";
}

TEST(DispReceiver, AFailedBindIsThrownWithItsErrorCode)
{
    BasePoolThread pool("disptest", false);
    TestReceiver holder(&pool), receiver(&pool, holder.Port(), false);
    try {
        receiver.Start();
        FAIL() << "bound a port that is taken";
    } catch (const ErrorXML& e) {
        EXPECT_EQ(e.GetText(), DBString(L"CReceivDisp::Bind(): bind()"));
        EXPECT_EQ(e.GetCode(), EADDRINUSE);
    }
    EXPECT_EQ(receiver.log.Lock()->errors, std::vector<int>{EADDRINUSE});
}

TEST(DispReceiver, ASocketErrorRebindsOnTheSamePort)
{
    BasePoolThread pool("disptest", false);
    TestReceiver receiver(&pool), tool(&pool), gone(&pool);
    gone.Stop();
    const int port = receiver.Port();   // the tools know this one
    // With IPV6_RECVERR the refusal by a closed port comes back as an error
    // of the next recvfrom, which is what a stray socket error looks like.
    const int on = 1;
    ASSERT_EQ(setsockopt(receiver.SocketFd(), IPPROTO_IPV6, IPV6_RECVERR, &on, sizeof on), 0);
    receiver.SendTo(gone.Port(), Bytes(8, 0));
    ASSERT_TRUE(WaitUntil([&] { return !receiver.log.Lock()->errors.empty(); }));
    EXPECT_EQ(receiver.log.Lock()->errors.front(), ECONNREFUSED);

    ASSERT_TRUE(WaitUntil([&] {
        tool.SendTo(port, Bytes(6, 0x22));   // lost while the socket is closed
        return receiver.log.Lock()->datagrams > 0;
    }));
}
