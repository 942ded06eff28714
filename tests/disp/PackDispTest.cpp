// CPackDisp: wire image, limits, ciphering, parsing and queue merging.
#include "disp/CPackDisp.h"
#include "link/CIdeaCtx.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

CMesDisp Mes(CMesDisp::typMes type, int len, unsigned char fill = 0x11)
{
    CMesDisp m;
    m.Create(type);
    Bytes body(static_cast<size_t>(len - 3), fill);
    EXPECT_TRUE(m.Add(body.data(), len - 3));
    return m;
}

CIdeaCtx TestKey(unsigned seed = 1)
{
    std::mt19937 rng(seed);
    unsigned char key[16];
    for (auto& b : key) b = static_cast<unsigned char>(rng());
    CIdeaCtx ctx;
    ctx.Key(key);
    return ctx;
}

// A packet from a hand-made image: L is the image's size, the CRC is appended.
CPackDisp FromImage(Bytes img)
{
    img[0] = static_cast<unsigned char>(img.size());
    img[1] = static_cast<unsigned char>(img.size() >> 8);
    const uint16_t crc = CPackDisp::Crc16(img.data(), static_cast<int>(img.size()));
    img.push_back(static_cast<unsigned char>(crc));
    img.push_back(static_cast<unsigned char>(crc >> 8));
    CPackDisp p;
    p.Decoding(img.data(), static_cast<int>(img.size()), nullptr);
    return p;
}

std::vector<Bytes> ReadAll(const CPackDisp& p)
{
    std::vector<Bytes> out;
    CPackDisp copy(p);
    copy.BegGet();
    for (CMesDisp m; copy.GetMes(m);) out.emplace_back(m.Data(), m.Data() + m.Len());
    return out;
}

Bytes Image(const CPackDisp& p) { return {p.Data(), p.Data() + p.PlainLen()}; }

}  // namespace

TEST(PackDispImage, EmptyPacketIsSixBytesWithTheCrcOfItsHeader)
{
    const char* check = "123456789";
    EXPECT_EQ(CPackDisp::Crc16(reinterpret_cast<const unsigned char*>(check), 9), 0x31C3);

    CPackDisp p;
    const uint16_t crc = CPackDisp::Crc16(p.Data(), 4);
    EXPECT_EQ(Image(p), (Bytes{0x04, 0x00, 0x00, 0x10, static_cast<unsigned char>(crc),
                               static_cast<unsigned char>(crc >> 8)}));
    EXPECT_TRUE(p.valid());
    EXPECT_TRUE(p.IsEmpty());
    unsigned char out[CPackDisp::BufSize];
    EXPECT_EQ(p.Encoding(out, sizeof out, nullptr), 6);
    EXPECT_EQ(p.Encoding(out, 5, nullptr), 5) << "a plain copy is cut to the room given";
}

TEST(PackDispImage, EncodedEmptyPacketIsOneBlockAndARandomTail)
{
    const CIdeaCtx key = TestKey();
    std::set<int> sizes;
    for (int i = 0; i < 200; ++i) {
        CPackDisp p;
        unsigned char out[CPackDisp::BufSize];
        const int n = p.Encoding(out, sizeof out, &key);
        ASSERT_GE(n, 8);
        ASSERT_LE(n, 11);
        sizes.insert(n);
        CPackDisp back;
        ASSERT_TRUE(back.Decoding(out, n, &key)) << "the tail is dropped with the remainder";
        EXPECT_EQ(Image(back), Image(p));
    }
    EXPECT_EQ(sizes.size(), 4u) << "tails of 0 to 3 bytes all occur";
}

TEST(PackDispImage, DatagramsDecipherOnlyInOneTo65WholeBlocks)
{
    const CIdeaCtx key = TestKey();
    CPackDisp p(Mes(CMesDisp::Config, 490));
    ASSERT_TRUE(p.AddMes(Mes(CMesDisp::Config, 17)));
    ASSERT_EQ(p.Len(), 511);
    unsigned char out[600] = {};
    ASSERT_EQ(p.Encoding(out, CPackDisp::BufSize, &key) / 8, 65);

    CPackDisp back;
    EXPECT_TRUE(back.Decoding(out, 527, &key)) << "65 blocks and a 7-byte tail";
    EXPECT_EQ(Image(back), Image(p));
    EXPECT_FALSE(back.Decoding(out, 528, &key)) << "66 blocks";
    EXPECT_FALSE(back.Decoding(out, 7, &key));
    EXPECT_FALSE(back.Decoding(out, 519, &key)) << "64 blocks hold less than the image claims";
}

TEST(PackDispImage, PlainDatagramsAreTakenFrom4To514BytesAndMustHoldTheirImage)
{
    CPackDisp p(Mes(CMesDisp::Event, 10));
    Bytes img = Image(p);
    CPackDisp back;
    EXPECT_TRUE(back.Decoding(img.data(), static_cast<int>(img.size()), nullptr));
    EXPECT_FALSE(back.Decoding(img.data(), static_cast<int>(img.size()) - 1, nullptr));
    EXPECT_FALSE(back.Decoding(img.data(), 3, nullptr));
    img.resize(515);
    EXPECT_FALSE(back.Decoding(img.data(), 515, nullptr));
    EXPECT_FALSE(back.valid());
    int count = -1;
    back.GetReply(count);
    EXPECT_EQ(count, 0);
}

TEST(PackDispReplies, RepliesStayBehindTheMessagesAndStopAtFifteen)
{
    CPackDisp p;
    const unsigned char idents[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    ASSERT_TRUE(p.AddReply(idents, 15));
    const unsigned char more = 16;
    EXPECT_FALSE(p.AddReply(&more, 1)) << "R is 15";
    EXPECT_EQ(p.Data()[3], 0x1F);
    EXPECT_TRUE(p.IsEmpty());

    ASSERT_TRUE(p.AddMes(Mes(CMesDisp::Event, 6)));
    CPackDisp back;
    const Bytes img = Image(p);
    ASSERT_TRUE(back.Decoding(img.data(), static_cast<int>(img.size()), nullptr));
    int count = 0;
    const unsigned char* r = back.GetReply(count);
    ASSERT_EQ(count, 15);
    EXPECT_EQ(0, std::memcmp(r, idents, 15));
    EXPECT_EQ(ReadAll(back).size(), 1u);
}

TEST(PackDispReplies, AMessageReachingLength512PushesTheRepliesOut)
{
    CPackDisp p(Mes(CMesDisp::Event, 16));
    const unsigned char idents[2] = {7, 8};
    ASSERT_TRUE(p.AddReply(idents, 2));
    ASSERT_EQ(p.Len(), 22);
    EXPECT_FALSE(p.AddMes(Mes(CMesDisp::Config, 490)));   // 22 + 490 = 512
    EXPECT_EQ(p.ReplyCount(), 0) << "the message stays in, the replies are gone";
    EXPECT_EQ(p.Len(), 510);
    const Bytes img = Image(p);
    CPackDisp back;
    EXPECT_TRUE(back.Decoding(img.data(), static_cast<int>(img.size()), nullptr));
    EXPECT_EQ(ReadAll(back).size(), 2u);

    CPackDisp q(Mes(CMesDisp::Event, 20));
    EXPECT_FALSE(q.AddMes(Mes(CMesDisp::Config, 490))) << "24 + 490 is above 512";
    EXPECT_EQ(q.Len(), 24);
}

TEST(PackDispMessages, VoiceTravelsAloneButAReplyByteDoesNotCount)
{
    CPackDisp p;
    const unsigned char ident = 9;
    ASSERT_TRUE(p.AddReply(&ident, 1));
    ASSERT_TRUE(p.AddMes(Mes(CMesDisp::Voice, 40)));
    EXPECT_TRUE(p.isVoice());
    EXPECT_FALSE(p.AddMes(Mes(CMesDisp::Voice, 40)));
    ASSERT_TRUE(p.AddMes(Mes(CMesDisp::TimeAndGUID, 24)));
    EXPECT_TRUE(p.isVoice()) << "a time stamp does not hide the voice";

    CPackDisp q(Mes(CMesDisp::Event, 5));
    EXPECT_FALSE(q.AddMes(Mes(CMesDisp::Voice, 40)));
    EXPECT_FALSE(q.isVoice());
}

TEST(PackDispMessages, SQLRangeIsOneWiderOnlyInTheConstructor)
{
    EXPECT_TRUE(CPackDisp(Mes(CMesDisp::ExecuteAsk, 4)).isSQL());
    EXPECT_TRUE(CPackDisp(Mes(CMesDisp::AcceptSQLAsk, 4)).isSQL());
    EXPECT_FALSE(CPackDisp(Mes(CMesDisp::StructAccepted, 4)).isSQL());

    CPackDisp p;
    ASSERT_TRUE(p.AddMes(Mes(CMesDisp::ExecuteAsk, 4)));
    EXPECT_FALSE(p.isSQL());
    ASSERT_TRUE(p.AddMes(Mes(CMesDisp::FragSQLAnsw, 4)));
    EXPECT_TRUE(p.isSQL());

    const Bytes img = Image(p);
    CPackDisp back;
    ASSERT_TRUE(back.Decoding(img.data(), static_cast<int>(img.size()), nullptr));
    EXPECT_FALSE(back.isSQL()) << "a received packet is judged by its first message";
}

TEST(PackDispMessages, AnEmptyMessageIsAPlaceholderThatTheNextMessageReplaces)
{
    CPackDisp p{CMesDisp()};
    EXPECT_EQ(p.Len(), 6);
    ASSERT_TRUE(p.AddMes(Mes(CMesDisp::Event, 5)));
    EXPECT_EQ(p.Len(), 9);
    EXPECT_EQ(ReadAll(p).size(), 1u);
}

TEST(PackDispParse, ReadingStopsTwoBytesBeforeTheRepliesSoTheTrailerIsNeverAMessage)
{
    // A message, one stray byte 03, and replies 00 1B: read from the stray
    // byte on, the trailer would look like a CloseLink.
    CPackDisp p = FromImage({0, 0, 5, 0x12, 5, 0, 0x07, 0xAA, 0xBB, 0x03, 0x00, 0x1B});
    ASSERT_TRUE(p.valid());
    EXPECT_EQ(p.Ident(), 5);
    EXPECT_EQ(ReadAll(p).size(), 1u);
    EXPECT_FALSE(p.IsExistClose());

    CPackDisp q = FromImage({0, 0, 0, 0x10, 5, 0, 0x07, 0xAA, 0xBB, 0x02, 0x00});
    ASSERT_TRUE(q.valid());
    EXPECT_EQ(ReadAll(q).size(), 1u) << "an empty message at L - R - 2";
}

TEST(PackDispParse, ATypeZeroMessageEndsTheReadingThoughTheCrcIsRight)
{
    CPackDisp p = FromImage({0, 0, 0, 0x10, 3, 0, 0x1B, 4, 0, 0x00, 0x01, 3, 0, 0x1B});
    ASSERT_TRUE(p.valid());
    EXPECT_EQ(ReadAll(p).size(), 1u);

    CPackDisp first = FromImage({0, 0, 0, 0x10, 4, 0, 0xFF, 0x00, 3, 0, 0x38});
    ASSERT_TRUE(first.valid());
    EXPECT_FALSE(first.isVoice()) << "flags come only from a readable first message";
    EXPECT_FALSE(first.IsExistClose());
}

TEST(PackDispParse, DamageShowsAsInvalid)
{
    EXPECT_FALSE(FromImage({0, 0, 0, 0x10, 1, 0, 0x07}).valid()) << "message length below 2";
    EXPECT_FALSE(FromImage({0, 0, 0, 0x10, 9, 0, 0x07}).valid()) << "message past the end";
    EXPECT_FALSE(FromImage({0, 0, 0, 0x1F, 3, 0}).valid()) << "more replies than bytes";
    EXPECT_TRUE(FromImage({0, 0, 0, 0x10, 3, 0, 0x07, 0xEE}).valid()) << "one stray byte is tolerated";

    CPackDisp good(Mes(CMesDisp::Event, 8));
    Bytes img = Image(good);
    img[5] ^= 0x40;
    CPackDisp p;
    EXPECT_FALSE(p.Decoding(img.data(), static_cast<int>(img.size()), nullptr)) << "checksum";
    for (int len : {3, 515}) {
        std::memset(p.Buffer(), 0, CPackDisp::BufSize);
        p.Buffer()[0] = static_cast<unsigned char>(len);
        p.Buffer()[1] = static_cast<unsigned char>(len >> 8);
        EXPECT_FALSE(p.UnPack()) << len;
        CMesDisp m;
        EXPECT_FALSE(p.GetMes(m));
        unsigned char out[CPackDisp::BufSize];
        EXPECT_EQ(p.Encoding(out, sizeof out, nullptr), 0);
    }
}

TEST(PackDispLink, MergingMovesWhatFitsAndKeepsTheRestInOrder)
{
    CPackDisp a(Mes(CMesDisp::Event, 200, 1));
    const unsigned char ack = 42;
    ASSERT_TRUE(a.AddReply(&ack, 1));
    CPackDisp b(Mes(CMesDisp::Event, 100, 2));
    ASSERT_TRUE(b.AddMes(Mes(CMesDisp::Event, 200, 3)));
    ASSERT_TRUE(b.AddMes(Mes(CMesDisp::Event, 10, 4)));
    b.SetIdent(17);

    ASSERT_TRUE(a.Link(b));
    const auto inA = ReadAll(a);
    ASSERT_EQ(inA.size(), 3u) << "at 505 bytes the last 10 would pass 512";
    EXPECT_EQ(inA[2][3], 3);
    int count = 0;
    EXPECT_EQ(*a.GetReply(count), 42);
    EXPECT_EQ(count, 1);
    const auto inB = ReadAll(b);
    ASSERT_EQ(inB.size(), 1u);
    EXPECT_EQ(inB[0][3], 4) << "the message that did not fit";
    EXPECT_EQ(b.Ident(), 0);
    EXPECT_TRUE(b.valid());
}

TEST(PackDispLink, MergingNeverSqueezesOutReplies)
{
    CPackDisp a(Mes(CMesDisp::Event, 16));
    const unsigned char acks[2] = {1, 2};
    ASSERT_TRUE(a.AddReply(acks, 2));
    CPackDisp b(Mes(CMesDisp::Event, 490));   // 22 + 490 = 512
    EXPECT_FALSE(a.Link(b));
    EXPECT_EQ(a.ReplyCount(), 2);
    EXPECT_EQ(ReadAll(b).size(), 1u);
}

TEST(PackDispLink, VoiceIsNeverMerged)
{
    CPackDisp a(Mes(CMesDisp::Event, 10));
    CPackDisp voice(Mes(CMesDisp::Voice, 10));
    const Bytes before = Image(voice);
    EXPECT_FALSE(a.Link(voice));
    EXPECT_EQ(Image(voice), before);

    CPackDisp b(Mes(CMesDisp::Voice, 10));
    ASSERT_TRUE(b.AddMes(Mes(CMesDisp::Event, 10)));   // voice first, no longer the flag
    EXPECT_FALSE(a.Link(b)) << "a voice message stops the moving";
    EXPECT_EQ(ReadAll(b).size(), 2u);
    EXPECT_FALSE(b.isVoice());
}

TEST(PackDispImage, RandomPacketsSurviveTheCipherRoundTrip)
{
    const CIdeaCtx key = TestKey(3);
    std::mt19937 rng(11);
    for (int round = 0; round < 300; ++round) {
        CPackDisp p;
        std::vector<Bytes> sent;
        for (int k = static_cast<int>(rng() % 6); k > 0; --k) {
            CMesDisp m = Mes(static_cast<CMesDisp::typMes>(1 + rng() % 0x55), 3 + static_cast<int>(rng() % 120),
                             static_cast<unsigned char>(rng()));
            const int before = p.Len();
            p.AddMes(m);   // may be refused, or taken at exactly 512 with a false
            if (p.Len() > before) sent.emplace_back(m.Data(), m.Data() + m.Len());
        }
        unsigned char acks[3] = {static_cast<unsigned char>(rng()), 2, 3};
        const int nAcks = static_cast<int>(rng() % 4);
        const bool acked = p.AddReply(acks, nAcks);
        p.SetIdent(static_cast<int>(rng()));
        unsigned char out[CPackDisp::BufSize];
        const int n = p.Encoding(out, sizeof out, &key);
        ASSERT_GT(n, 0);
        CPackDisp back;
        ASSERT_TRUE(back.Decoding(out, n, &key));
        EXPECT_EQ(ReadAll(back), sent);
        EXPECT_EQ(back.Ident(), p.Ident());
        EXPECT_EQ(back.ReplyCount(), acked ? nAcks : 0);
    }
}
