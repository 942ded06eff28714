// The unit's answers as a function, read back through the configurator's own
// decoders: a reply the simulator lays out differently from what the
// configurator reads fails here, whichever side moved.
#include "tools/velkunit/UnitAnswer.h"
#include "unit/CUnitLB.h"
#include "unit/StatusLB.h"
#include "unit/SystemFields.h"

#include <gtest/gtest.h>

using namespace velkunit;

namespace {

constexpr time_t kNow = 1700000000;
const CIdentV7 kUnit(1234, 0);
const CIdentV7 kProg(12345678, 0);

UnitState Fresh(int type = 14)
{
    UnitState s;
    s.config.ident = 1234;
    s.config.type = type;
    s.config.hwSubtype = type == 14 ? 2 : 1;
    s.image = DefaultImage(s.config);
    return Boot(s, kNow);
}

CPackV7 Ask(int ask, std::vector<unsigned char> data = {})
{
    CPackV7 p;
    p.SetID(kProg, kUnit);
    p.SetAsk(CPackV7::packAsk, ask, 1, data.data(), static_cast<int>(data.size()));
    return p;
}

CPackV7 Nvram(int adr, int word, std::vector<unsigned char> bytes = {})
{
    std::vector<unsigned char> d = {static_cast<unsigned char>(adr), static_cast<unsigned char>(adr >> 8),
                                    static_cast<unsigned char>(word), static_cast<unsigned char>(word >> 8)};
    d.insert(d.end(), bytes.begin(), bytes.end());
    return Ask(CPackV7::askNVRAM, d);
}

CPackV7 Only(const UnitOutcome& out)
{
    EXPECT_EQ(out.replies.size(), 1u);
    return out.replies.empty() ? CPackV7() : out.replies[0];
}

template <class Record>
Record Decoded(const UnitState& s, int ask, std::vector<unsigned char> data = {1}, time_t now = kNow)
{
    Record r;
    r.Decode(Only(UnitAnswer(s, Ask(ask, data), now)));
    return r;
}

}  // namespace

TEST(UnitAnswer, ReadRepliesFillTheConfiguratorsImageAndRefusedRunsAreDropped)
{
    UnitState s = Fresh();
    s.config.version = {7, 2, 5};
    s.config.features = {0x03, 0x21};
    for (int i = 0; i < 128; ++i) s.image[0x480 + i] = static_cast<unsigned char>(i * 7);

    CUnitLB lb;
    CPackV7 pack;
    pack.SetID(kProg, kUnit);
    const CPackV7 info = Only(UnitAnswer(s, Ask(CPackV7::askInfo), kNow));
    ASSERT_TRUE(CUnitLB::IsReplyOf(info, kUnit));
    lb.TakeInfo(info, pack, [](CPackV7&) {});
    EXPECT_EQ(std::vector<int>({lb.m_TypLB, lb.m_SubTyp, lb.m_TypLBSub, lb.m_Feat[0], lb.m_Feat[1]}),
              std::vector<int>({14, 3, 2, 0x03, 0x21}));
    EXPECT_EQ(lb.VersionText(), DBString(" 7.2.5"));

    EXPECT_TRUE(lb.TakeNVRAM(Only(UnitAnswer(s, Nvram(0x480, 128), kNow))));
    EXPECT_EQ(std::vector<unsigned char>(lb.m_NVRAM.m_Data + 0x480, lb.m_NVRAM.m_Data + 0x500),
              std::vector<unsigned char>(s.image.begin() + 0x480, s.image.begin() + 0x500));
    CPackV7 noLength = Nvram(0x400, 0x10);
    noLength.m_Len = 16;
    for (const CPackV7& bad : {Nvram(0x7C0, 128), Nvram(0x400, 0), Nvram(0x400, 0x280), noLength}) {
        const CPackV7 e = Only(UnitAnswer(s, bad, kNow));
        EXPECT_EQ(e.m_Len, 18) << "no bytes with a failed read";
        EXPECT_FALSE(lb.TakeNVRAM(e));
    }
}

TEST(UnitAnswer, WriteNeedsBit8AndTheUnitRunsOnItOnlyAfterTheRestart)
{
    UnitState s = Fresh();
    std::vector<unsigned char> chunk(64, 0);
    chunk[0] = 1;                                     // connection type: static
    chunk[1] = 0x12, chunk[2] = 0x34, chunk[3] = 0x56, chunk[4] = 0x78;   // data and voice ports
    chunk[5] = 10, chunk[6] = 1, chunk[7] = 2, chunk[8] = 3;   // 10.1.2.3
    UnitOutcome w = UnitAnswer(s, Nvram(0x500, 0x140, chunk), kNow);
    EXPECT_TRUE(w.written);
    EXPECT_EQ(Only(w).m_Buf[14 + 3], 0);
    EXPECT_EQ(w.state.image[0x505], 10);

    EXPECT_EQ(Decoded<CStatusEth>(w.state, CPackV7::askStatus, {}).m_Type, 0) << "still on DHCP until the restart";
    UnitOutcome restart = UnitAnswer(w.state, Ask(CPackV7::askRestart), kNow);
    EXPECT_TRUE(restart.restart && restart.replies.empty());
    const CPackV7 after = Only(UnitAnswer(Boot(restart.state, kNow + 7), Ask(CPackV7::askStatus), kNow + 7));
    EXPECT_GT(after.m_Len, 54) << "long enough for the DNS server";
    CStatusEth eth;
    eth.Decode(after);
    EXPECT_EQ(eth.m_Type, 1);
    EXPECT_EQ(std::vector<int>({eth.m_PortData, eth.m_PortVoice}), std::vector<int>({0x1234, 0x5678}));
    EXPECT_EQ(eth.m_IP, 0x0302010Au);

    EXPECT_FALSE(UnitAnswer(s, Nvram(0x500, 0x40, chunk), kNow).written) << "without bit 8 it is a read";
    chunk.resize(10);
    UnitOutcome cut = UnitAnswer(s, Nvram(0x500, 0x140, chunk), kNow);
    EXPECT_FALSE(cut.written);
    EXPECT_EQ(Only(cut).m_Buf[14 + 3], kStatusMalformed);
    s.config.nvramStatus = 9;
    UnitOutcome faulty = UnitAnswer(s, Nvram(0x500, 0x140, std::vector<unsigned char>(64, 1)), kNow);
    EXPECT_FALSE(faulty.written);
    EXPECT_EQ(Only(faulty).m_Buf[14 + 3], 9);
}

TEST(UnitAnswer, StatusRepliesDecodeAsTheUnitsStateSays)
{
    UnitState s = Fresh();
    const CStatusSys a = Decoded<CStatusSys>(s, CPackV7::askSystem);
    const CStatusSys b = Decoded<CStatusSys>(s, CPackV7::askSystem, {1}, kNow + 5);
    EXPECT_EQ(a.m_NTP, static_cast<uint64_t>(kNow + 2208988800LL));
    EXPECT_EQ(b.m_NTP - a.m_NTP, 5u);
    EXPECT_EQ(a.m_Zone, 28u) << "the zone of the image";
    EXPECT_EQ(QualityBand(a.m_Quality), qualityGreen);
    EXPECT_LE(a.m_Source, 3u);

    s.running[0x515] = 0x00;   // MQTT on
    UnitOutcome m = UnitAnswer(s, Ask(CPackV7::askMQTT, {0x80}), kNow);
    CStatusMQTT mqtt;
    mqtt.Decode(Only(m));
    EXPECT_EQ(mqtt.m_Connection, DBString(CStatusMQTT::ConnectionText(1))) << "connecting again";
    mqtt.Decode(Only(UnitAnswer(m.state, Ask(CPackV7::askMQTT, {1}), kNow + 5)));
    EXPECT_EQ(mqtt.m_Connection, DBString(CStatusMQTT::ConnectionText(6))) << "established";

    UnitOutcome g = UnitAnswer(s, Ask(CPackV7::askG4, {0x80}), kNow + 100);
    CStatusG4 g4;
    g4.Decode(Only(g));
    const DBString initialising = g4.m_Module;
    g4.Decode(Only(UnitAnswer(g.state, Ask(CPackV7::askG4, {1}), kNow + 120)));
    EXPECT_NE(g4.m_Module, initialising) << "the modem comes up after its restart";
    EXPECT_NE(g4.m_Signal, CStatusG4::SignalText(99));
    EXPECT_FALSE(g4.m_IMEI.empty());

    s.running[0x780] = 0xC1;   // external on, not static
    s.running[0x781] = 6;
    const std::string name = "Office";
    std::copy(name.begin(), name.end(), s.running.begin() + 0x700);
    s.running[0x700 + name.size()] = 0;
    const CStatusWiFi wifi = Decoded<CStatusWiFi>(s, CPackV7::askWiFi, {2});
    EXPECT_EQ(wifi.m_Name, name);
    EXPECT_EQ(wifi.m_State19, 5) << "connected with an address";
    EXPECT_NE(wifi.m_Tail, 0) << "the signal byte lies inside the packet";

    for (int i = 0; i < 3; ++i) s = UnitAnswer(s, Ask(CPackV7::askStatus), kNow).state;
    const CStatCounters c = Decoded<CStatCounters>(s, CPackV7::askStatistic);
    EXPECT_EQ(c.m_Count[0], 4u) << "accepted, this request included";
    EXPECT_EQ(c.m_Count[1], 3u) << "answered";
}

TEST(UnitAnswer, DirectListsEverySlotAndTheFirstReplyStartsTheChain)
{
    UnitState s = Fresh();
    const int rec = 0x600 + 32;   // slot 2
    s.running[rec] = 1;
    CIdentV7(555, 0).GetValue(&s.running[rec + 1]);
    s.running[rec + 6] = 0xBB, s.running[rec + 7] = 0x80;   // 48000
    s.running[rec + 10] = 192, s.running[rec + 11] = 0, s.running[rec + 12] = 2, s.running[rec + 13] = 7;
    CDirectOne one;
    CDirectOne::Effect effect;
    ASSERT_TRUE(one.Decode(Only(UnitAnswer(s, Ask(CPackV7::askDirect, {1}), kNow)), effect));
    EXPECT_EQ(one.m_Count, 8) << "eight slots on generation 7";
    EXPECT_TRUE(effect.askRest);
    EXPECT_FALSE(effect.store) << "a free slot is not listed";
    ASSERT_TRUE(one.Decode(Only(UnitAnswer(s, Ask(CPackV7::askDirect, {2}), kNow)), effect));
    EXPECT_TRUE(effect.store);
    EXPECT_EQ(one.m_Ident.GetNode(), 555);
    EXPECT_EQ(one.m_IP, 0x070200C0u);
    EXPECT_EQ(one.m_PortData, 48000);
    ASSERT_TRUE(one.Decode(Only(UnitAnswer(Fresh(12), Ask(CPackV7::askDirect, {1}), kNow)), effect));
    EXPECT_EQ(one.m_Count, 4) << "four on older units";
}

TEST(UnitAnswer, RefusalAnswersEveryRequestAndLinkPacketsGetNothing)
{
    UnitState s = Fresh();
    s.config.refuse = 7;
    const CPackV7 r = Only(UnitAnswer(s, Ask(CPackV7::askInfo), kNow));
    EXPECT_EQ(r.m_Class, CPackV7::classLink);
    EXPECT_EQ(r.m_Typ, CPackV7::packLinkNoSender);
    EXPECT_EQ(r.m_Buf[13], 7);
    EXPECT_TRUE(r.m_Src.FullEQ(kUnit) && r.m_Dst.FullEQ(kProg));

    UnitOutcome none = UnitAnswer(Fresh(), CPackV7(kProg, kUnit), kNow);
    EXPECT_TRUE(none.replies.empty());
    EXPECT_EQ(none.state.accepted, 0u) << "an acknowledgement is not a request";
}
