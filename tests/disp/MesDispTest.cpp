// CMesDisp: the body primitives and the messages exchanged with the tools.
#include "disp/CMesDisp.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {
using Bytes = std::vector<unsigned char>;
Bytes Image(const CMesDisp& m) { return {m.Data(), m.Data() + m.Len()}; }
}  // namespace

TEST(MesDisp, NewMessageHasNoTypeAndCloseLinkIsThreeBytes)
{
    CMesDisp m;
    EXPECT_EQ(m.TypMes(), CMesDisp::NoType);
    ASSERT_TRUE(m.Create_CloseLink());
    EXPECT_EQ(Image(m), (Bytes{0x03, 0x00, 0x1B}));
}

TEST(MesDisp, SendMsgParsesAtCapacityAndFailsOneOverOrTruncated)
{
    const unsigned char data[4] = {0xA1, 0xB2, 0xC3, 0xD4};
    CMesDisp m;
    ASSERT_TRUE(m.Create_SendMsg(-2, 7, 4, data));   // integers low byte first
    EXPECT_EQ(Image(m), (Bytes{13, 0, 0x2C, 0xFE, 0xFF, 0xFF, 0xFF, 7, 4, 0xA1, 0xB2, 0xC3, 0xD4}));
    int unit = 0, tag = 0, len = 0;
    unsigned char out[4] = {};
    ASSERT_TRUE(m.Parse_SendMsg(unit, tag, len, out, 4));
    EXPECT_EQ(std::vector<int>({unit, tag, len}), std::vector<int>({-2, 7, 4}));
    EXPECT_EQ(Bytes(out, out + 4), Bytes(data, data + 4));
    EXPECT_FALSE(m.Parse_SendMsg(unit, tag, len, out, 3)) << "one byte over the capacity";

    ASSERT_TRUE(m.Set(m.Data(), 11));
    EXPECT_FALSE(m.Parse_SendMsg(unit, tag, len, out, 4)) << "four bytes announced, two present";
    EXPECT_FALSE(m.Create_SendMsg(1, 0, 256, out)) << "256 does not fit the count byte";
    EXPECT_EQ(m.Len(), 9);
}

TEST(MesDisp, MsgCarriesTheLowByteOfTheCountAndStopsAt482)
{
    std::vector<unsigned char> data(483, 0x5A);
    CMesDisp m;
    ASSERT_TRUE(m.Create_Msg(1, 482, data.data()));
    EXPECT_EQ(m.Len(), CMesDisp::MaxLen);
    EXPECT_EQ(m.Data()[7], 482 & 0xFF);
    EXPECT_FALSE(m.Create_Msg(1, 483, data.data()));
    EXPECT_EQ(m.Len(), 8);
}

TEST(MesDisp, TextsAreCountedUtf16AndByteSwappedOnesAreTurnedBack)
{
    CMesDisp m;
    m.Create(CMesDisp::Notif);
    ASSERT_TRUE(m.Add(L"Лифт \U0001F6D7"));
    EXPECT_EQ(m.Data()[3], 7) << "six characters, the last a surrogate pair";
    EXPECT_EQ(m.Data()[4], 0x1B);   // 'Л' = U+041B, low byte first
    DBString text;
    m.BegGet();
    ASSERT_TRUE(m.Get(text));
    EXPECT_EQ(text, L"Лифт \U0001F6D7");

    // A big-endian writer: FE FF, then 'O' 'K' high byte first.
    const unsigned char swapped[] = {10, 0, 0x08, 3, 0xFE, 0xFF, 0x00, 'O', 0x00, 'K'};
    ASSERT_TRUE(m.Set(swapped, 10));
    ASSERT_TRUE(m.Get(text));
    EXPECT_EQ(text, L"OK");
    ASSERT_TRUE(m.Set(swapped, 9));
    EXPECT_FALSE(m.Get(text)) << "three units announced, two and a half present";
    unsigned char count = 0;
    EXPECT_TRUE(m.Get(count) && count == 3) << "a failed read does not move the position";

    m.Create(CMesDisp::Notif);
    EXPECT_FALSE(m.Add(std::wstring(256, L'x').c_str())) << "the count byte holds 255";
    ASSERT_TRUE(m.Add(std::wstring(242, L'x').c_str()));
    EXPECT_FALSE(m.Add(L"xx")) << "beyond 490 bytes";
    EXPECT_EQ(m.Len(), 3 + 1 + 484);
}

TEST(MesDisp, DatesUseTheClassSettingsAndZeroReadsAsNotSet)
{
    CMesDisp::s_ConvertToUTC = true;
    CMesDisp::s_Bias = -180;
    const DBTime t(1700000000);
    CMesDisp m;
    m.Create(CMesDisp::Event);
    ASSERT_TRUE(m.Add(t) && m.Add(DBTime()));
    double d;
    std::memcpy(&d, m.Data() + 3, 8);
    EXPECT_DOUBLE_EQ(d, t.ToDATE(true, -180)) << "written with the settings";
    m.BegGet();
    DBTime back, zero(5);
    EXPECT_TRUE(m.Get(back) && back == t);
    EXPECT_FALSE(m.Get(zero));
    EXPECT_TRUE(zero.IsEmpty());
    CMesDisp::s_ConvertToUTC = false;
    CMesDisp::s_Bias = 0;
}

TEST(MesDisp, TimeAndGUIDIs24BytesWithA40BitTime)
{
    unsigned char raw[16];
    for (int i = 0; i < 16; ++i) raw[i] = static_cast<unsigned char>(0xC0 + i);
    const DBTime t(static_cast<time_t>(0x12'3456'789AULL));
    CMesDisp m;
    ASSERT_TRUE(m.Create_TimeAndGUID(t, DBGUID(raw)));
    ASSERT_EQ(m.Len(), 24);
    EXPECT_EQ(Bytes(m.Data() + 2, m.Data() + 8), (Bytes{0x52, 0x9A, 0x78, 0x56, 0x34, 0x12}));
    EXPECT_EQ(Bytes(m.Data() + 8, m.Data() + 24), Bytes(raw, raw + 16));
}
