// Lift-network messages and their container, as the tool relay hands them on.
#include "link/CMes.h"
#include "link/CPackMes.h"
#include "link/CPackV7.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

TEST(Mes, LengthLimitAndShortMessages)
{
    unsigned char data[64] = {0x3F, 0x3B, 0x01, 0x12, 7, 25};
    CMes m;
    EXPECT_TRUE(m.SetDann(63, data));
    EXPECT_EQ(m.m_Len, 63);
    EXPECT_FALSE(m.SetDann(64, data));
    EXPECT_EQ(m.m_Len, 0);
    EXPECT_EQ(m.m_TypMes, 0);
    EXPECT_EQ(m.m_Prior, 255);

    // Shorter than 6 bytes: origin and destination, no type.
    EXPECT_TRUE(m.SetDann(5, data));
    EXPECT_EQ(m.m_OrigAdr, 0x3F << 2 | 3);
    EXPECT_EQ(m.m_OrigDev, 0x0B);
    EXPECT_EQ(m.m_DestAdr, 1 << 2 | 1);
    EXPECT_EQ(m.m_DestDev, 2);
    EXPECT_EQ(m.m_Hop, 7);
    EXPECT_EQ(m.m_TypMes, 0);
    m.IncHopCount();
    EXPECT_EQ(m.m_Buf[4], 8);
}

TEST(Mes, SubjectFieldsFollowTheMessageType)
{
    auto parse = [](std::vector<unsigned char> bytes) {
        CMes m;
        m.SetDann(static_cast<int>(bytes.size()), bytes.data());
        return m;
    };
    // Default shape: subject at 6..7; types 26 and 58 move address bit 7.
    CMes m = parse({0, 0, 0, 0, 0, 25, 0x20, 0x13, 0xAA, 0xBB});
    EXPECT_EQ(m.m_SubAdr, 0x81);
    EXPECT_EQ(m.m_SubDev, 3);
    EXPECT_EQ(m.m_SostDev.m_Len, 2);
    EXPECT_EQ(m.m_SostDev.m_Data[1], 0xBB);
    m = parse({0, 0, 0, 0, 0, 58, 0x20, 0x13, 0xAA});
    EXPECT_EQ(m.m_SubAdr, 0x01);
    EXPECT_EQ(m.m_SubDev, 0x13);
    EXPECT_EQ(m.m_SostDev.m_Len, 0) << "no state in type 58";
    m = parse({0, 0, 0, 0, 0, 40, 0x20});
    EXPECT_EQ(m.m_SubAdr, 0) << "subject needs 8 bytes";

    // Types 14 and 46: subject at 11..12.
    m = parse({0, 0, 0, 0, 0, 46, 0, 0, 0, 0, 0, 0x3F, 0x35});
    EXPECT_EQ(m.m_SubAdr, 0x7F);
    EXPECT_EQ(m.m_SubDev, 0x15);

    m = parse({0, 0, 0, 0, 0, 61, 9, 200, 0xFF});
    EXPECT_EQ(m.m_Serv, 9);
    EXPECT_EQ(m.m_SubAdr, 200);
    EXPECT_EQ(m.m_SubDev, 0x1F);
    m = parse({0, 0, 0, 0, 0, 30, 9});
    EXPECT_EQ(m.m_Serv, 9);
    EXPECT_EQ(m.m_SubAdr, 0);

    // Prefix 1: a mask in 6-bit groups, lowest first, as far as the bytes go.
    m = parse({0, 0, 0, 0, 0, 31, 1, 0x01, 0x3F, 0xC2});
    EXPECT_EQ(m.m_Prefix, 1);
    EXPECT_EQ(m.m_Mask, 0x01u | 0x3Fu << 6 | 0x02u << 12);
    m = parse({0, 0, 0, 0, 0, 31, 2, 0x01});
    EXPECT_EQ(m.m_Mask, 0u);
}

TEST(Mes, SixBitFormRoundTripsAndPacksFourBytesForThree)
{
    const unsigned char six[4] = {0x3F, 0x02, 0x31, 0x2A};
    unsigned char eight[4] = {};
    ASSERT_EQ(CMes::Conv6To8(six, 4, eight), 3);
    EXPECT_EQ(eight[0], 0x3F | 0x02 << 6);
    EXPECT_EQ(eight[1], (0x02 >> 2) | (0x31 & 0x0F) << 4);
    EXPECT_EQ(eight[2], (0x31 >> 4) | 0x2A << 2);

    std::mt19937 rng(2);
    for (int len = 0; len <= 45; ++len) {
        std::vector<unsigned char> in(static_cast<size_t>(len)), s(64), back(64);
        for (auto& b : in) b = static_cast<unsigned char>(rng());
        const int ns = CMes::Conv8To6(in.data(), len, s.data());
        ASSERT_EQ(ns, (8 * len + 5) / 6);
        for (int i = 0; i < ns; ++i) ASSERT_LT(s[static_cast<size_t>(i)], 64);
        ASSERT_GE(CMes::Conv6To8(s.data(), ns, back.data()), len);
        ASSERT_EQ(0, std::memcmp(in.data(), back.data(), static_cast<size_t>(len))) << len;
    }
}

TEST(PackMes, MessagesRoundTripThroughTheContainer)
{
    CMes a, b, got;
    std::vector<unsigned char> bytes(58, 0x11);
    bytes[5] = 25;
    a.SetDann(6, bytes.data());
    b.SetDann(40, bytes.data());

    CPackMes pm;
    EXPECT_TRUE(pm.AddMes(a));
    EXPECT_TRUE(pm.AddMes(b));
    EXPECT_EQ(pm.m_Len, 1 + 7 + 41);
    EXPECT_EQ(pm.m_Buf[pm.m_Len], CPackV7::CRC8(pm.m_Buf, pm.m_Len) & 0x7F);
    CMes c;
    c.SetDann(11, bytes.data());
    EXPECT_FALSE(pm.AddMes(c)) << "49 + 11 exceeds 59";

    CPackMes rx(pm.m_Len, pm.m_Buf, 3);
    ASSERT_TRUE(rx.GetMes(got));
    EXPECT_EQ(got.m_Len, 6);
    EXPECT_EQ(got.m_Prior, 3);
    ASSERT_TRUE(rx.GetMes(got));
    EXPECT_EQ(got.m_Len, 40);
    EXPECT_FALSE(rx.GetMes(got));
    rx.BegGet();
    EXPECT_TRUE(rx.GetMes(got));

    CPackMes full;
    CMes big;
    big.SetDann(58, bytes.data());
    EXPECT_TRUE(full.AddMes(big));
    CPackMes fullRx(full.m_Len, full.m_Buf, 0);
    EXPECT_TRUE(fullRx.GetMes(got)) << "a length byte of 59 is the largest";
}

TEST(PackMes, MarkerBytesAreTakenOutAndBadLengthsRefused)
{
    // Byte 0, ident 5, repl 9, a 6-byte message with a repl 2 inside it.
    const unsigned char in[11] = {0, 0x85, 0x49, 7, 1, 2, 0x42, 3, 4, 5, 6};
    CPackMes pm(11, in, 0);
    EXPECT_EQ(pm.m_Ident, 5);
    ASSERT_EQ(pm.m_NRepl, 2);
    EXPECT_EQ(pm.m_Repl[0], 9);
    EXPECT_EQ(pm.m_Repl[1], 2);
    EXPECT_EQ(pm.m_Len, 9);
    CMes got;
    ASSERT_TRUE(pm.GetMes(got));
    EXPECT_EQ(got.m_Len, 6);
    EXPECT_EQ(got.m_Buf[2], 3);

    for (unsigned char l : {5, 60}) {
        std::vector<unsigned char> img(63, 1);
        img[0] = 0;
        img[1] = l;
        CPackMes bad(63, img.data(), 0);
        EXPECT_FALSE(bad.GetMes(got)) << int(l);
    }
    const unsigned char over[4] = {0, 9, 1, 1};
    CPackMes shortImg(4, over, 0);
    EXPECT_FALSE(shortImg.GetMes(got)) << "message beyond the image";
    std::vector<unsigned char> big(80, 1);
    EXPECT_EQ(CPackMes(80, big.data(), 0).m_Len, 63);
}
