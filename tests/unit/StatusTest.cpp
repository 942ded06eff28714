// The unit's status replies decoded into plain records: the odd cases that
// a page would show wrongly.
#include "unit/StatusLB.h"

#include "base/StringRes.h"
#include "link/CPackV7.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

CPackV7 Reply(int ask, std::vector<unsigned char> data)
{
    CPackV7 p(CIdentV7(1234, 0), CIdentV7(10000001, 0));
    p.SetAsk(CPackV7::packAsk, ask, 0, data.data(), static_cast<int>(data.size()));
    return p;
}

std::vector<unsigned char> Zeros(size_t n) { return std::vector<unsigned char>(n, 0); }

class Status : public testing::Test {
protected:
    void SetUp() override { g_StringENU = true; }
};

}  // namespace

TEST_F(Status, EthernetTypeDecidesMaskGatewayAndDhcpAndTheDnsNeedsALongReply)
{
    auto d = Zeros(41);
    d[6] = 9;      // an unknown cable code
    d[7] = 2;      // PPPoE
    d[8] = 0xB3, d[9] = 0xB0;   // 46000, big-endian
    for (int i = 12; i < 29; ++i) d[static_cast<size_t>(i)] = static_cast<unsigned char>(i);
    CStatusEth s;
    s.Decode(Reply(CPackV7::askStatus, d));
    EXPECT_EQ(s.m_CableText, DBString(L"Cable on 9"));
    EXPECT_EQ(s.m_TypeText, DBString(L"PPPoE"));
    EXPECT_EQ(s.m_PortData, 46000);
    EXPECT_EQ(s.m_Mask, 0u);
    EXPECT_EQ(s.m_Gate, 0u);
    EXPECT_EQ(s.m_DHCP, 0u);
    EXPECT_EQ(s.m_DNS, 0u) << "a reply of 55 bytes has no DNS";
    d[7] = 0;
    d.resize(45, 0);
    d[37] = 8, d[38] = 8, d[39] = 4, d[40] = 4;
    s.Decode(Reply(CPackV7::askStatus, d));
    EXPECT_NE(s.m_Mask, 0u);
    EXPECT_EQ(s.m_DHCP, 0x1C1B1A19u) << "as it lies on the wire";
    EXPECT_EQ(s.m_DNS, 0x04040808u);
    EXPECT_EQ(CStatusEth::CableText(4), DBString(L"Cable on 100BASE-T2 half duplex"));
}

TEST_F(Status, TimeReplyTakesZoneSecondsQualityAndSource)
{
    CStatusSys s;
    s.Decode(Reply(CPackV7::askSystem, {1, 49, 0x78, 0x56, 0x34, 0x12, 200, 2}));
    EXPECT_EQ(s.m_Zone, 49u);
    EXPECT_EQ(s.m_NTP, 0x12345678u);
    EXPECT_EQ(s.m_Quality, 200u);
    EXPECT_EQ(s.m_Source, 2u);
    s.Decode(Reply(CPackV7::askSystem, {1, 3}));
    EXPECT_EQ(s.m_Zone, 3u);
    EXPECT_EQ(s.m_NTP, 0x12345678u) << "a short reply leaves what it does not carry";
}

TEST_F(Status, WiFiNameOfBadLengthIsEmptiedAndTheLaterFieldsStillRead)
{
    for (int n : {0, 33}) {
        auto d = Zeros(static_cast<size_t>(46 + n));
        d[1] = 3;
        d[40] = static_cast<unsigned char>(n);
        d[static_cast<size_t>(41 + n)] = 2;   // a second string of two bytes, then the state byte
        d[static_cast<size_t>(45 + n)] = 7;
        CStatusWiFi s;
        s.m_Name = "old";
        s.Decode(Reply(CPackV7::askWiFi, d));
        EXPECT_EQ(s.m_Name, "") << n;
        EXPECT_EQ(s.m_Module, 3);
        EXPECT_EQ(s.m_Tail, 7) << n;
    }
    auto d = Zeros(50);
    d[40] = 4;
    std::memcpy(d.data() + 41, "lift", 4);
    CStatusWiFi s;
    s.Decode(Reply(CPackV7::askWiFi, d));
    EXPECT_EQ(s.m_Name, "lift");
}

TEST_F(Status, MqttAndG4IgnoreARepliesWithoutTheirMarkAndKeepTextsForUnknownCodes)
{
    auto m = Zeros(18);
    m[1] = 0x80;
    m[10] = 0x17;
    m[11] = 130;
    CStatusMQTT q;
    m[0] = 2;
    q.Decode(Reply(CPackV7::askMQTT, m));
    EXPECT_TRUE(q.m_OnOff.empty());
    m[0] = 1;
    q.Decode(Reply(CPackV7::askMQTT, m));
    EXPECT_EQ(q.m_OnOff, DBString(L"MQTT turned off"));
    EXPECT_EQ(q.m_Socket, DBString(L"SOCK_ESTABLISHED"));
    EXPECT_EQ(q.m_Connection, DBString(L"MQTT_DNS_REQUEST"));
    m[10] = 0x99;
    m[11] = 200;
    q.Decode(Reply(CPackV7::askMQTT, m));
    EXPECT_EQ(q.m_Socket, DBString(L"SOCK_ESTABLISHED"));
    EXPECT_EQ(q.m_Connection, DBString(L"MQTT_DNS_REQUEST"));

    auto g = Zeros(153);
    g[0] = 1;
    g[2] = 9;
    g[3] = 5;
    g[65] = 5;
    g[67] = 31;
    g[109] = 10, g[112] = 7;
    CStatusG4 f;
    f.Decode(Reply(CPackV7::askG4, g));
    EXPECT_EQ(f.m_Module, DBString(L"Connection established 5"));
    EXPECT_EQ(f.m_Signal, DBString(L"-51dBm"));
    EXPECT_EQ(f.m_Address, "10.0.0.7");
    EXPECT_EQ(f.m_Registration, DBString(L"Registration in roaming"));
    g[2] = 7;   // unknown: the text grows
    g[65] = 9;  // unknown: the text stays
    f.Decode(Reply(CPackV7::askG4, g));
    EXPECT_EQ(f.m_Module, DBString(L"Connection established 5 5"));
    EXPECT_EQ(f.m_Registration, DBString(L"Registration in roaming"));
    g[0] = 0;
    f.Decode(Reply(CPackV7::askG4, g));
    EXPECT_EQ(f.m_Module, DBString(L"Connection established 5 5"));
    EXPECT_EQ(CStatusG4::SignalText(99), DBString(L"Unknown"));
    EXPECT_EQ(CStatusG4::SignalText(0), DBString(L"-113dBm"));
}

TEST_F(Status, StatisticPairsAreSwappedAndMissingValuesAreZero)
{
    std::vector<unsigned char> d;
    for (unsigned char v = 1; v <= 3; ++v) d.insert(d.end(), {v, 0, 0, 0});
    CStatCounters c;
    c.m_Count[9] = 99;
    c.Decode(Reply(CPackV7::askStatistic, d));
    EXPECT_EQ(c.m_Count[0], 2u);
    EXPECT_EQ(c.m_Count[1], 1u);
    EXPECT_EQ(c.m_Count[3], 3u);
    EXPECT_EQ(c.m_Count[2], 0u);
    EXPECT_EQ(c.m_Count[9], 0u);
}

TEST_F(Status, DirectReplyAsksForTheRestOnceAndAFreeLinkIsNotKept)
{
    auto d = Zeros(17);
    d[0] = 1, d[1] = 3, d[2] = 0, d[15] = 0x00;
    CDirectOne one;
    CDirectOne::Effect e;
    ASSERT_TRUE(one.Decode(Reply(CPackV7::askDirect, d), e));
    EXPECT_FALSE(e.store);
    EXPECT_TRUE(e.askRest);
    EXPECT_FALSE(e.last);
    d[0] = 3, d[15] = 0x20;
    ASSERT_TRUE(one.Decode(Reply(CPackV7::askDirect, d), e));
    EXPECT_TRUE(e.store);
    EXPECT_EQ(one.m_Kind, 2);
    EXPECT_TRUE(e.last);
    EXPECT_FALSE(e.askRest);
    d[0] = 1, d[1] = 1;
    ASSERT_TRUE(one.Decode(Reply(CPackV7::askDirect, d), e));
    EXPECT_FALSE(e.askRest) << "a unit of one link asks for nothing further";
    EXPECT_FALSE(one.Decode(Reply(CPackV7::askDirect, Zeros(16)), e));
}
