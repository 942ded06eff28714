// The System page's field map, its checks before a save, and the time status
// texts, without windows.
#include "base/StringRes.h"
#include "link/CIdentV7.h"
#include "link/CKeySys.h"
#include "link/CLBNVRAM.h"
#include "unit/SystemFields.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Eth(const CLBNVRAM& img, int adr, int len)
{
    Bytes b(len);
    img.GetEth(adr, b.data(), len);
    return b;
}

void PutIdent(CLBNVRAM& img, int adr, int node)
{
    unsigned char v[4];
    CIdentV7(node, 3).GetValue(v);
    img.SetEth(adr, v, 4);
}

}  // namespace

TEST(SystemFields, ReadTakesFallbacksSaysWhichAndNeverShowsNodeZero)
{
    struct Case { int ident, fallback; int node; bool fromFallback; };
    // -1: the field is erased.
    for (const Case& c : {Case{77, 55, 77, false}, Case{-1, 55, 55, true}, Case{0, 55, 1, false},
                          Case{-1, -1, 1, true}}) {
        CLBNVRAM img;
        if (c.ident >= 0) PutIdent(img, 0x01, c.ident);
        if (c.fallback >= 0) PutIdent(img, 0x36, c.fallback);
        SystemFields f;
        f.Read(img);
        EXPECT_EQ(f.m_Node, c.node) << c.ident << "/" << c.fallback;
        EXPECT_EQ(f.m_IdentFallback, c.fromFallback) << c.ident << "/" << c.fallback;
    }

    CLBNVRAM img;
    const Bytes mac = {0x00, 0x1A, 0x2b, 0xC3, 0xFF, 0x09}, fallback = {1, 2, 3, 4, 5, 6};
    img.SetEth(0x3A, fallback.data(), 6);
    SystemFields f;
    f.Read(img);
    EXPECT_TRUE(f.m_MAC == L"010203040506" && f.m_MACFallback);
    img.SetEth(0x05, mac.data(), 6);
    f.Read(img);
    EXPECT_TRUE(f.m_MAC == L"001A2BC3FF09" && !f.m_MACFallback);
}

TEST(SystemFields, KeyZoneAndNtpServerReadAsTheUnitMeansThem)
{
    CLBNVRAM img;
    Bytes key(16, 0xFF);
    key[3] = 0x00;
    img.SetEth(0x0B, key.data(), 16);
    SystemFields f;
    f.m_NTP = L"kept";
    f.Read(img);
    EXPECT_TRUE(f.m_Key.empty() && f.m_Key2.empty()) << "0x00 and 0xFF alone are no key";
    EXPECT_EQ(f.m_NTP, L"kept") << "an erased server name leaves the text";
    key[9] = 0xFE;
    img.SetEth(0x0B, key.data(), 16);
    const char ntp[34] = "  \xEF\xF0\xEE\xE1\xE0.ntp.example.org.with32.b\xFF";   // "проба", 32 bytes, no terminator
    img.SetEth(0x160, ntp, 32);
    f.Read(img);
    EXPECT_TRUE(f.m_Key == L"********" && f.m_Key2 == L"********");
    EXPECT_EQ(f.m_NTP, L"проба.ntp.example.org.with32.b");

    // Zone: 0..49 stand, anything above reads as "not chosen" and goes back as 0xFF.
    for (auto [stored, shown, written] : {std::tuple{49, 49, 49}, {50, 50, 0xFF}, {254, 50, 0xFF}, {0xFF, 50, 0xFF}}) {
        img.SetEth(0x1D, static_cast<unsigned char>(stored));
        f.Read(img);
        EXPECT_EQ(f.m_Zone, shown) << stored;
        ASSERT_EQ(f.Write(img, false).m_Refused, 0);
        EXPECT_EQ(img.GetEth(0x1D), written) << stored;
    }
    f.m_NTP = L"  проба.ntp.example.org.with32.b, cut here";
    ASSERT_EQ(f.Write(img, false).m_Refused, 0);
    EXPECT_EQ(Eth(img, 0x160, 33), Bytes(ntp, ntp + 33)) << "a full name has no terminator, and no more is written";
}

TEST(SystemFields, WriteStoresIdentifierAndZeroMacOnlyWhenEditingIsAllowed)
{
    CLBNVRAM img;
    SystemFields f;
    f.m_Node = 123456;
    f.m_MAC = L"001a2BC3ff09";
    f.m_PingOff = true;
    f.m_Zone = 28;
    ASSERT_EQ(f.Write(img, false).m_Refused, 0);
    EXPECT_EQ(Eth(img, 0x01, 10), Bytes(10, 0xFF)) << "ChgMacAddr off: neither identifier nor MAC";
    EXPECT_TRUE(img.GetEth(0x1C) == 1 && img.GetEth(0x1D) == 28);
    EXPECT_EQ(Eth(img, 0x160, 32), Bytes(32, 0)) << "an empty server name is a zeroed field";

    const SystemFields::Result r = f.Write(img, true);
    ASSERT_EQ(r.m_Refused, 0);
    EXPECT_FALSE(r.m_KeyWritten);
    EXPECT_EQ(Eth(img, 0x01, 4), (Bytes{0, 0x40, 0xE2, 0x01})) << "node 123456, device 0";
    EXPECT_EQ(Eth(img, 0x05, 6), Bytes(6, 0)) << "the MAC is checked but stored as zeros";
    EXPECT_EQ(Eth(img, 0x0B, 16), Bytes(16, 0xFF)) << "an unchanged key is not written";
}

TEST(SystemFields, RefusalsNameTheFaultAndLeaveAllButTheKeyUntouched)
{
    g_StringENU = true;
    CKeySys expected;
    expected.Create(L"Secret-1");
    struct Case { const wchar_t *key, *key2, *mac; unsigned short id; const wchar_t* message; bool keyWritten; };
    const Case cases[] = {
        {L"Secret-1", L"Secret-2", L"001A2BC3FF09", 10023, L"Different values in key and repeat key", false},
        {L"ключ1й", L"ключ1й", L"001A2BC3FF09", 10024, L"ключй - These characters are not allowed", false},
        {L"Secret-1", L"Secret-1", L"001A2BC3FF0", 10031, L"MAC address must be 12 symbols long", true},
        {L"Secret-1", L"Secret-1", L"001A2BC3FF0G", 10032, L"Bad symbol in MAC address", true},
    };
    for (const Case& c : cases) {
        CLBNVRAM img;
        SystemFields f;
        f.m_Key = c.key;
        f.m_Key2 = c.key2;
        f.m_KeyChanged = true;
        f.m_MAC = c.mac;
        f.m_Node = 5;
        const SystemFields::Result r = f.Write(img, true);
        EXPECT_EQ(r.m_Refused, c.id);
        EXPECT_EQ(r.m_Message.find(c.message), 0u) << r.m_Message.ToStr();
        EXPECT_EQ(r.m_KeyWritten, c.keyWritten) << c.id;
        CLBNVRAM want;
        if (c.keyWritten) want.SetEth(0x0B, expected.Data(), 16);
        EXPECT_EQ(0, std::memcmp(img.m_Data, want.m_Data, sizeof img.m_Data)) << c.id;
    }
}

TEST(SystemStatus, LocalTimeFollowsTheCalendarTheZoneAndThe2036Era)
{
    g_StringENU = true;
    struct Case { uint32_t zone; uint64_t ntp; const wchar_t* text; };
    const Case cases[] = {
        {21, 3918196800u, L"29.02.2024 12:00:00"},   // leap day
        {21, 3886617599u, L"28.02.2023 23:59:59"},   // common year: the next second is March
        {21, 3886617600u, L"01.03.2023 00:00:00"},
        {28, 3886606800u, L"01.03.2023 00:00:00"},   // UTC+03:00
        {21, 0x80000000u, L"20.01.1968 03:14:08"},   // top bit set: the first era
        {21, 1, L"07.02.2036 06:28:17"},             // top bit clear: the era from 2036
        {0, 100, L"06.02.2036 18:29:56"},            // an offset that takes the sum below zero
        {50, 0x7FFFFFFF, L"26.02.2104 09:42:23"},    // no zone, no offset; 2100 is no leap year
    };
    for (const Case& c : cases)
        EXPECT_EQ(DecodeSystemStatus(c.zone, c.ntp, 0, 0).m_LocalTime, c.text) << c.ntp;

    SystemStatusText t = DecodeSystemStatus(28, 3918196800u, 2, 207);
    EXPECT_TRUE(t.m_Zone == L"UTC+03:00 Belarus" && t.m_Source == L"VELK NTP");
    EXPECT_TRUE(t.m_Coloured && t.m_Quality == qualityYellow);
    EXPECT_EQ(DecodeSystemStatus(50, 3918196800u, 3, 0).m_Zone, L"") << "no zone chosen, time valid";

    t = DecodeSystemStatus(28, 3918196800u, 4, 240);
    EXPECT_TRUE(t.m_Zone == L"UTC+03:00 Belarus" && t.m_LocalTime == L"not defined" && t.m_Source == L"not defined");
    EXPECT_TRUE(t.m_Coloured && t.m_Quality == qualityRed) << "the time is there, only its source is unknown";
    t = DecodeSystemStatus(50, 0, 0, 0);
    EXPECT_TRUE(t.m_Zone == L"not defined" && t.m_LocalTime == L"not defined" && !t.m_Coloured);

    const std::pair<uint32_t, typQuality> bands[] = {{159, qualityGreen},  {160, qualityYellow}, {208, qualityOrange},
                                                     {239, qualityOrange}, {240, qualityRed},    {255, qualityRed}};
    for (auto [q, band] : bands) EXPECT_EQ(QualityBand(q), band) << q;
}
