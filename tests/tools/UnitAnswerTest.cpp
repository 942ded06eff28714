// The unit's answers as a function: each reply is checked at the bytes where
// the configurator's dispatch reads it.
#include "tools/velkunit/UnitAnswer.h"

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

// The one reply; its data byte n is packet offset 14 + n.
CPackV7 Only(const UnitOutcome& out)
{
    EXPECT_EQ(out.replies.size(), 1u);
    return out.replies.empty() ? CPackV7() : out.replies[0];
}

const unsigned char* Data(const CPackV7& p) { return p.m_Buf + 14; }

}  // namespace

TEST(UnitAnswer, InfoReplyCarriesTypeSubTypesVersionAndBothFeatureBytes)
{
    UnitState s = Fresh();
    s.config.version = {7, 2, 5};
    s.config.features = {0x03, 0x21};
    const CPackV7 r = Only(UnitAnswer(s, Ask(CPackV7::askInfo), kNow));
    EXPECT_TRUE(r.m_Src.FullEQ(kUnit) && r.m_Dst.FullEQ(kProg));
    EXPECT_EQ(r.m_DirAsk, 0);
    EXPECT_GT(r.m_Len, 30) << "the configurator reads byte 16 only from a longer reply";
    const unsigned char* d = Data(r);
    EXPECT_EQ(std::vector<int>({d[0], d[1], d[10], d[12], d[13], d[14], d[15], d[16]}),
              std::vector<int>({14, 3, 2, 7, 2, 5, 0x03, 0x21}));
}

TEST(UnitAnswer, NvramReadsTheImageAndRefusesRunsOutsideIt)
{
    UnitState s = Fresh();
    for (int i = 0; i < 128; ++i) s.image[0x480 + i] = static_cast<unsigned char>(i * 7);
    const CPackV7 r = Only(UnitAnswer(s, Nvram(0x480, 128), kNow));
    EXPECT_EQ(r.m_Len, 14 + 4 + 128);
    EXPECT_EQ(std::vector<int>({Data(r)[0], Data(r)[1], Data(r)[2], Data(r)[3]}), std::vector<int>({0x80, 0x04, 128, 0}));
    EXPECT_EQ(std::vector<unsigned char>(Data(r) + 4, Data(r) + 132),
              std::vector<unsigned char>(s.image.begin() + 0x480, s.image.begin() + 0x500));

    for (const CPackV7& bad : {Nvram(0x7C0, 128), Nvram(0x400, 0), Nvram(0x400, 0x280), Nvram(0x400, 0x10)}) {
        CPackV7 shortened = bad;
        if (bad.m_Len == 18 && Data(bad)[2] == 0x10) shortened.m_Len = 16;   // no length word at all
        const CPackV7 e = Only(UnitAnswer(s, shortened, kNow));
        EXPECT_NE(Data(e)[3], 0);
        EXPECT_EQ(e.m_Len, 18) << "no bytes with a failed read";
    }
}

TEST(UnitAnswer, WriteNeedsBit8AndChangesTheImageButNotWhatTheUnitRunsOnUntilItStartsAgain)
{
    UnitState s = Fresh();
    std::vector<unsigned char> chunk(64, 0);
    chunk[0] = 1;                                     // connection type: static
    chunk[1] = 0x12, chunk[2] = 0x34, chunk[3] = 0x56, chunk[4] = 0x78;   // data and voice ports
    chunk[5] = 10, chunk[6] = 1, chunk[7] = 2, chunk[8] = 3;   // 10.1.2.3
    UnitOutcome w = UnitAnswer(s, Nvram(0x500, 0x140, chunk), kNow);
    EXPECT_TRUE(w.written);
    EXPECT_EQ(Data(Only(w))[3], 0);
    EXPECT_EQ(Only(w).m_Len, 18);
    EXPECT_EQ(w.state.image[0x505], 10);

    auto status = [](const UnitState& st) { return Only(UnitAnswer(st, Ask(CPackV7::askStatus), kNow)); };
    EXPECT_EQ(Data(status(w.state))[7], 0) << "still on DHCP until the restart";
    UnitOutcome restart = UnitAnswer(w.state, Ask(CPackV7::askRestart), kNow);
    EXPECT_TRUE(restart.restart && restart.replies.empty());
    const CPackV7 after = status(Boot(restart.state, kNow + 7));
    EXPECT_GT(after.m_Len, 54) << "long enough for the DNS server";
    EXPECT_EQ(Data(after)[7], 1);
    EXPECT_EQ(std::vector<int>({Data(after)[12], Data(after)[13], Data(after)[14], Data(after)[15]}),
              std::vector<int>({10, 1, 2, 3}));
    EXPECT_EQ(std::vector<int>({Data(after)[8], Data(after)[9], Data(after)[10], Data(after)[11]}),
              std::vector<int>({0x12, 0x34, 0x56, 0x78}))
        << "the data port, then the voice port";

    // Without bit 8 the same request is a read; with the data missing, a refusal.
    EXPECT_FALSE(UnitAnswer(s, Nvram(0x500, 0x40, chunk), kNow).written);
    chunk.resize(10);
    UnitOutcome cut = UnitAnswer(s, Nvram(0x500, 0x140, chunk), kNow);
    EXPECT_FALSE(cut.written);
    EXPECT_EQ(Data(Only(cut))[3], kStatusMalformed);

    s.config.nvramStatus = 9;
    UnitOutcome faulty = UnitAnswer(s, Nvram(0x500, 0x140, std::vector<unsigned char>(64, 1)), kNow);
    EXPECT_FALSE(faulty.written);
    EXPECT_EQ(Data(Only(faulty))[3], 9);
}

TEST(UnitAnswer, SystemReplyRunsAnNtpClockInTheDispatchOrder)
{
    UnitState s = Fresh();
    const CPackV7 a = Only(UnitAnswer(s, Ask(CPackV7::askSystem, {1}), kNow));
    const CPackV7 b = Only(UnitAnswer(s, Ask(CPackV7::askSystem, {1}), kNow + 5));
    auto ntp = [](const CPackV7& p) {
        return static_cast<uint32_t>(Data(p)[2] | Data(p)[3] << 8 | Data(p)[4] << 16 | Data(p)[5] << 24);
    };
    EXPECT_EQ(ntp(a), static_cast<uint32_t>(kNow + 2208988800LL));
    EXPECT_EQ(ntp(b) - ntp(a), 5u);
    EXPECT_EQ(Data(a)[1], 28) << "the zone of the image";
    EXPECT_LT(Data(a)[6], 160) << "a quality that shows green";
    EXPECT_LE(Data(a)[7], 3) << "a known time source";
}

TEST(UnitAnswer, MqttReconnectAndModemRestartShowInTheReplies)
{
    UnitState s = Fresh();
    s.running[0x515] = 0x00;   // MQTT on
    UnitOutcome r = UnitAnswer(s, Ask(CPackV7::askMQTT, {0x80}), kNow);
    const CPackV7 reply = Only(r);
    const unsigned char* d = Data(reply);
    EXPECT_EQ(d[0], 1) << "else the configurator ignores the reply";
    EXPECT_EQ(d[12], 1);
    EXPECT_EQ(d[11], 1) << "connecting again";
    EXPECT_EQ(Data(Only(UnitAnswer(r.state, Ask(CPackV7::askMQTT, {1}), kNow + 5)))[11], 6) << "established";

    UnitOutcome g = UnitAnswer(s, Ask(CPackV7::askG4, {0x80}), kNow + 100);
    EXPECT_EQ(Only(g).m_Len, 14 + 153);
    EXPECT_EQ(Data(Only(g))[2], 0) << "initialising";
    const CPackV7 later = Only(UnitAnswer(g.state, Ask(CPackV7::askG4, {1}), kNow + 120));
    EXPECT_EQ(Data(later)[0], 1);
    EXPECT_EQ(Data(later)[2], 9) << "connection established";
    EXPECT_NE(Data(later)[67], 99) << "a signal level";
}

TEST(UnitAnswer, DirectListsEverySlotAndFillsThoseWithARecord)
{
    UnitState s = Fresh();
    const int rec = 0x600 + 32;   // slot 2
    s.running[rec] = 1;
    CIdentV7(555, 0).GetValue(&s.running[rec + 1]);
    s.running[rec + 6] = 0xBB, s.running[rec + 7] = 0x80;   // 48000
    s.running[rec + 10] = 192, s.running[rec + 11] = 0, s.running[rec + 12] = 2, s.running[rec + 13] = 7;
    const CPackV7 first = Only(UnitAnswer(s, Ask(CPackV7::askDirect, {1}), kNow));
    EXPECT_EQ(Data(first)[0], 1);
    EXPECT_EQ(Data(first)[1], 8) << "eight slots on generation 7";
    EXPECT_EQ(Data(first)[2] | (Data(first)[15] & 0x30), 0) << "a free slot is not listed";
    const CPackV7 second = Only(UnitAnswer(s, Ask(CPackV7::askDirect, {2}), kNow));
    CIdentV7 peer;
    peer.SetValue(Data(second) + 3);
    EXPECT_EQ(peer.GetNode(), 555);
    EXPECT_GT(Data(second)[2], 0);
    EXPECT_EQ(Data(second)[7], 192);
    EXPECT_EQ(Data(second)[11] << 8 | Data(second)[12], 48000);
    EXPECT_EQ(Data(Only(UnitAnswer(Fresh(12), Ask(CPackV7::askDirect, {1}), kNow)))[1], 4) << "four on older units";
}

TEST(UnitAnswer, WiFiNameAndSignalLieWhereTheConfiguratorLooks)
{
    UnitState s = Fresh();
    s.running[0x780] = 0xC1;   // external on, not static
    s.running[0x781] = 6;
    const std::string name = "Office";
    std::copy(name.begin(), name.end(), s.running.begin() + 0x700);
    s.running[0x700 + name.size()] = 0;
    const CPackV7 r = Only(UnitAnswer(s, Ask(CPackV7::askWiFi, {2}), kNow));
    const unsigned char* d = Data(r);
    const size_t n = d[40];
    ASSERT_EQ(n, name.size());
    EXPECT_EQ(std::string(d + 41, d + 41 + n), name);
    EXPECT_EQ(d[19], 5) << "GOT_IP";
    const size_t m = d[41 + n];
    EXPECT_LT(static_cast<int>(43 + n + m), r.m_Len - 13) << "the signal byte lies inside the packet";
    EXPECT_NE(d[43 + n + m], 0);
}

TEST(UnitAnswer, RefusalAnswersEveryRequestAndLinkPacketsGetNothing)
{
    UnitState s = Fresh();
    s.config.refuse = 7;
    const CPackV7 r = Only(UnitAnswer(s, Ask(CPackV7::askInfo), kNow));
    EXPECT_EQ(r.m_Class, CPackV7::classLink);
    EXPECT_EQ(r.m_Typ, 5);
    EXPECT_EQ(r.m_Buf[13], 7);
    EXPECT_TRUE(r.m_Src.FullEQ(kUnit) && r.m_Dst.FullEQ(kProg));

    CPackV7 ack(kProg, kUnit);
    UnitOutcome none = UnitAnswer(Fresh(), ack, kNow);
    EXPECT_TRUE(none.replies.empty());
    EXPECT_FALSE(none.note.request);
    EXPECT_EQ(none.state.accepted, 0u) << "an acknowledgement is not a request";
}

TEST(UnitAnswer, StatisticCountsWhatTheUnitTookAndAnswered)
{
    UnitState s = Fresh();
    for (int i = 0; i < 3; ++i) s = UnitAnswer(s, Ask(CPackV7::askStatus), kNow).state;
    const CPackV7 r = Only(UnitAnswer(s, Ask(CPackV7::askStatistic, {1}), kNow));
    EXPECT_GT(r.m_Len, 53) << "all ten counters";
    EXPECT_EQ(Data(r)[0], 3) << "transferred";
    EXPECT_EQ(Data(r)[4], 4) << "accepted, this request included";
}
