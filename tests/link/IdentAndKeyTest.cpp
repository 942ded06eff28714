// Identifiers on the wire and the link keys a user types.
#include "base/Secrets.h"
#include "link/CIdentV7.h"
#include "link/CKeySys.h"

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <cstring>
#include <utility>

TEST(IdentV7, WireFormRoundTripsEveryNodeAndDropsBitsAbove24)
{
    CIdentV7 a(0x123456, 0x78), b;
    unsigned char w[4];
    a.GetValue(w);
    EXPECT_EQ(0, std::memcmp(w, "\x78\x56\x34\x12", 4));
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
}

TEST(IdentV7, NodeAndDeviceStayInTheirRanges)
{
    CIdentV7 id(7, 3);
    EXPECT_FALSE(id.Set(9, 256));
    EXPECT_EQ(id.GetString(), L"9.3") << "a bad device keeps the new node with the old device";
    EXPECT_FALSE(id.Set(CIdentV7::kMaxNode + 1, 0) || id.Set(-1, 0));
    EXPECT_EQ(id.GetNode(), 9);
    EXPECT_TRUE(CIdentV7(5, 1) == CIdentV7(5, 2)) << "comparison ignores the device";
    EXPECT_FALSE(CIdentV7(5, 1).FullEQ(CIdentV7(5, 2)));

    EXPECT_FALSE(CIdentV7(0, 0).IsLU() || CIdentV7(9999900, 0).IsLU() || CIdentV7(10000000, 0).IsProg());
    EXPECT_TRUE(CIdentV7(9999899, 0).IsLU() && CIdentV7(10000001, 0).IsProg());
    for (int i = 0; i < 200; ++i) {
        id.SetUnique();
        ASSERT_TRUE(id.GetNode() >= 10000000 && id.GetNode() <= CIdentV7::kMaxNode && id.GetDev() == 3);
    }
}

TEST(KeySys, PasswordKeyIsTheCipherOfItsFirst16Characters)
{
    // Computed with libgcrypt's IDEA as an independent check.
    ASSERT_NE(gcry_check_version(nullptr), nullptr);
    gcry_cipher_hd_t h;
    ASSERT_EQ(gcry_cipher_open(&h, GCRY_CIPHER_IDEA, GCRY_CIPHER_MODE_ECB, 0), 0u);
    ASSERT_EQ(gcry_cipher_setkey(h, Secrets::ForKeySys.data(), 16), 0u);
    const std::pair<const wchar_t*, const char*> cases[] = {
        {L"", ""}, {L"0123456789ABCDEFtail ignored", "0123456789ABCDEF"}, {L"Яx", "\xDFx"}};   // CP1251
    for (const auto& [password, text] : cases) {
        unsigned char expect[16] = {};
        std::memcpy(expect, text, std::strlen(text));
        ASSERT_EQ(gcry_cipher_encrypt(h, expect, 16, nullptr, 0), 0u);
        for (int i = 0; i < 8; ++i) expect[8 + i] ^= expect[i];
        CKeySys k;
        k.Create(password);
        EXPECT_FALSE(k.IsEmpty()) << "an empty password still gives a key";
        EXPECT_EQ(0, std::memcmp(k.Data(), expect, 16)) << text;
    }
    gcry_cipher_close(h);
}

TEST(KeySys, HexTextReadsPairsAndAllZerosMeansTheDefault)
{
    CKeySys k, def;
    def.SetDefault();
    k.Set(DBString(Secrets::DefaultLinkKeyText).c_str());
    EXPECT_FALSE(def.IsEmpty() || k != def);
    k.Set(L"00000000000000000000000000000000");
    EXPECT_FALSE(k != def);
    k.Set(L"00112233445566778899aabbccddeeff");
    EXPECT_EQ(k.GetString(), L"00112233445566778899AABBCCDDEEFF");
    k.Set(L"ZZ11");   // unreadable pair, then the text ends
    EXPECT_EQ(k.GetString(), L"00110000000000000000000000000000");
    k.Set(L"");
    EXPECT_TRUE(k.IsEmpty());
}

TEST(KeySys, TheGuestKeyIsMadeOverTheDispatcherMaskUnlessItHasAValueOfItsOwn)
{
#if VELK_GUEST_KEY_OWN
    GTEST_SKIP() << "this build configures a guest key of its own";
#else
    EXPECT_EQ(Secrets::GuestKey, Secrets::DispMask);
#endif
}
