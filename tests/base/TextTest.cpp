// Text conversions, formatting and hashing of DBString.
#include "base/DBString.h"
#include "base/md5.h"

#include <gtest/gtest.h>

TEST(DBStringCp1251, EveryCharacterRoundTripsAgainstThePublishedTable)
{
    // CP1251 bytes 0x80..0xBF as Unicode, from the published code page table;
    // 0 marks 0x98, which the code page leaves undefined. 0xC0..0xFF are U+0410..U+044F.
    const char32_t high[64] = {
        0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021, 0x20AC, 0x2030, 0x0409, 0x2039, 0x040A,
        0x040C, 0x040B, 0x040F, 0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0,      0x2122,
        0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F, 0x00A0, 0x040E, 0x045E, 0x0408, 0x00A4, 0x0490, 0x00A6,
        0x00A7, 0x0401, 0x00A9, 0x0404, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x0407, 0x00B0, 0x00B1, 0x0406, 0x0456,
        0x0491, 0x00B5, 0x00B6, 0x00B7, 0x0451, 0x2116, 0x0454, 0x00BB, 0x0458, 0x0405, 0x0455, 0x0457};
    for (int b = 1; b < 256; ++b) {
        const char32_t expected = b < 0x80 ? b : b >= 0xC0 ? 0x0410 + (b - 0xC0) : high[b - 0x80];
        const std::string in(1, static_cast<char>(b));
        const DBString s = DBString().FromCP1251(in.c_str());
        if (expected == 0) {
            EXPECT_TRUE(s.empty()) << "byte 0x98 is undefined in CP1251";
            continue;
        }
        ASSERT_EQ(s.size(), 1u) << "byte " << b;
        EXPECT_EQ(static_cast<char32_t>(s[0]), expected) << "byte " << b;
        EXPECT_EQ(s.ToCP1251(), in) << "byte " << b;
    }
}

TEST(DBStringCp1251, ConversionStopsAtACharacterWithoutAFormAndAtTheBuffer)
{
    EXPECT_EQ(DBString(L"ab\u4E2Dcd").ToCP1251(), "ab");   // a CJK character has no CP1251 form
    EXPECT_EQ(DBString(L"ab\0cd", 5).ToCP1251(), "ab");    // the result ends at the first zero byte
    EXPECT_EQ(DBString(2000, L'Ж').ToCP1251().size(), 1024u);
}

TEST(DBStringUnicode, ValidTextRoundTripsAndBadTextGivesTheMarkers)
{
    DBString s("Привет, \xF0\x9F\x9A\xA1 lift");   // includes a code point above U+FFFF
    EXPECT_EQ(s.ToStr(), "Привет, \xF0\x9F\x9A\xA1 lift");
    // A broken sequence, an overlong form, an encoded surrogate, a cut at the end.
    for (const char* bad : {"\xC3\x28", "\xC0\xAF", "\xED\xA0\x80", "\xE2\x82"}) EXPECT_EQ(DBString(bad), L"?utf-32?");
    for (wchar_t bad : {0x110000, 0xD800}) EXPECT_EQ(DBString(1, bad).ToStr(), "?utf-8?");

    DBString pair(u"A\xD83D\xDEA1Я");
    ASSERT_EQ(pair.size(), 3u);
    EXPECT_EQ(static_cast<char32_t>(pair[1]), 0x1F6A1u);
    EXPECT_EQ(pair.ToUtf16(), std::u16string(u"A\xD83D\xDEA1Я"));
    const char16_t lone[] = {u'x', 0xDC00, u'y'};
    EXPECT_EQ(DBString::FromUtf16(lone, 3), DBString(L"x\uFFFDy"));
}

TEST(DBStringFormat, FormatsAndCutsAtTheBuffer)
{
    EXPECT_EQ(DBString().Format(L"%d-%ls-%02X", 42, L"ab", 10), L"42-ab-0A");
    EXPECT_EQ(DBString(L"a").AppendFormat(L"%ls", L""), L"a");
    DBString huge(40000, L'x');
    EXPECT_EQ(DBString().Format(L"%ls", huge.c_str()).size(), 0x7FFFu) << "cut, not overrun";
}

TEST(DBStringTrim, OnlyBlanksAreRemoved)
{
    EXPECT_EQ(DBString(L"   ").Trim(), L"");
    EXPECT_EQ(DBString(L"").Trim(), L"");
    EXPECT_EQ(DBString(L"  a b  ").Trim(), L"a b");
    EXPECT_EQ(DBString(L"\ta\n").Trim(), L"\ta\n");
    EXPECT_EQ(DBString(L" \ta ").Trim(), L"\ta");
}

TEST(DBStringParts, BoundsAreClampedAndMixedOperandsAreUtf8)
{
    DBString s(L"abcabc");
    EXPECT_EQ(s.Find(L'c', 3), 5);
    EXPECT_EQ(s.Find(L'z'), -1);
    EXPECT_EQ(s.Left(-1), L"");
    EXPECT_EQ(s.Left(99), L"abcabc");
    EXPECT_EQ(s.SubStr(1, 2), L"bc");
    EXPECT_EQ(s.SubStr(10), L"");
    EXPECT_EQ(s.Replace(L"bc", L"bcbc"), 2) << "the replacement itself is not searched again";
    EXPECT_EQ(s, L"abcbcabcbc");
    EXPECT_EQ(s.Replace(L"", L"x"), 0);
    EXPECT_EQ(DBString(L"Ко") + "нф", L"Конф");
    EXPECT_EQ("Ко" + DBString(L"нф"), L"Конф");
    EXPECT_EQ(DBString(L"Ко") + L'т', L"Кот");
    EXPECT_TRUE(DBString(L"Ко") == "Ко");
    s = L"Ко";
    s += "нф";
    EXPECT_EQ(s, L"Конф");
    EXPECT_EQ(DBString(L"Key-1!~ ").NotASCII(), L"");
    EXPECT_EQ(DBString(L"клюк\tk").NotASCII(), L"клю\t") << "each forbidden character once";
}

TEST(Md5, MatchesTheRfc1321SuiteAndPiecewiseInputAndHashesTheCp1251Form)
{
    const std::pair<const char*, const char*> suite[] = {
        {"", "D41D8CD98F00B204E9800998ECF8427E"},
        {"a", "0CC175B9C0F1B6A831C399E269772661"},
        {"abc", "900150983CD24FB0D6963F7D28E17F72"},
        {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
        {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "D174AB98D277D9F5A5611C2C9F419D9F"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57EDF4A22BE3C955AC49DA2E2107B67A"},
        {"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", "014842D480B571495A4A0363793F7367"},
    };
    // The last is not the RFC's: one whole block, taken in one update.
    for (const auto& [text, digest] : suite) EXPECT_EQ(DBString(text).Md5Hash(), DBString(digest)) << text;
    // 1000 bytes fed in pieces of 1 to 70 bytes: the buffered part must carry over.
    std::string data(1000, '\0');
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 7);
    md5 ctx;
    unsigned char digest[16];
    md5_starts(ctx);
    for (size_t pos = 0, step = 1; pos < data.size(); pos += step, step = step % 70 + 1)
        md5_update(ctx, data.data() + pos, std::min(step, data.size() - pos));
    md5_finish(ctx, digest);
    DBString hex;
    for (unsigned char b : digest) hex.AppendFormat(L"%02X", b);
    EXPECT_EQ(hex, L"DE809FF794E91B68F9E91A2B7030BCB0");
    // The hash is of the CP1251 form: "пароль" is EF E0 F0 EE EB FC.
    EXPECT_EQ(DBString(L"пароль").Md5Hash(), L"749789E4982B0C563F6729AAC100A614");
}
