// The V7 UDP receiver's decisions, driven by a raw peer over the loopback:
// what is delivered, acknowledged, followed, refused and reported.
#include "link/V7Net.h"
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
}  // namespace

TEST(V7Receiver, RepeatedPacketIsAcknowledgedAgainButNotDeliveredTwice)
{
    std::atomic<time_t> now{1700000000};
    ToRawPeer link({CWindV7::kTickMs, [&] { return now.load(); }});
    // Sends a packet with this ident and waits for its acknowledgement,
    // which comes after the packet has been delivered or not.
    auto send = [&](int ident) {
        link.peer.SendFrom(kUnit, kProg, link.me.GetPort(), ident, 0, static_cast<uint32_t>(ident));
        CPackV7 ack;
        ASSERT_TRUE(link.peer.Recv(ack));
        EXPECT_TRUE(ack.m_Class == CPackV7::classData && ack.m_Typ == CPackV7::packEmpty && ack.m_Repl == ident);
        EXPECT_TRUE(ack.m_Src.FullEQ(kProg) && ack.m_Dst.FullEQ(kUnit));
    };
    send(7);
    send(7);
    now += 60;
    send(7);
    now += 59;
    send(7);
    EXPECT_EQ(link.me.DeliveredCount(), 1u) << "repeats within 60 s of the last sighting";
    now += 61;
    send(7);
    EXPECT_EQ(link.me.DeliveredCount(), 2u) << "61 s after the last sighting it is new";
    for (int ident = 10; ident < 20; ++ident) send(ident);
    send(10);
    EXPECT_EQ(link.me.DeliveredCount(), 12u) << "ten idents are remembered";
    send(7);
    EXPECT_EQ(link.me.DeliveredCount(), 13u) << "pushed out by ten newer idents";
}

TEST(V7Receiver, PacketUnderAnotherKeyIsRefusedWithTheReason)
{
    const CKeySys alt = KeyOf(L"second");
    ToRawPeer link({}, 2000, [&](TestReceiv& r) { r.m_AltKey = alt; });
    const int port = link.me.GetPort();
    CPackV7 p = Numbered(1);
    p.SetID(kUnit, kProg);

    link.peer.Send(p, port, KeyOf(L"wrong"));
    EXPECT_TRUE(link.me.m_Reports.WaitFor(L"Data from " + link.peer.Name() + L" cannot be decrypted"));
    link.peer.Send(p, port, alt);   // decoded by the second try, but not the link's key
    EXPECT_TRUE(link.me.m_Reports.WaitFor(L"LU 1234.0 - key does not match the default key, data is ignored"));
    link.send->SetKey(KeyOf(L"third"));
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
    const int port = link.me.GetPort();
    const std::wstring first = std::to_wstring(link.peer.Port());
    RawPeer second, third;
    auto portNow = [&] { in6_addr a; int p; link.send->GetAddr(a, p); return p; };

    second.SendFrom(kUnit, kProg, port, 1, 0, 1);
    EXPECT_TRUE(link.me.m_Reports.WaitFor(L"Changed IP:port for device 1234.0 - new " + second.Name() + L" old ::1|" +
                                          first));
    EXPECT_EQ(portNow(), second.Port());
    third.SendFrom(kUnit, kProg, port, 2, 0, 2);
    EXPECT_TRUE(link.me.m_Reports.WaitFor(L"New IP:port from device 1234.0 " + third.Name() + L" exist ::1|" +
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
    EXPECT_EQ(link.me.m_Reports.Count(), 1);
    EXPECT_EQ(link.me.m_Reports.Count(L"Data from " + link.peer.Name() + L" cannot be decrypted"), 1);
}

TEST(V7Receiver, UnknownPeersGetASenderOnlyWhenTheRulesAllow)
{
    ToRawPeer link;
    const int port = link.me.GetPort();
    RawPeer& peer = link.peer;
    Reports& reports = link.me.m_Reports;

    CPackV7 close(CIdentV7(556, 0), kProg);
    const unsigned char body[4] = {0, 0x2C, 2, 0};
    close.SetLink(CPackV7::packLinkClose, body, 4);
    peer.Send(close, port);
    EXPECT_TRUE(reports.WaitFor(L"Receive pack form unknown device 556.0 from address " + peer.Name() + L" 03 00 00"));
    peer.SendFrom(CIdentV7(557, 1), kProg, port, 0, 0);   // a unit's device other than 0
    EXPECT_TRUE(reports.WaitFor(L"unknown device 557.1"));
    peer.SendFrom(CIdentV7(9999999, 0), kProg, port, 0, 0);   // a service node
    EXPECT_TRUE(reports.WaitFor(L"unknown device 9999999.0"));
    peer.SendFrom(CIdentV7(V7Net::kNodeServer, 0), kProg, port, 0, 0);
    EXPECT_TRUE(WaitUntil([&] { return link.me.m_TimeServer != 0; }));
    EXPECT_EQ(link.me.m_NewSenders, 0);

    peer.SendFrom(CIdentV7(555, 0), kProg, port, 0, 0, 1);
    peer.SendFrom(CIdentV7(10000002, 3), kProg, port, 0, 0, 2);   // a program: any device
    EXPECT_TRUE(link.me.WaitDelivered(2));
    EXPECT_EQ(link.me.m_NewSenders, 2);
    peer.SendFrom(kUnit, CIdentV7(777, 0), port, 0, 0);
    EXPECT_TRUE(reports.WaitFor(L"Not known recipient: 1234.0 -> 777.0 from IP " + peer.Name()));
    EXPECT_EQ(link.me.DeliveredCount(), 2u);
}
