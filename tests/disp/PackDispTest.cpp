// CPackDisp: wire image, limits, ciphering, parsing and queue merging.
#include "disp/CPackDisp.h"
#include "link/CIdeaCtx.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// A message of `len` bytes in all, its body filled with `fill`.
CMesDisp Mes(CMesDisp::typMes type, int len, unsigned char fill = 0x11)
{
    CMesDisp m;
    m.Create(type);
    const Bytes body(static_cast<size_t>(len - 3), fill);
    m.Add(body.data(), len - 3);
    return m;
}

// A packet from a hand-made image, L included; the CRC is appended.
CPackDisp FromImage(Bytes img)
{
    const uint16_t crc = CPackDisp::Crc16(img.data(), static_cast<int>(img.size()));
    img.insert(img.end(), {static_cast<unsigned char>(crc), static_cast<unsigned char>(crc >> 8)});
    CPackDisp p;
    p.Decoding(img.data(), static_cast<int>(img.size()), nullptr);
    return p;
}

Bytes Image(const CPackDisp& p) { return {p.Data(), p.Data() + p.PlainLen()}; }

CPackDisp Reread(const CPackDisp& p) { return FromImage({p.Data(), p.Data() + p.Len()}); }

// What a reader gets: the first body byte of each message (-1: no body).
std::vector<int> Read(CPackDisp p)
{
    std::vector<int> out;
    p.BegGet();
    for (CMesDisp m; p.GetMes(m);) out.push_back(m.Len() > 3 ? m.Data()[3] : -1);
    return out;
}

}  // namespace

TEST(PackDispImage, DatagramsRunFromTheSixByteEmptyPacketTo527EncipheredOr514PlainBytes)
{
    CPackDisp p;
    EXPECT_EQ(Image(p), (Bytes{0x04, 0x00, 0x00, 0x10, 0xC0, 0xD8})) << "the CRC-16 of 04 00 00 10, low byte first";
    EXPECT_TRUE(p.IsEmpty());
    unsigned char out[600] = {};
    EXPECT_EQ(p.Encoding(out, 5, nullptr), 5) << "a plain copy is cut to the room given";

    const unsigned char keyBytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    CIdeaCtx key;
    key.Key(keyBytes);
    std::set<int> sizes;
    for (int i = 0; i < 200; ++i) {
        const int n = p.Encoding(out, CPackDisp::BufSize, &key);
        ASSERT_TRUE(n >= 8 && n <= 11) << n;
        sizes.insert(n);
        CPackDisp back;
        ASSERT_TRUE(back.Decoding(out, n, &key)) << "the tail is dropped with the remainder";
        EXPECT_EQ(Image(back), Image(p));
    }
    EXPECT_EQ(sizes.size(), 4u) << "tails of 0 to 3 bytes all occur";

    CPackDisp full(Mes(CMesDisp::Config, 490));
    ASSERT_TRUE(full.AddMes(Mes(CMesDisp::Config, 17)));
    full.SetIdent(8);   // CRC 0x0040: cut before its 00, only the length check can refuse the image
    ASSERT_EQ(full.Len(), 511);
    ASSERT_EQ(full.Encoding(out, CPackDisp::BufSize, &key) / 8, 65);
    CPackDisp back;
    EXPECT_TRUE(back.Decoding(out, 527, &key)) << "65 blocks and a 7-byte tail";
    EXPECT_EQ(Image(back), Image(full));
    EXPECT_FALSE(back.Decoding(out, 528, &key)) << "66 blocks";
    EXPECT_FALSE(back.Decoding(out, 519, &key)) << "64 blocks hold less than the image claims";
    Bytes img = Image(full);
    img.resize(515);
    EXPECT_FALSE(back.Decoding(img.data(), 515, nullptr)) << "a plain datagram above 514 bytes";
}

TEST(PackDispReplies, RepliesStayBehindTheMessagesUntilAMessageReaches512)
{
    const unsigned char idents[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    CPackDisp p;
    ASSERT_TRUE(p.AddReply(idents, 15));
    EXPECT_FALSE(p.AddReply(idents + 15, 1)) << "R is 15";
    EXPECT_EQ(p.Data()[3], 0x1F);
    ASSERT_TRUE(p.AddMes(Mes(CMesDisp::Event, 6)));
    const CPackDisp back = Reread(p);
    int count = 0;
    const unsigned char* r = back.GetReply(count);
    EXPECT_EQ(Bytes(r, r + count), Bytes(idents, idents + 15));
    EXPECT_EQ(Read(back), std::vector<int>{0x11});

    CPackDisp q(Mes(CMesDisp::Event, 16));
    ASSERT_TRUE(q.AddReply(idents, 2));   // L = 22
    EXPECT_FALSE(q.AddMes(Mes(CMesDisp::Config, 490)));
    EXPECT_EQ(q.ReplyCount(), 0) << "at L + M = 512 the message stays in and the replies are gone";
    EXPECT_EQ(Read(Reread(q)).size(), 2u);
    EXPECT_FALSE(q.AddMes(Mes(CMesDisp::Event, 3))) << "above 512";

    CPackDisp full(Mes(CMesDisp::Config, 490));
    ASSERT_TRUE(full.AddMes(Mes(CMesDisp::Config, 17)));   // L = 511
    EXPECT_FALSE(full.AddReply(idents, 1)) << "one reply byte would make L 512";
    EXPECT_EQ(full.Len(), 511);
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
    EXPECT_FALSE(CPackDisp(Mes(CMesDisp::Event, 5)).AddMes(Mes(CMesDisp::Voice, 40)));

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
    EXPECT_FALSE(Reread(p).isSQL()) << "received: the first message counts";
}

TEST(PackDispParse, ReadingStopsTwoBytesBeforeTheRepliesAndAtATypeZeroMessage)
{
    // A message, one stray byte 03, and replies 00 1B: read from the stray
    // byte on, the trailer would look like a CloseLink.
    const CPackDisp p = FromImage({12, 0, 5, 0x12, 5, 0, 0x07, 0xAA, 0xBB, 0x03, 0x00, 0x1B});
    ASSERT_TRUE(p.valid() && p.Ident() == 5);
    EXPECT_EQ(Read(p), std::vector<int>{0xAA});
    EXPECT_FALSE(p.IsExistClose());
    EXPECT_EQ(Read(FromImage({11, 0, 0, 0x10, 5, 0, 0x07, 0xAA, 0xBB, 0x02, 0x00})), std::vector<int>{0xAA})
        << "an empty message at L - R - 2";

    EXPECT_EQ(Read(FromImage({14, 0, 0, 0x10, 3, 0, 0x1B, 4, 0, 0x00, 0x01, 3, 0, 0x1B})), std::vector<int>{-1})
        << "a type-0 message ends the reading, though the CRC is right";
    const CPackDisp first = FromImage({11, 0, 0, 0x10, 4, 0, 0xFF, 0x00, 3, 0, 0x38});
    EXPECT_TRUE(first.valid());
    EXPECT_FALSE(first.isVoice()) << "flags come only from a readable first message";
}

TEST(PackDispParse, DamageShowsAsInvalid)
{
    EXPECT_FALSE(FromImage({6, 0, 0, 0x10, 1, 0}).valid()) << "message length below 2";
    EXPECT_FALSE(FromImage({7, 0, 0, 0x10, 9, 0, 0x07}).valid()) << "message past the end";
    EXPECT_FALSE(FromImage({6, 0, 0, 0x1F, 3, 0}).valid()) << "more replies than bytes";
    EXPECT_TRUE(FromImage({8, 0, 0, 0x10, 3, 0, 0x07, 0xEE}).valid()) << "one stray byte is tolerated";

    Bytes img = Image(CPackDisp(Mes(CMesDisp::Event, 8)));
    img[5] ^= 0x40;
    CPackDisp p;
    EXPECT_FALSE(p.Decoding(img.data(), static_cast<int>(img.size()), nullptr)) << "checksum";
    CMesDisp none;
    EXPECT_FALSE(p.GetMes(none)) << "a damaged packet offers no message";
    p.Buffer()[1] = 0xFF;
    EXPECT_FALSE(p.UnPack()) << "L far above 514";
    unsigned char out[CPackDisp::BufSize];
    EXPECT_EQ(p.Encoding(out, sizeof out, nullptr), 0) << "nothing to send from a wild length";
}

TEST(PackDispLink, MergingMovesWhatFitsInOrderButStopsAtVoiceOrBeforeSqueezingOutReplies)
{
    CPackDisp a(Mes(CMesDisp::Event, 200, 1));
    const unsigned char acks[2] = {42, 43};
    ASSERT_TRUE(a.AddReply(acks, 1));
    CPackDisp b(Mes(CMesDisp::Event, 100, 2));
    ASSERT_TRUE(b.AddMes(Mes(CMesDisp::Event, 200, 3)));
    ASSERT_TRUE(b.AddMes(Mes(CMesDisp::Event, 10, 4)));
    b.SetIdent(17);
    ASSERT_TRUE(a.Link(b));
    EXPECT_EQ(Read(a), (std::vector<int>{1, 2, 3})) << "at 505 bytes the last 10 would pass 512";
    int count = 0;
    EXPECT_TRUE(*a.GetReply(count) == 42 && count == 1);
    EXPECT_EQ(Read(b), std::vector<int>{4}) << "the message that did not fit";
    EXPECT_TRUE(b.Ident() == 0 && b.valid());

    CPackDisp c(Mes(CMesDisp::Event, 16));
    ASSERT_TRUE(c.AddReply(acks, 2));
    CPackDisp big(Mes(CMesDisp::Event, 490));   // 22 + 490 = 512
    EXPECT_FALSE(c.Link(big));
    EXPECT_EQ(c.ReplyCount(), 2);
    EXPECT_EQ(Read(big).size(), 1u);
    CPackDisp voice(Mes(CMesDisp::Voice, 10));
    EXPECT_FALSE(c.Link(voice));
    EXPECT_TRUE(voice.isVoice()) << "a voice packet is left as it was";
    ASSERT_TRUE(voice.AddMes(Mes(CMesDisp::Event, 10)));   // voice first, no longer the flag
    EXPECT_FALSE(c.Link(voice)) << "a voice message stops the moving";
    EXPECT_EQ(Read(voice).size(), 2u);
}
