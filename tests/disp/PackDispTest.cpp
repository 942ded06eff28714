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

CIdeaCtx TestKey()
{
    std::mt19937 rng(1);
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
    EXPECT_TRUE(p.valid() && p.IsEmpty());
    unsigned char out[CPackDisp::BufSize];
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
        ASSERT_TRUE(n >= 8 && n <= 11) << n;
        sizes.insert(n);
        CPackDisp back;
        ASSERT_TRUE(back.Decoding(out, n, &key)) << "the tail is dropped with the remainder";
        EXPECT_EQ(Image(back), Image(p));
    }
    EXPECT_EQ(sizes.size(), 4u) << "tails of 0 to 3 bytes all occur";
}

TEST(PackDispImage, DatagramsAreTakenInOneTo65WholeBlocksOrUpTo514PlainBytes)
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

    const Bytes img = Image(p);
    EXPECT_FALSE(back.Decoding(img.data(), 512, nullptr)) << "a plain datagram too short for its image";
    EXPECT_FALSE(back.Decoding(img.data(), 3, nullptr));
    EXPECT_FALSE(back.Decoding(out, 515, nullptr));
}

TEST(PackDispReplies, RepliesStayBehindTheMessagesUntilAMessageReaches512)
{
    CPackDisp p;
    unsigned char idents[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    ASSERT_TRUE(p.AddReply(idents, 15));
    EXPECT_FALSE(p.AddReply(idents + 15, 1)) << "R is 15";
    EXPECT_EQ(p.Data()[3], 0x1F);
    ASSERT_TRUE(p.AddMes(Mes(CMesDisp::Event, 6)));
    CPackDisp back = FromImage(Bytes(p.Data(), p.Data() + p.Len()));
    int count = 0;
    const unsigned char* r = back.GetReply(count);
    ASSERT_EQ(count, 15);
    EXPECT_EQ(0, std::memcmp(r, idents, 15));
    EXPECT_EQ(ReadAll(back).size(), 1u);

    CPackDisp q(Mes(CMesDisp::Event, 16));
    ASSERT_TRUE(q.AddReply(idents, 2));   // L = 22
    EXPECT_FALSE(q.AddMes(Mes(CMesDisp::Config, 490)));
    EXPECT_EQ(q.ReplyCount(), 0) << "at L + M = 512 the message stays in and the replies are gone";
    EXPECT_EQ(ReadAll(FromImage(Bytes(q.Data(), q.Data() + q.Len()))).size(), 2u);
    EXPECT_FALSE(q.AddMes(Mes(CMesDisp::Event, 3))) << "above 512";
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

    CPackDisp placeholder{CMesDisp()};
    ASSERT_EQ(placeholder.Len(), 6);
    ASSERT_TRUE(placeholder.AddMes(Mes(CMesDisp::Event, 5)));
    EXPECT_EQ(placeholder.Len(), 9) << "the empty message is replaced, not followed";
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
    EXPECT_FALSE(FromImage(Bytes(p.Data(), p.Data() + p.Len())).isSQL()) << "received: the first message counts";
}

TEST(PackDispParse, ReadingStopsTwoBytesBeforeTheRepliesSoTheTrailerIsNeverAMessage)
{
    // A message, one stray byte 03, and replies 00 1B: read from the stray
    // byte on, the trailer would look like a CloseLink.
    CPackDisp p = FromImage({0, 0, 5, 0x12, 5, 0, 0x07, 0xAA, 0xBB, 0x03, 0x00, 0x1B});
    ASSERT_TRUE(p.valid() && p.Ident() == 5);
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
    CMesDisp none;
    EXPECT_FALSE(p.GetMes(none)) << "a damaged packet offers no message";
    p.Buffer()[0] = 3;
    EXPECT_FALSE(p.UnPack()) << "L below 4";
    p.Buffer()[0] = 3;
    p.Buffer()[1] = 2;
    EXPECT_FALSE(p.UnPack()) << "L above 514";
    unsigned char out[CPackDisp::BufSize];
    EXPECT_EQ(p.Encoding(out, sizeof out, nullptr), 0) << "nothing to send from a wild length";
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
    const auto inA = ReadAll(a), inB = ReadAll(b);
    ASSERT_EQ(inA.size(), 3u) << "at 505 bytes the last 10 would pass 512";
    EXPECT_EQ(inA[2][3], 3);
    int count = 0;
    EXPECT_TRUE(*a.GetReply(count) == 42 && count == 1);
    ASSERT_EQ(inB.size(), 1u);
    EXPECT_EQ(inB[0][3], 4) << "the message that did not fit";
    EXPECT_TRUE(b.Ident() == 0 && b.valid());
}

TEST(PackDispLink, MergingStopsAtVoiceAndBeforeSqueezingOutReplies)
{
    CPackDisp a(Mes(CMesDisp::Event, 16));
    const unsigned char acks[2] = {1, 2};
    ASSERT_TRUE(a.AddReply(acks, 2));
    CPackDisp big(Mes(CMesDisp::Event, 490));   // 22 + 490 = 512
    EXPECT_FALSE(a.Link(big));
    EXPECT_EQ(a.ReplyCount(), 2);
    EXPECT_EQ(ReadAll(big).size(), 1u);

    CPackDisp voice(Mes(CMesDisp::Voice, 10));
    const Bytes before = Image(voice);
    EXPECT_FALSE(a.Link(voice));
    EXPECT_EQ(Image(voice), before) << "a voice packet is left as it was";
    ASSERT_TRUE(voice.AddMes(Mes(CMesDisp::Event, 10)));   // voice first, no longer the flag
    EXPECT_FALSE(a.Link(voice)) << "a voice message stops the moving";
    EXPECT_EQ(ReadAll(voice).size(), 2u);
}
