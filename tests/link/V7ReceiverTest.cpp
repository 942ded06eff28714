// The V7 UDP receiver's decisions, driven by a raw peer over the loopback:
// what is delivered, acknowledged, followed, refused and reported.
#include "tests/link/V7Peers.h"

#include <gtest/gtest.h>

using namespace v7test;

namespace {

CKeySys KeyOf(const wchar_t* password)
{
    CKeySys key;
    key.Create(password);
    return key;
}

std::wstring From(const RawPeer& peer) { return L"[::1]:" + std::to_wstring(peer.Port()); }

}  // namespace

TEST(V7Receiver, RepeatedPacketIsAcknowledgedAgainButNotDeliveredTwice)
{
    ToRawPeer link;
    for (int i = 0; i < 2; ++i) {
        link.peer.SendFrom(kUnit, kProg, link.me.GetPort(), 7, 0, 70);
        CPackV7 ack;
        ASSERT_TRUE(link.peer.Recv(ack));
        EXPECT_TRUE(ack.m_Class == CPackV7::classData && ack.m_Typ == CPackV7::packEmpty && ack.m_Repl == 7);
        EXPECT_TRUE(ack.m_Src.FullEQ(kProg) && ack.m_Dst.FullEQ(kUnit));
    }
    EXPECT_EQ(link.me.DeliveredCount(), 1u);
}

TEST(V7Receiver, DuplicateFilterForgetsAfterSixtySecondsAndBeyondTenIdents)
{
    CSendV7::CReplyForSend idents;
    EXPECT_TRUE(idents.MngIdentInp(5, 1000));
    CPackV7 p(kProg, kUnit);
    idents.AddTo(p);
    EXPECT_TRUE(p.m_Repl == 5 && !idents.IsOwed());
    EXPECT_FALSE(idents.MngIdentInp(5, 1060)) << "a repeat within 60 s";
    EXPECT_TRUE(idents.IsOwed()) << "and its acknowledgement is owed again";
    EXPECT_TRUE(idents.MngIdentInp(5, 1121)) << "61 s after the last sighting it is new";
    for (unsigned char i = 10; i < 20; ++i) EXPECT_TRUE(idents.MngIdentInp(i, 1121));
    EXPECT_EQ(idents.Size(), 10u);
    EXPECT_TRUE(idents.MngIdentInp(5, 1121)) << "pushed out by ten newer idents";
}

TEST(V7Receiver, PacketUnderAnotherKeyIsRefusedWithTheReason)
{
    const CKeySys alt = KeyOf(L"second"), third = KeyOf(L"third");
    ToRawPeer link({}, 2000, [&](TestReceiv& r) { r.m_AltKey = alt; });
    const int port = link.me.GetPort();
    CPackV7 p = Numbered(1);
    p.SetID(kUnit, kProg);

    link.peer.Send(p, port, KeyOf(L"wrong"));
    EXPECT_TRUE(link.me.m_Reports.WaitFor(L"Data from " + From(link.peer) + L" cannot be decrypted"));

    link.peer.Send(p, port, alt);   // decoded by the second try, but not the link's key
    EXPECT_TRUE(link.me.m_Reports.WaitFor(L"LU 1234.0 - key does not match the default key, data is ignored"));

    link.send->SetKey(third);
    link.peer.Send(p, port, alt);
    EXPECT_TRUE(link.me.m_Reports.WaitFor(
        L"LU 1234.0 - key does not match the key in the communication parameters with this LU, data is ignored"));

    link.send->SetKey(alt);
    link.peer.Send(p, port, alt);
    EXPECT_TRUE(link.me.WaitDelivered(1)) << "the key agreed for this unit";
    EXPECT_EQ(link.me.DeliveredCount(), 1u);
}

TEST(V7Receiver, AddressChangeIsFollowedButASecondWithinThreeSecondsIsIgnored)
{
    std::atomic<time_t> now{1700000000};
    ToRawPeer link({}, 2000, [&](TestReceiv& r) { r.m_Timing.now = [&] { return now.load(); }; });
    const int port = link.me.GetPort(), first = link.peer.Port();
    RawPeer second, third;
    auto portNow = [&] {
        in6_addr a;
        int p;
        link.send->GetAddr(a, p);
        return p;
    };

    second.SendFrom(kUnit, kProg, port, 1, 0, 1);
    EXPECT_TRUE(link.me.m_Reports.WaitFor(L"Changed IP:port for device 1234.0 - new " + From(second) + L" old ::1|" +
                                          std::to_wstring(first)));
    EXPECT_EQ(portNow(), second.Port());

    third.SendFrom(kUnit, kProg, port, 2, 0, 2);
    EXPECT_TRUE(link.me.m_Reports.WaitFor(L"New IP:port from device 1234.0 " + From(third) + L" exist ::1|" +
                                          std::to_wstring(second.Port()) +
                                          L" - ignored, because time from previous < 3 sec"));
    EXPECT_TRUE(link.me.WaitDelivered(2)) << "the packet itself is taken";
    EXPECT_EQ(portNow(), second.Port());

    now += 3;
    third.SendFrom(kUnit, kProg, port, 3, 0, 3);
    EXPECT_TRUE(link.me.WaitDelivered(3));
    EXPECT_EQ(portNow(), third.Port());
    EXPECT_EQ(link.me.m_Reports.Count(L"Changed IP:port"), 2);
}

TEST(V7Receiver, DatagramsBelowFifteenBytesAreIgnoredSilently)
{
    ToRawPeer link;
    const unsigned char junk[15] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    link.peer.SendBytes(junk, 14, link.me.GetPort());
    link.peer.SendBytes(junk, 15, link.me.GetPort());
    link.peer.SendFrom(kUnit, kProg, link.me.GetPort(), 0, 0);
    ASSERT_TRUE(link.me.WaitDelivered(1));
    const auto lines = link.me.m_Reports.All();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], L"Data from " + From(link.peer) + L" cannot be decrypted");
}

TEST(V7Receiver, UnknownPeersGetASenderOnlyWhenTheRulesAllow)
{
    ToRawPeer link({}, 2000, [](TestReceiv& r) { r.m_AllowNew = true; });
    const int port = link.me.GetPort();
    RawPeer& peer = link.peer;
    Reports& reports = link.me.m_Reports;

    CPackV7 close(CIdentV7(556, 0), kProg);
    const unsigned char body[4] = {0, 0x2C, 2, 0};
    close.SetLink(CPackV7::packLinkClose, body, 4);
    peer.Send(close, port);
    EXPECT_TRUE(reports.WaitFor(L"Receive pack form unknown device 556.0 from address " + From(peer) + L" 03 00 00"));
    peer.SendFrom(CIdentV7(557, 1), kProg, port, 0, 0);   // a unit's device other than 0
    EXPECT_TRUE(reports.WaitFor(L"unknown device 557.1"));
    peer.SendFrom(CIdentV7(9999999, 0), kProg, port, 0, 0);   // a service node
    EXPECT_TRUE(reports.WaitFor(L"unknown device 9999999.0"));
    peer.SendFrom(CIdentV7(9999997, 0), kProg, port, 0, 0);
    EXPECT_TRUE(WaitUntil([&] { return link.me.m_TimeServer != 0; }));
    EXPECT_EQ(link.me.m_NewSenders, 0);

    peer.SendFrom(CIdentV7(555, 0), kProg, port, 0, 0, 1);
    peer.SendFrom(CIdentV7(10000002, 3), kProg, port, 0, 0, 2);   // a program: any device
    EXPECT_TRUE(link.me.WaitDelivered(2));
    EXPECT_EQ(link.me.m_NewSenders, 2);

    peer.SendFrom(kUnit, CIdentV7(777, 0), port, 0, 0);
    EXPECT_TRUE(reports.WaitFor(L"Not known recipient: 1234.0 -> 777.0 from IP " + From(peer)));
    EXPECT_EQ(link.me.DeliveredCount(), 2u);
}
