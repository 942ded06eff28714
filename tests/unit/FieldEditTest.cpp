// Fields set by name: for every field of the catalogue, the text that the
// catalogue shows is taken back by the field's kind and reads the same; the
// System page's fields go through its own checks and refusals.
#include "base/StringRes.h"
#include "ctl/FieldEdit.h"
#include "ctl/Targets.h"

#include <gtest/gtest.h>

TEST(FieldEdit, EveryFieldReadsBackWhatItShowsAndRefusesNonsenseWithTheValidatorsWords)
{
    g_StringENU = true;
    CLBNVRAM shown;
    for (int i = 0; i < CLBNVRAM::kSize; ++i) {
        const unsigned char b = static_cast<unsigned char>('a' + i % 26);
        shown.Set(i, &b, 1);
    }
    for (const FieldDef& f : FieldCatalogue::All()) {
        if (f.m_Kind == FieldKind::LinkKey || f.m_Kind == FieldKind::Secret) continue;   // never shown
        const std::string text = FieldCatalogue::Value(f, shown);
        CLBNVRAM image;
        std::string why;
        ASSERT_TRUE(FieldEdit::Encode(f, text, image, why)) << f.m_Name << ": " << why;
        EXPECT_EQ(FieldCatalogue::Value(f, image), text) << f.m_Name;
        EXPECT_FALSE(FieldEdit::Encode(f, std::string(f.m_Len * 2 + 40, 'z'), image, why)) << f.m_Name;
        EXPECT_EQ(why.rfind(std::string(f.m_Name) + ": zz", 0), 0u) << why;
    }

    // The System page: its values together, its refusals in its words.
    std::vector<FieldSetting> set;
    std::string why;
    ASSERT_TRUE(FieldEdit::Parse({"System.NTP=ntp.example", "System.TimeZone=5", "System.Key=lift2024a"}, set, why));
    CLBNVRAM image = shown;
    image.SetEth(0x1C, static_cast<unsigned char>(1));   // ping off, as the page keeps it
    const CLBNVRAM before = image;
    ASSERT_TRUE(FieldEdit::Apply(set, image, why)) << why;
    EXPECT_EQ(FieldCatalogue::Value(*FieldCatalogue::Find("System.NTP"), image), "ntp.example");
    EXPECT_EQ(FieldCatalogue::Value(*FieldCatalogue::Find("System.TimeZone"), image), "5");
    EXPECT_EQ(FieldCatalogue::Diff(before, image).size(), 3u) << "the key, the zone and the server, nothing else";
    ASSERT_TRUE(FieldEdit::Parse({"System.MAC=00112233445G"}, set, why));
    EXPECT_FALSE(FieldEdit::Apply(set, image, why));
    EXPECT_EQ(why, _S_(10032).ToStr());
    // Pages that check values only: Wi-Fi on a fresh module, link timing.
    CLBNVRAM erased;
    ASSERT_TRUE(FieldEdit::Parse({"WiFi.IntEnable=1", "WiFi.IntPassword=abc"}, set, why));
    EXPECT_FALSE(FieldEdit::Apply(set, erased, why));
    EXPECT_EQ(why, _S_(10167).ToStr());
    ASSERT_TRUE(FieldEdit::Parse({"WiFi.IntEnable=1", "WiFi.IntPassword=abcdefgh1", "WiFi.IntName=lift"}, set, why));
    EXPECT_TRUE(FieldEdit::Apply(set, erased, why)) << why;
    EXPECT_EQ(FieldCatalogue::Value(*FieldCatalogue::Find("WiFi.IntName"), erased), "lift");
    ASSERT_TRUE(FieldEdit::Parse({"Parameters.repeats=250"}, set, why));
    EXPECT_FALSE(FieldEdit::Apply(set, erased, why));
    EXPECT_NE(why.find("1..10"), std::string::npos) << why;
    EXPECT_FALSE(FieldEdit::Parse({"System.NTP=a", "System.NTP=b"}, set, why));
    EXPECT_FALSE(FieldEdit::Parse({"System.NTP"}, set, why));

    // A targets line: quotes keep commas in a key; ports and identifiers are checked.
    CtlTarget t;
    ASSERT_TRUE(ParseTargetLine(R"(ip, 10.0.0.5 ,46001,77,"pa,ss""1")", t, why)) << why;
    EXPECT_EQ(t.key, "pa,ss\"1");
    EXPECT_EQ(t.port, 46001);
    EXPECT_FALSE(ParseTargetLine("ip,10.0.0.5,70000,77", t, why));
    EXPECT_FALSE(ParseTargetLine("cloud-key,host,5,aaa1bbbb", t, why)) << "three in a row";
    ASSERT_TRUE(ParseTargetLine("cloud-key,[::1]:4000,5,aa1bbcc2", t, why)) << why;
    EXPECT_EQ(t.host, "::1");
    EXPECT_EQ(t.port, 4000);
}
