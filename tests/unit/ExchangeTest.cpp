// The exchange with a unit without windows: which requests a read and a
// save send, and what the replies do to the image.
#include "unit/CUnitLB.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

struct Sent {
    std::vector<CPackV7> packs;
    CUnitLB::PutFn Fn() { return [this](CPackV7& p) { packs.push_back(p); }; }
    // "ask:addr+len" of each request, the length word as sent.
    std::vector<std::string> Names() const
    {
        std::vector<std::string> out;
        for (const CPackV7& p : packs) {
            std::string n = std::to_string(p.m_Ask);
            if (p.m_Ask == CPackV7::askNVRAM)
                n += ":" + std::to_string(p.m_Buf[14] | p.m_Buf[15] << 8) + "+" +
                     std::to_string(p.m_Buf[16] | p.m_Buf[17] << 8);
            out.push_back(n);
        }
        return out;
    }
};

CPackV7 Reply(int ask, std::vector<unsigned char> data)
{
    CPackV7 p(CIdentV7(1234, 0), CIdentV7(10000001, 0));
    p.SetAsk(CPackV7::packAsk, ask, 0, data.data(), static_cast<int>(data.size()));
    return p;
}

// An askInfo reply of `len` data bytes: kind, sub-type at 10, features at 15, 16.
CPackV7 Info(int kind, int hwSub, int feat15, int feat16, int len = 17)
{
    std::vector<unsigned char> d(static_cast<size_t>(len), 0);
    d[0] = static_cast<unsigned char>(kind);
    d[10] = static_cast<unsigned char>(hwSub);
    if (len > 15) d[15] = static_cast<unsigned char>(feat15);
    if (len > 16) d[16] = static_cast<unsigned char>(feat16);
    return Reply(CPackV7::askInfo, d);
}

CPackV7 Block(int adr, int len, int status = 0, int fill = 0x5A, int carried = -1)
{
    std::vector<unsigned char> d = {static_cast<unsigned char>(adr), static_cast<unsigned char>(adr >> 8),
                                    static_cast<unsigned char>(len), static_cast<unsigned char>(status)};
    d.resize(4 + static_cast<size_t>(carried < 0 ? len : carried), static_cast<unsigned char>(fill));
    return Reply(CPackV7::askNVRAM, d);
}

// Feeds the image of a V7 unit with domains, the domains only if asked.
void ReadAll(CUnitLB& u, Sent& s, bool domains = true)
{
    CPackV7 ask;
    u.TakeInfo(Info(14, 2, 0x01, 0), ask, s.Fn());
    for (int a = 0x400; a < 0x800; a += 128) u.TakeNVRAM(Block(a, 128));
    u.TakeNVRAM(Block(0x180, 96));
    if (!domains) return;
    u.TakeNVRAM(Block(0x200, 128));
    u.TakeNVRAM(Block(0x280, 128));
}

}  // namespace

TEST(UnitRead, SendsInfoEightReadsAndStatusAndTheKeyOnlyOnAKeyConnection)
{
    Sent s;
    CPackV7 pack;
    CUnitLB::SendRead(pack, s.Fn());
    EXPECT_EQ(s.Names(), (std::vector<std::string>{"0", "1:1024+128", "1:1152+128", "1:1280+128", "1:1408+128",
                                                   "1:1536+128", "1:1664+128", "1:1792+128", "1:1920+128", "4"}));
    EXPECT_EQ(s.packs[0].m_Len, 14) << "askInfo without a key";
    const unsigned char key[16] = {1, 2, 3};
    Sent k;
    CUnitLB::SendRead(pack, k.Fn(), key);
    EXPECT_EQ(k.packs[0].m_Len, 30);
    EXPECT_EQ(std::memcmp(k.packs[0].m_Buf + 14, key, 16), 0);
}

TEST(UnitRead, InfoReplyTellsWhereTheDescriptionIsAndWhetherDomainsAreRead)
{
    struct Case {
        int kind, hwSub, feat15;
        std::vector<std::string> reads;
    } cases[] = {
        {14, 2, 0x01, {"1:384+96", "1:512+128", "1:640+128"}},   // V7 with domains
        {12, 2, 0x00, {"1:384+96"}},                              // CM3
        {12, 1, 0x00, {"1:256+96"}},                              // an older unit
        {3, 1, 0x01, {"1:256+96", "1:512+128", "1:640+128"}},
    };
    for (const Case& c : cases) {
        CUnitLB u;
        Sent s;
        CPackV7 ask;
        u.TakeInfo(Info(c.kind, c.hwSub, c.feat15, 0x21), ask, s.Fn());
        EXPECT_EQ(s.Names(), c.reads) << "kind " << c.kind;
        EXPECT_EQ(u.m_FeatMQTT, true);
        EXPECT_EQ(u.m_Feat4G, true);
    }
    // A reply too short for the feature bytes keeps the previous unit's.
    CUnitLB u;
    Sent s;
    CPackV7 ask;
    u.TakeInfo(Info(14, 2, 0x03, 0x01), ask, s.Fn());
    u.TakeInfo(Info(12, 1, 0, 0, 15), ask, s.Fn());
    EXPECT_TRUE(u.m_FeatDomain && u.m_FeatTimeZone && u.m_FeatMQTT);
    u.TakeInfo(Info(12, 1, 0, 0x20, 16), ask, s.Fn());
    EXPECT_FALSE(u.m_FeatDomain);
    EXPECT_TRUE(u.m_FeatMQTT) << "byte 16 is only read from a reply longer than 30";
}

TEST(UnitRead, ReadRepliesFillTheImageUntilCompleteAndBadOnesChangeNothing)
{
    CUnitLB u;
    Sent s;
    CPackV7 ask;
    u.TakeInfo(Info(14, 2, 0x01, 0), ask, s.Fn());
    EXPECT_FALSE(u.TakeNVRAM(Block(0x400, 128, 1))) << "non-zero status";
    EXPECT_FALSE(u.TakeNVRAM(Block(0x400, 128, 0, 0x5A, 100))) << "fewer bytes than claimed";
    EXPECT_FALSE(u.m_NVRAM.IsKnovByte(0x400));
    ReadAll(u, s, false);
    EXPECT_FALSE(u.IsComplete()) << "domains missing";
    u.TakeNVRAM(Block(0x280, 128));
    u.TakeNVRAM(Block(0x200, 128));
    EXPECT_TRUE(u.IsComplete());
    EXPECT_EQ(u.m_NVRAM.GetEth(0x3FF), 0x5A);
    EXPECT_FALSE(u.TakeNVRAM(Block(0x400, 128, 0, 0x11))) << "after completion";
    EXPECT_EQ(u.m_NVRAM.GetEth(0), 0x5A);

    // A unit whose read address and known test disagree never completes.
    CUnitLB odd;
    odd.TakeInfo(Info(3, 2, 0, 0), ask, s.Fn());   // reads 0x100, known test looks at 0x180
    for (int a = 0x400; a < 0x800; a += 128) odd.TakeNVRAM(Block(a, 128));
    odd.TakeNVRAM(Block(0x100, 96));
    EXPECT_FALSE(odd.IsComplete());
}

TEST(UnitSave, SendsOnlyTheChangedChunksWithTheirWordsThenTheRestart)
{
    CUnitLB u;
    Sent s;
    ReadAll(u, s);
    u.m_NVRAMOld = u.m_NVRAM;
    CPackV7 pack;
    Sent none;
    EXPECT_EQ(u.SendSave(pack, none.Fn()), 0);
    EXPECT_EQ(none.Names(), std::vector<std::string>{"2"}) << "only askRestart";

    u.m_NVRAM.SetEth(0x41, 7);                 // chunk 0x440
    u.m_NVRAM.SetEth(0x3FF, 7);                // chunk 0x7C0
    u.m_NVRAM.Set(0x181, "x", 1);              // description, first 32
    u.m_NVRAM.Set(0x2C0, "y", 1);              // a domain chunk
    Sent w;
    EXPECT_EQ(u.SendSave(pack, w.Fn()), 4);
    EXPECT_EQ(w.Names(), (std::vector<std::string>{"1:1088+320", "1:1984+320", "1:384+288", "1:704+320", "2"}));
    for (size_t i = 0; i + 1 < w.packs.size(); ++i) EXPECT_EQ(w.packs[i].m_Len, 14 + 68);
    EXPECT_EQ(w.packs[0].m_Buf[14 + 4 + 1], 7);
    EXPECT_EQ(std::memcmp(u.m_NVRAM.m_Data, u.m_NVRAMOld.m_Data, 2048), 0);

    u.m_FeatDomain = false;
    u.m_NVRAM.Set(0x2C0, "z", 1);
    Sent nodom;
    EXPECT_EQ(u.SendSave(pack, nodom.Fn()), 0) << "no domain area, no domain chunk";
}

TEST(UnitReply, OnlyAnswersOfTheUnitCount)
{
    const CIdentV7 unit(1234, 0);
    EXPECT_TRUE(CUnitLB::IsReplyOf(Reply(CPackV7::askInfo, {0}), unit));
    EXPECT_FALSE(CUnitLB::IsReplyOf(Reply(CPackV7::askInfo, {0}), CIdentV7(1235, 0)));
    CPackV7 request(unit, unit);
    request.SetAsk(CPackV7::packAsk, CPackV7::askInfo, 1, nullptr, 0);
    EXPECT_FALSE(CUnitLB::IsReplyOf(request, unit)) << "a request is no reply";
}
