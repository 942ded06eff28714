// Lift-network messages and their container, as the tool relay hands them on.
#include "link/CMes.h"
#include "link/CPackMes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {
CMes Parse(std::vector<unsigned char> bytes)
{
    CMes m;
    m.SetDann(static_cast<int>(bytes.size()), bytes.data());
    return m;
}
}  // namespace

TEST(Mes, LengthLimitAndShortMessages)
{
    unsigned char data[64] = {0x3F, 0x3B, 0x01, 0x12, 7, 25};
    CMes m;
    EXPECT_TRUE(m.SetDann(63, data));
    EXPECT_FALSE(m.SetDann(64, data));
    EXPECT_TRUE(m.m_Len == 0 && m.m_TypMes == 0 && m.m_Prior == 255) << "left cleared";
    // Shorter than 6 bytes: origin and destination, no type.
    EXPECT_TRUE(m.SetDann(5, data));
    EXPECT_TRUE(m.m_OrigAdr == (0x3F << 2 | 3) && m.m_OrigDev == 0x0B);
    EXPECT_TRUE(m.m_DestAdr == (1 << 2 | 1) && m.m_DestDev == 2 && m.m_Hop == 7 && m.m_TypMes == 0);
}

TEST(Mes, SubjectFieldsFollowTheMessageType)
{
    // Default shape: subject at 6..7, state behind it in type 25; types 26
    // and 58 move address bit 7 to device bit 4.
    CMes m = Parse({0, 0, 0, 0, 0, 25, 0x20, 0x13, 0xAA, 0xBB});
    EXPECT_TRUE(m.m_SubAdr == 0x81 && m.m_SubDev == 3 && m.m_SostDev.m_Len == 2);
    m = Parse({0, 0, 0, 0, 0, 58, 0x20, 0x13, 0xAA});
    EXPECT_TRUE(m.m_SubAdr == 0x01 && m.m_SubDev == 0x13 && m.m_SostDev.m_Len == 0);
    EXPECT_EQ(Parse({0, 0, 0, 0, 0, 40, 0x20}).m_SubAdr, 0) << "subject needs 8 bytes";
    m = Parse({0, 0, 0, 0, 0, 46, 0, 0, 0, 0, 0, 0x3F, 0x35});   // at 11..12
    EXPECT_TRUE(m.m_SubAdr == 0x7F && m.m_SubDev == 0x15);
    m = Parse({0, 0, 0, 0, 0, 61, 9, 200, 0xFF});
    EXPECT_TRUE(m.m_Serv == 9 && m.m_SubAdr == 200 && m.m_SubDev == 0x1F);
    // Prefix 1: a mask in 6-bit groups, lowest first, as far as the bytes go.
    EXPECT_EQ(Parse({0, 0, 0, 0, 0, 31, 1, 0x01, 0x3F, 0xC2}).m_Mask, 0x01u | 0x3Fu << 6 | 0x02u << 12);
    EXPECT_EQ(Parse({0, 0, 0, 0, 0, 31, 2, 0x01}).m_Mask, 0u);
}

TEST(Mes, SixBitFormPacksFourBytesForThreeLowestBitsFirst)
{
    // Any-length round trips run in the fuzz target of CMes.
    const unsigned char six[4] = {0xFF, 0x02, 0x31, 0x2A};   // only the low 6 bits count
    unsigned char eight[4] = {}, back[4] = {};
    ASSERT_EQ(CMes::Conv6To8(six, 4, eight), 3);
    EXPECT_TRUE(eight[0] == (0x3F | 0x02 << 6) && eight[1] == 0x10 && eight[2] == (0x03 | 0x2A << 2));
    ASSERT_EQ(CMes::Conv8To6(eight, 3, back), 4);
    EXPECT_TRUE(back[0] == 0x3F && std::equal(six + 1, six + 4, back + 1));
    EXPECT_EQ(CMes::Conv8To6(eight, 1, back), 2) << "a partial group still takes its sextets";
}

TEST(PackMes, MessagesRoundTripThroughTheContainerUpToItsLimit)
{
    const std::vector<unsigned char> bytes(58, 0x01);
    CMes got;
    CPackMes pm, full;
    EXPECT_TRUE(pm.AddMes(Parse({bytes.begin(), bytes.begin() + 6})));
    EXPECT_TRUE(pm.AddMes(Parse({bytes.begin(), bytes.begin() + 40})));
    EXPECT_TRUE(pm.m_Len == 49 && pm.m_Buf[49] == 0x4F) << "CRC-8 0xCF without bit 7 behind the image";
    EXPECT_FALSE(pm.AddMes(Parse({bytes.begin(), bytes.begin() + 11}))) << "49 + 11 exceeds 59";

    CPackMes rx(pm.m_Len, pm.m_Buf, 3);
    EXPECT_TRUE(rx.GetMes(got) && got.m_Len == 6 && got.m_Prior == 3);
    EXPECT_TRUE(rx.GetMes(got) && got.m_Len == 40);
    EXPECT_FALSE(rx.GetMes(got));
    rx.BegGet();
    EXPECT_TRUE(rx.GetMes(got));
    EXPECT_TRUE(full.AddMes(Parse(bytes)));
    EXPECT_TRUE(CPackMes(full.m_Len, full.m_Buf, 0).GetMes(got)) << "a length byte of 59 is the largest";
}

TEST(PackMes, MarkerBytesAreTakenOutAndBadLengthsRefused)
{
    // Byte 0, ident 5, repl 9, a 6-byte message with a repl 2 inside it.
    const unsigned char in[11] = {0, 0x85, 0x49, 7, 1, 2, 0x42, 3, 4, 5, 6};
    CPackMes pm(11, in, 0);
    EXPECT_TRUE(pm.m_Ident == 5 && pm.m_NRepl == 2 && pm.m_Repl[0] == 9 && pm.m_Repl[1] == 2);
    CMes got;
    EXPECT_TRUE(pm.GetMes(got) && got.m_Len == 6 && got.m_Buf[2] == 3);

    for (unsigned char l : {5, 60}) {
        std::vector<unsigned char> img(63, 1);
        img[1] = l;
        EXPECT_FALSE(CPackMes(63, img.data(), 0).GetMes(got)) << int(l);
    }
    const unsigned char over[7] = {0, 7, 1, 1, 1, 1, 1};
    EXPECT_FALSE(CPackMes(7, over, 0).GetMes(got)) << "message one byte beyond the image";
    const std::vector<unsigned char> big(80, 1);
    EXPECT_EQ(CPackMes(80, big.data(), 0).m_Len, 63);
}
