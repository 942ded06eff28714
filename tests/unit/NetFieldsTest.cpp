// The network pages' field maps, walked as data, and what each page makes
// of erased fields, shared bytes, its cross-field checks and the status it shows.
#include "base/StringRes.h"
#include "link/CLBNVRAM.h"
#include "unit/NetFields.h"
#include "unit/StatusLB.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

const FieldMap kMaps[] = {OwnFields::kMap, WiFiFields::kMap, G4Fields::kMap, MQTTFields::kMap};

// A "used" image: every byte a value that no field would write by chance.
CLBNVRAM Filled()
{
    CLBNVRAM img;
    for (int i = 0; i < CLBNVRAM::kSize; ++i) img.m_Data[i] = static_cast<unsigned char>(0xA5 ^ i);
    return img;
}

// The addresses at which two images differ, and the bits there.
std::vector<std::pair<int, int>> Diff(const CLBNVRAM& a, const CLBNVRAM& b)
{
    std::vector<std::pair<int, int>> d;
    for (int i = 0; i < CLBNVRAM::kSize; ++i)
        if (a.m_Data[i] != b.m_Data[i]) d.emplace_back(i, a.m_Data[i] ^ b.m_Data[i]);
    return d;
}

class NetFields : public testing::Test {
protected:
    void SetUp() override { g_StringENU = true; }
};

}  // namespace

TEST_F(NetFields, EveryFieldOfEveryMapWritesOnlyItsOwnBytesAndBitsAndReadsBack)
{
    std::vector<int> owner(CLBNVRAM::kSize, 0);   // bits of each byte already claimed
    for (FieldMap map : kMaps) {
        for (const FieldDef& f : map) {
            SCOPED_TRACE(f.m_Name);
            EXPECT_TRUE(f.m_Adr >= 0x400 && f.m_Adr + f.m_Len <= 0x800);
            const bool bits = f.m_Mask != 0;
            const int mask = bits ? f.m_Mask : 0xFF;
            for (int i = 0; i < f.m_Len; ++i) {
                EXPECT_EQ(owner[f.m_Adr + i] & mask, 0) << "two fields claim the same bits";
                owner[f.m_Adr + i] |= mask;
            }
            const CLBNVRAM before = Filled();
            CLBNVRAM img = before;
            if (f.m_Kind == FieldKind::Text || f.m_Kind == FieldKind::Secret) {
                const DBString full(static_cast<size_t>(f.m_Len), L'x');
                SetText(img, f, full + L"cut");
                EXPECT_EQ(GetText(img, f), full) << "a text that fills the field has no terminator";
                SetText(img, f, L"ab");
                EXPECT_EQ(GetText(img, f), L"ab");
                EXPECT_EQ(img.m_Data[f.m_Adr + 2], 0) << "zero-padded";
            } else {
                const uint32_t value = bits ? 1u : f.m_Len == 1 ? 0x5Au : f.m_Len == 2 ? 0x1234u : 0x04030201u;
                SetNumber(img, f, value);
                EXPECT_EQ(GetNumber(img, f), value);
                if (f.m_Kind == FieldKind::IPv4) {
                    EXPECT_EQ(img.m_Data[f.m_Adr], 1) << "first dotted number first";
                }
                if (f.m_Kind == FieldKind::PortBE) {
                    EXPECT_EQ(img.m_Data[f.m_Adr], 0x12) << "high byte first";
                }
            }
            for (auto [adr, changed] : Diff(before, img)) {
                EXPECT_TRUE(adr >= f.m_Adr && adr < f.m_Adr + f.m_Len) << adr;
                EXPECT_EQ(changed & ~mask, 0) << "a bit of another field moved at " << adr;
            }
        }
    }
}

TEST_F(NetFields, EthernetTakesDefaultsForUnusableFieldsAndWritesWhatItHolds)
{
    CLBNVRAM img;   // erased
    OwnFields f;
    EXPECT_TRUE(f.Read(img));
    EXPECT_TRUE(f.m_Type == 0 && f.m_PortData == 46000 && f.m_PortVoice == 46001 && f.m_IP == 0 && f.m_DNS == 0);
    f.m_Type = 2, f.m_PortData = 70000, f.m_Login = L"абв";   // a port is cut to 16 bits, not refused
    f.Write(img);
    EXPECT_FALSE(f.Read(img)) << "nothing unusable left";
    EXPECT_TRUE(f.m_Type == 2 && f.m_PortData == 4464);
    EXPECT_EQ(f.m_Login, L"") << "a Cyrillic login is cut at its first letter";
    img.SetEth(0x100, 3);
    EXPECT_TRUE(f.Read(img) && f.m_Type == 0) << "an unknown type reads as DHCP and is a change";

    const std::pair<int, const wchar_t*> states[] = {{4, L"LEASED"},       {16, L"INIT_PPP"},  {33, L"STATIC DISCONNECT"},
                                                     {138, L"ERROR 138"}, {7, L"Status 7"}, {139, L"Status 139"}};
    for (auto [code, text] : states) EXPECT_EQ(DecodeStatusConnect(code), text);
}

TEST_F(NetFields, WiFiResetsAnUnconfiguredModuleKeepsForeignFlagBitsAndRefusesInOrder)
{
    CLBNVRAM img;   // erased: channel 0xFF
    WiFiFields f;
    EXPECT_TRUE(f.Read(img));
    EXPECT_TRUE(f.m_Channel == 1 && !f.m_ExtEnable && !f.m_IntEnable && !f.m_Specified && !f.m_Static);
    EXPECT_EQ(img.GetEth(0x380), 0) << "the flags byte is zeroed before the user does anything";

    img.SetEth(0x380, 0x1F);   // bit 7 clear: specified and static read as off
    img.SetEth(0x381, 6);
    img.SetEth(0x340, "\xD1\xE5\xF2\xFC", 5);   // "Сеть" in CP1251
    EXPECT_FALSE(f.Read(img));
    EXPECT_TRUE(f.m_ExtEnable && f.m_IntEnable && !f.m_Specified && !f.m_Static && f.m_Channel == 6);
    f.m_ExtName = L"office";
    f.m_IntPass = L"12345678";
    ASSERT_EQ(f.Write(img).m_Refused, 0);
    EXPECT_EQ(img.GetEth(0x380), 0x7F) << "bits 5 and 6 set, bits 2..4 and 7 as they were";
    img.SetEth(0x380, 0xE0);
    EXPECT_FALSE(f.Read(img));
    f.m_Specified = f.m_Static = true;
    ASSERT_EQ(f.Write(img).m_Refused, 0);
    EXPECT_EQ(img.GetEth(0x380), 0x80);

    struct Case { bool ext; const wchar_t* name; bool in; const wchar_t* pass; int channel; const wchar_t* message; };
    const Case cases[] = {
        {true, L"", true, L"1234567", 0, L"Not specified the name of the external network"},
        {false, L"", true, L"1234567", 0, L"The password to access the internal network may not be less than 8 characters"},
        {false, L"", false, L"1234567", 0, L"Channel must be in range 1..14"},
        {false, L"", false, L"", 15, L"Channel must be in range 1..14"},
        {false, L"", false, L"1234567", 14, nullptr},
    };
    for (const Case& c : cases) {
        f.m_ExtEnable = c.ext, f.m_ExtName = c.name, f.m_IntEnable = c.in, f.m_IntPass = c.pass, f.m_Channel = c.channel;
        const CLBNVRAM before = img;
        const FieldsResult r = f.Write(img);
        EXPECT_EQ(r.m_Message, c.message ? c.message : L"") << c.channel;
        EXPECT_TRUE(!c.message || Diff(before, img).empty()) << "a refusal writes nothing";
    }
    EXPECT_EQ(GetText(img, WiFiFields::kMap[WiFiFields::fIntName]), L"Сеть") << "Cyrillic names survive";
}

TEST_F(NetFields, WiFiStatusTextsCoverTheOddStates)
{
    // Version, module, MAC and RSSI are shown by the GUI test; here the states it does not reach.
    CStatusWiFi s;
    s.m_State16 = 2, s.m_State19 = 7;
    WiFiStatusText t = DecodeWiFiStatus(s);
    EXPECT_TRUE(t.m_Mode == L"off" && t.m_Connection.empty() && t.m_RSSI.empty()) << "RSSI 0 shows nothing";
    s.m_State16 = 7, s.m_State19 = 5, s.m_Name = "home";
    t = DecodeWiFiStatus(s);
    EXPECT_TRUE(t.m_Mode == L"7" && t.m_Connection == L"home");
}

TEST_F(NetFields, MqttAndG4ReadAFreshImageAndKeepTheBitsThatAreNotTheirs)
{
    CLBNVRAM img;
    MQTTFields m;
    EXPECT_TRUE(m.Read(img)) << "the erased port takes 1883";
    EXPECT_TRUE(!m.m_Enable && m.m_Retained && m.m_SSL && m.m_QosPub == 0 && m.m_QosSub == 0 && m.m_Port == 1883);
    m.m_Enable = true, m.m_Retained = false, m.m_SSL = false, m.m_QosPub = 2, m.m_QosSub = 1;
    m.Write(img);
    EXPECT_EQ(img.GetEth(0x115), 0x1A) << "bit 3 keeps its 1";
    EXPECT_TRUE(img.GetEth(0x116) == 0x07 && img.GetEth(0x117) == 0x5B);
    img.SetEth(0x180, "\x80xyz", 5);
    EXPECT_FALSE(m.Read(img));
    EXPECT_EQ(m.m_Broker, L"") << "a byte of 0x80 or above ends the text";

    G4Fields g;
    img.SetEth(0x3C4, 0xFE);
    const DBString apn(40, L'a');
    g.m_APN = apn;
    g.m_Roaming = true;
    g.Write(img);
    EXPECT_EQ(img.GetEth(0x3C4), 0xFF);
    g.Read(img);
    EXPECT_TRUE(g.m_APN == apn && g.m_Roaming);
}
