// V7 packets: image layout, parsing, checksums and the two channel codings.
#include "base/Secrets.h"
#include "link/CMes.h"
#include "link/CPackV7.h"

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

namespace {

const unsigned char kKey[16] = {0x3C, 0x91, 0x07, 0xE4, 0x5B, 0xA2, 0x68, 0xDF,
                                0x10, 0x4E, 0xC3, 0x77, 0x29, 0xB8, 0xF5, 0x02};
const unsigned char kNoKey[16] = {};

// A class 3 packet of `len` image bytes with a random body.
CPackV7 LinkPacket(int len, std::mt19937& rng)
{
    std::vector<unsigned char> body(static_cast<size_t>(len - 13));
    for (auto& b : body) b = static_cast<unsigned char>(rng());
    CPackV7 p(CIdentV7(1234, 1), CIdentV7(10000123, 2));
    p.SetLink(CPackV7::packLinkAlive, body.data(), len - 13);
    return p;
}

bool SameImage(const CPackV7& a, const CPackV7& b)
{
    return a.m_Len == b.m_Len && std::memcmp(a.m_Buf, b.m_Buf, static_cast<size_t>(a.m_Len)) == 0;
}

// Codes and decodes under kKey; false if the packet did not come back.
bool Through(CPackV7& p, CPackV7& q)
{
    unsigned char wire[CPackV7::kBufSize];
    return q.ChanDecod(wire, p.ChanCod(wire, sizeof wire, kKey), kKey);
}

}  // namespace

TEST(PackV7Checksums, MatchTheirPublishedCheckValues)
{
    EXPECT_EQ(CPackV7::CRC16(reinterpret_cast<const unsigned char*>("123456789"), 9), 0x31C3);
    EXPECT_EQ(CPackV7::Step3[1], 0x43);
    EXPECT_EQ(CPackV7::Step3[2], 0x86);
}

TEST(PackV7Layout, BuildersWriteWhereThePeerReadsAndRefuseOverlongData)
{
    // Header and identifiers are pinned by the known wire bytes below.
    CPackV7 p, q;
    const unsigned char data[2] = {0x40, 0x04};
    ASSERT_TRUE(p.SetAsk(CPackV7::packAsk, CPackV7::askNVRAM, 1, data, 2));
    EXPECT_EQ(0, std::memcmp(p.m_Buf + 12, "\3\x81\x40\4", 4));
    EXPECT_TRUE(p.SetAsk(CPackV7::packAsk, CPackV7::askStatus, 0, nullptr, 4));
    EXPECT_TRUE(p.m_Len == 18 && p.m_Buf[13] == 4) << "null data still counts";

    p.SetIdent(9);
    EXPECT_TRUE(p.AddRepl(7));
    EXPECT_FALSE(p.AddRepl(8)) << "one acknowledgement per packet";
    EXPECT_TRUE(p.m_Buf[1] == 9 && p.m_Buf[2] == 7 && p.m_Repl == 7);
    EXPECT_TRUE(q.AddRepl(0) && q.AddRepl(3)) << "repl 0 is still free";

    static unsigned char big[1010];
    EXPECT_TRUE(p.SetLink(CPackV7::packLinkAlive, big, 1009));
    EXPECT_FALSE(p.SetVoice(1, big, 1010) || p.SetData(2, big, 1009) || p.SetAsk(CPackV7::packAsk, 1, 1, big, 1009) ||
                 p.SetLink(0, big, -1));
    EXPECT_TRUE(p.m_Len == 1022 && p.m_Class == 3) << "refusals change nothing";
    EXPECT_TRUE(p.SetData(2, big, 1008) && p.SetAsk(CPackV7::packAsk, 1, 1, big, 1008));
}

TEST(PackV7Coding, EveryLengthRoundTripsWithAndWithoutAKey)
{
    std::srand(1);
    std::mt19937 rng(11);
    std::vector<unsigned char> out(1100);
    for (const unsigned char* key : {kKey, kNoKey})
        for (int len = 13; len <= CPackV7::kMaxDecodLen; ++len) {
            CPackV7 p = LinkPacket(len, rng), q;
            const int n = p.ChanCod(out.data(), 1024, key);
            ASSERT_EQ(n, len + 3) << len;
            ASSERT_TRUE(q.ChanDecod(out.data(), n, key) && SameImage(p, q)) << len;
        }
    // One more byte does not fit the decoder's buffer.
    CPackV7 p = LinkPacket(CPackV7::kMaxLen, rng), q;
    EXPECT_FALSE(q.ChanDecod(out.data(), p.ChanCod(out.data(), 1100, kKey), kKey));
}

TEST(PackV7Coding, KnownNonceGivesTheKnownWireBytes)
{
    // packEmpty 77.0 to 10000001.1 under kKey with nonce 0xA7, worked out by
    // hand from the coding steps (CRC-16 0xF9F8). Also the smallest packet:
    // 16 bytes, and the ask fields keep their defaults.
    const unsigned char wire[16] = {0x9F, 0x70, 0x87, 0xCD, 0x91, 0x81, 0x81, 0x9B,
                                    0xCA, 0x88, 0xD8, 0x13, 0x5D, 0x45, 0x45, 0x8D};
    unsigned seed = 1;
    for (std::srand(seed); (std::rand() & 0xFF) != 0xA7; std::srand(++seed)) {}
    std::srand(seed);
    CPackV7 p(CIdentV7(77, 0), CIdentV7(10000001, 1)), q;
    unsigned char out[16];
    ASSERT_EQ(p.ChanCod(out, 17, kKey), 16);
    EXPECT_EQ(0, std::memcmp(out, wire, 16));
    ASSERT_TRUE(q.ChanDecod(wire, 16, kKey) && SameImage(p, q));
    EXPECT_TRUE(q.m_Ask == -1 && q.m_DirAsk == 1 && q.m_Valid);
}

TEST(PackV7Coding, AnyChangedByteOrWrongKeyFailsDecodingAndAShortOutputIsCut)
{
    std::srand(5);
    std::mt19937 rng(3);
    unsigned char out[400];
    for (int len : {13, 14, 40, 300}) {
        CPackV7 p = LinkPacket(len, rng), q;
        const int n = p.ChanCod(out, sizeof out, kKey);
        EXPECT_FALSE(q.ChanDecod(out, n, kNoKey));
        for (int i = 0; i < n; ++i)
            for (unsigned char flip : {0x01, 0x80, 0xFF}) {
                out[i] ^= flip;
                EXPECT_FALSE(q.ChanDecod(out, n, kKey)) << len << " byte " << i;
                out[i] ^= flip;
            }
        EXPECT_TRUE(q.ChanDecod(out, n, kKey));
        EXPECT_FALSE(q.ChanDecod(out, n - 1, kKey));
    }
    // An output limit cuts the coding without overrun; with room for packet
    // and CRC but not the nonce it is unreadable.
    CPackV7 p = LinkPacket(40, rng), q;
    for (int limit : {0, 10, 42}) {
        std::memset(out, 0xEE, sizeof out);
        EXPECT_EQ(p.ChanCod(out, limit, kKey), limit);
        EXPECT_EQ(out[limit], 0xEE) << "nothing written at or beyond the limit";
    }
    EXPECT_FALSE(q.ChanDecod(out, p.ChanCod(out, 42, kKey), kKey));
    EXPECT_EQ(p.ChanCod(out, 43, kKey), 43);
}

TEST(PackV7Parse, ReceivedHeaderFollowsClassAndType)
{
    CMes mes;
    mes.SetDann(8, reinterpret_cast<const unsigned char*>("\x01\x10\x02\x20\x00\x30\x3F\x30"));
    CPackV7 p(mes), q;
    p.m_Buf[12] |= 0x80;   // bit 7 of the type is ignored
    ASSERT_TRUE(Through(p, q));
    EXPECT_TRUE(q.m_Typ == 1 && q.m_MesLen == 9);
    EXPECT_TRUE(q.IsOnOffGGS()) << "message type 48";

    p.SetAsk(CPackV7::packAskTest, CPackV7::askNVRAM, 1, nullptr, 4);
    ASSERT_TRUE(Through(p, q));
    EXPECT_EQ(q.m_Ask, -1) << "an incoming type 8 is not parsed";
    p.SetAsk(CPackV7::packAsk, CPackV7::askRestart, 1, nullptr, 0);
    ASSERT_TRUE(Through(p, q));
    EXPECT_TRUE(q.IsRestart() && q.IsInIdent());
    p.SetAsk(CPackV7::packAsk, CPackV7::askGgs66, 0, nullptr, 0);
    ASSERT_TRUE(Through(p, q));
    EXPECT_TRUE(q.m_DirAsk == 0 && q.m_Ask == 66);
    EXPECT_FALSE(q.IsOnOffGGS()) << "only the request direction";

    for (int cls = 0; cls < 12; ++cls) {
        p.SetData(0, nullptr, 0);
        p.m_Buf[0] = static_cast<unsigned char>(cls);
        EXPECT_EQ(Through(p, q), cls == 3 || cls == 4 || cls == 7 || cls == 8) << cls;
    }
}

TEST(PackV7Parse, ACarriedMessageIsTakenOnlyWhenItsLengthByteAgreesWithThePacket)
{
    // The head is read in address form from the length byte on; with a
    // length byte of 58 its bit 5 becomes address bit 7, which moves to
    // bit 4 of the kind.
    const unsigned char m[57] = {0x2B};
    CMes mes, back;
    mes.SetDann(57, m);
    CPackV7 p(mes);
    ASSERT_EQ(p.m_Buf[13], 58);
    p.UnPack();
    EXPECT_TRUE(p.m_Valid && p.m_MesLen == 58 && p.m_MesAdr == 0x6A && p.m_MesKind == 0x1B);
    EXPECT_TRUE(p.GetMes(back) && back.m_Len == 57);
    p.m_Buf[13] = 57;
    EXPECT_FALSE(p.GetMes(back)) << "length byte disagrees with the packet";

    mes.SetDann(3, m);
    p = CPackV7(mes);
    p.UnPack();
    EXPECT_FALSE(p.m_Valid) << "a packMes below 18 bytes";
}

TEST(PackV7Cloud, EveryLengthRoundTripsWithItsKey)
{
    std::srand(3);
    std::mt19937 rng(4);
    unsigned char out[1100], key[16];
    for (int len = 13; len <= 1004; ++len) {
        CPackV7 p = LinkPacket(len, rng), q;
        const int n = p.ChanCloudProCod(out, sizeof out, kKey), blocks = (len + 27) / 8;
        ASSERT_TRUE(n >= 8 * blocks && n <= 8 * blocks + 3) << len;
        ASSERT_TRUE(q.ChanCloudProDecod(out, n, key) && SameImage(p, q)) << len;
        ASSERT_EQ(0, std::memcmp(key, kKey, 16));
    }
    CPackV7 p = LinkPacket(1005, rng);
    EXPECT_EQ(p.ChanCloudProCod(out, sizeof out, kKey), 0) << "129 blocks";
    p = LinkPacket(100, rng);
    EXPECT_EQ(p.ChanCloudProCod(out, 119, kKey), 0) << "15 blocks need 120 bytes";
}

TEST(PackV7Cloud, BlocksHoldLengthImageCrcAndKeyUnderTheCloudKey)
{
    // Deciphered with libgcrypt's IDEA, independently of ours.
    ASSERT_NE(gcry_check_version(nullptr), nullptr);
    std::mt19937 rng(5);
    CPackV7 p = LinkPacket(30, rng);
    unsigned char out[64], plain[56];
    ASSERT_GE(p.ChanCloudProCod(out, sizeof out, kKey), 56);
    gcry_cipher_hd_t h;
    ASSERT_EQ(gcry_cipher_open(&h, GCRY_CIPHER_IDEA, GCRY_CIPHER_MODE_ECB, 0), 0u);
    ASSERT_EQ(gcry_cipher_setkey(h, Secrets::ProCloudKey.data(), 16), 0u);
    ASSERT_EQ(gcry_cipher_decrypt(h, plain, 56, out, 56), 0u);
    gcry_cipher_close(h);
    const unsigned crc = CPackV7::CRC16(p.m_Buf, 30);
    EXPECT_TRUE(plain[0] == 32 && plain[1] == 0);
    EXPECT_EQ(0, std::memcmp(plain + 2, p.m_Buf, 30));
    EXPECT_TRUE(plain[32] == (crc & 0xFF) && plain[33] == crc >> 8);
    EXPECT_EQ(0, std::memcmp(plain + 34, kKey, 16));
}

TEST(PackV7Cloud, DecoderRefusesBadSizesAndChangedBlocks)
{
    std::mt19937 rng(9);
    CPackV7 p = LinkPacket(13, rng), q;
    unsigned char out[1100] = {}, key[16];
    int n = 0;
    for (int i = 0; i < 1000 && n != 43; ++i) n = p.ChanCloudProCod(out, sizeof out, kKey);
    ASSERT_EQ(n, 43) << "5 blocks and a 3-byte tail";
    EXPECT_TRUE(q.ChanCloudProDecod(out, 40, key)) << "the tail is not needed";
    EXPECT_TRUE(q.ChanCloudProDecod(out, 47, key)) << "nor read";
    EXPECT_FALSE(q.ChanCloudProDecod(out, 23, key));
    EXPECT_EQ(q.m_Len, 0);
    // Length, image and CRC lie in the first three blocks.
    for (int i = 0; i < 24; ++i) {
        out[i] ^= 0x04;
        EXPECT_FALSE(q.ChanCloudProDecod(out, n, key)) << i;
        out[i] ^= 0x04;
    }
    EXPECT_TRUE(q.ChanCloudProDecod(out, 1031, key));
    EXPECT_FALSE(q.ChanCloudProDecod(out, 1032, key));
}
