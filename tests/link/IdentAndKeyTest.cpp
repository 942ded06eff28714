// Identifiers on the wire and the link keys a user types.
#include "base/Secrets.h"
#include "link/CIdentV7.h"
#include "link/CKeySys.h"

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <cstring>

TEST(IdentV7, WireFormRoundTripsEveryNodeAndDropsBitsAbove24)
{
    CIdentV7 a(0x123456, 0x78), b;
    unsigned char w[4];
    a.GetValue(w);
    EXPECT_EQ(w[0], 0x78);
    EXPECT_EQ(w[1], 0x56);
    EXPECT_EQ(w[2], 0x34);
    EXPECT_EQ(w[3], 0x12);

    int bad = 0;
    for (int node = 0; node <= CIdentV7::kMaxNode; ++node) {
        a.Set(node, node & 0xFF);
        a.GetValue(w);
        b.SetValue(w);
        bad += !b.FullEQ(a);
    }
    EXPECT_EQ(bad, 0);

    a.SetBigNode(0x1000005);
    a.GetValue(w);
    b.SetValue(w);
    EXPECT_EQ(b.GetNode(), 5);
    b.SetValue(nullptr);
    EXPECT_TRUE(b.FullEQ(CIdentV7()));
}

TEST(IdentV7, ComparisonIgnoresTheDevice)
{
    EXPECT_TRUE(CIdentV7(5, 1) == CIdentV7(5, 2));
    EXPECT_FALSE(CIdentV7(5, 1).FullEQ(CIdentV7(5, 2)));
    EXPECT_FALSE(CIdentV7(5, 1) < CIdentV7(5, 0));
    EXPECT_TRUE(CIdentV7(4, 9) < CIdentV7(5, 0));
    EXPECT_EQ(CIdentV7(12, 3).GetString(), L"12.3");
}

TEST(IdentV7, BadDeviceKeepsTheNewNodeWithTheOldDevice)
{
    CIdentV7 id(7, 3);
    EXPECT_FALSE(id.Set(9, 256));
    EXPECT_EQ(id.GetNode(), 9);
    EXPECT_EQ(id.GetDev(), 3);
    EXPECT_FALSE(id.Set(CIdentV7::kMaxNode + 1, 0));
    EXPECT_FALSE(id.Set(-1, 0));
    EXPECT_EQ(id.GetNode(), 9);
    EXPECT_FALSE(id.SetDev(-1));
}

TEST(IdentV7, NodeRangesClassifyUnitsAndPrograms)
{
    EXPECT_FALSE(CIdentV7(0, 0).IsLU());
    EXPECT_TRUE(CIdentV7(1, 0).IsLU());
    EXPECT_TRUE(CIdentV7(9999899, 0).IsLU());
    EXPECT_FALSE(CIdentV7(9999900, 0).IsLU());
    EXPECT_FALSE(CIdentV7(10000000, 0).IsProg());
    EXPECT_TRUE(CIdentV7(10000001, 0).IsProg());

    CIdentV7 id(0, 42);
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(id.SetUnique());
        ASSERT_GE(id.GetNode(), 10000000);
        ASSERT_LE(id.GetNode(), CIdentV7::kMaxNode);
        ASSERT_EQ(id.GetDev(), 42);
    }
}

namespace {
// Password to key, computed with libgcrypt's IDEA as an independent check.
void ReferenceKey(const unsigned char* text16, unsigned char out[16])
{
    gcry_cipher_hd_t h;
    ASSERT_EQ(gcry_cipher_open(&h, GCRY_CIPHER_IDEA, GCRY_CIPHER_MODE_ECB, 0), 0u);
    ASSERT_EQ(gcry_cipher_setkey(h, Secrets::ForKeySys.data(), 16), 0u);
    ASSERT_EQ(gcry_cipher_encrypt(h, out, 16, text16, 16), 0u);
    gcry_cipher_close(h);
    for (int i = 0; i < 8; ++i) out[8 + i] ^= out[i];
}
}  // namespace

TEST(KeySys, PasswordKeyIsTheCipherOfItsFirst16Characters)
{
    gcry_check_version(nullptr);
    unsigned char text[16] = {}, expect[16];
    CKeySys k;
    k.Create(L"");
    ReferenceKey(text, expect);
    EXPECT_FALSE(k.IsEmpty()) << "an empty password still gives a key";
    EXPECT_EQ(0, memcmp(k.Data(), expect, 16));

    std::memcpy(text, "0123456789ABCDEF", 16);
    ReferenceKey(text, expect);
    k.Create(L"0123456789ABCDEFtail ignored");
    EXPECT_EQ(0, memcmp(k.Data(), expect, 16));

    std::memset(text, 0, 16);
    text[0] = 0xDF;   // "Я" in CP1251
    text[1] = 'x';
    ReferenceKey(text, expect);
    k.Create(L"Яx");
    EXPECT_EQ(0, memcmp(k.Data(), expect, 16));
}

TEST(KeySys, HexTextReadsPairsAndAllZerosMeansTheDefault)
{
    CKeySys k, def;
    def.SetDefault();
    EXPECT_EQ(def.GetString().ToStr(), DBString(Secrets::DefaultLinkKeyText).ToStr());
    k.Set(L"00000000000000000000000000000000");
    EXPECT_TRUE(k == def);

    k.Set(L"00112233445566778899aabbccddeeff");
    EXPECT_EQ(k.GetString(), L"00112233445566778899AABBCCDDEEFF");
    k.Set(L"ZZ11");   // unreadable pair, then the text ends
    EXPECT_EQ(k.GetString(), L"00110000000000000000000000000000");
    k.Set(L"");
    EXPECT_TRUE(k.IsEmpty());
    EXPECT_TRUE(k != def);
}
