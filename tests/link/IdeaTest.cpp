// IDEA against the published vector and against libgcrypt, and the key
// derivation of CIdeaKey.
#include "link/CIdeaCtx.h"
#include "link/CIdeaKey.h"

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>

TEST(Idea, PublishedVectorEncryptsAndDecrypts)
{
    const unsigned char key[16] = {0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7, 0, 8};
    const unsigned char plain[8] = {0, 0, 0, 1, 0, 2, 0, 3};
    const unsigned char cipher[8] = {0x11, 0xFB, 0xED, 0x2B, 0x01, 0x98, 0x6D, 0xE5};
    CIdeaCtx ctx;
    ctx.Key(key);
    unsigned char out[8];
    ctx.Encrypt(plain, out, 1);
    EXPECT_EQ(0, std::memcmp(out, cipher, 8));
    ctx.Decrypt(cipher, out, 1);
    EXPECT_EQ(0, std::memcmp(out, plain, 8));
}

TEST(Idea, AgreesWithLibgcryptOnRandomKeysAndBlocks)
{
    // Eight blocks at a time in ECB mode: blocks are independent, and ours
    // work in place.
    ASSERT_NE(gcry_check_version(nullptr), nullptr);
    std::mt19937 rng(20240601);
    unsigned char key[16], plain[64], ours[64], theirs[64];
    for (int round = 0; round < 2000; ++round) {
        for (auto& b : key) b = static_cast<unsigned char>(rng());
        for (auto& b : plain) b = static_cast<unsigned char>(rng());
        // Weak corners: zero words stand for 65536 in the multiplications.
        if (round % 10 == 0) std::memset(key + 2 * (round / 10 % 8), 0, 2);
        if (round % 7 == 0) std::memset(plain, 0, 8);

        gcry_cipher_hd_t h;
        ASSERT_EQ(gcry_cipher_open(&h, GCRY_CIPHER_IDEA, GCRY_CIPHER_MODE_ECB, 0), 0u);
        ASSERT_EQ(gcry_cipher_setkey(h, key, 16), 0u);
        ASSERT_EQ(gcry_cipher_encrypt(h, theirs, sizeof theirs, plain, sizeof plain), 0u);
        CIdeaCtx ctx;
        ctx.Key(key);
        std::memcpy(ours, plain, sizeof ours);
        ctx.Encrypt(ours, ours, 8);
        ASSERT_EQ(0, std::memcmp(ours, theirs, sizeof ours)) << "round " << round;

        ASSERT_EQ(gcry_cipher_decrypt(h, theirs, sizeof theirs, plain, sizeof plain), 0u);
        std::memcpy(ours, plain, sizeof ours);
        ctx.Decrypt(ours, ours, 8);
        ASSERT_EQ(0, std::memcmp(ours, theirs, sizeof ours)) << "round " << round;
        gcry_cipher_close(h);
    }
}

TEST(IdeaKey, Set2FoldsTextsIntoTheMask)
{
    unsigned char mask[16];
    for (int i = 0; i < 16; ++i) mask[i] = static_cast<unsigned char>(0x10 + i);
    CIdeaKey k;
    k.Set2(L"", L"", L"", mask);
    EXPECT_EQ(0, std::memcmp(k.Data(), mask, 16)) << "empty texts leave the mask";

    // a + b = 18 bytes: 16 at the front, then 2 more from byte 0; c at the end.
    k.Set2(L"ABCDEFGHIJKLMNOP", L"QR", L"xy", mask);
    const unsigned char expect[16] = {0x00, 0x01, 0x51, 0x57, 0x51, 0x53, 0x51, 0x5F,
                                      0x51, 0x53, 0x51, 0x57, 0x51, 0x53, 0x29, 0x36};
    EXPECT_EQ(0, std::memcmp(k.Data(), expect, 16));
    k.Set2(L"Я", L"", L"", mask);   // CP1251: one byte, 0xDF
    EXPECT_TRUE(k.Data()[0] == (0x10 ^ 0xDF) && k.Data()[1] == 0x11);
}
