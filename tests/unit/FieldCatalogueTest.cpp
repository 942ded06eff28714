// The field catalogue: every byte a page writes belongs to one of its named
// fields, and the difference of two images names exactly the fields that moved.
#include "base/StringRes.h"
#include "link/CKeySys.h"
#include "unit/DescriptorFields.h"
#include "unit/DirectFields.h"
#include "unit/FieldCatalogue.h"
#include "unit/LinkFields.h"
#include "unit/SaveCheck.h"
#include "unit/SystemFields.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace {

// Addresses of the catalogue's fields whose names begin with `page`.
std::set<int> Covered(const std::string& page)
{
    std::set<int> adr;
    for (const FieldDef& f : FieldCatalogue::All())
        if (std::string(f.m_Name).rfind(page, 0) == 0)
            for (int i = 0; i < f.m_Len; ++i) adr.insert(f.m_Adr + i);
    return adr;
}

// Every byte that differs between the images lies in a field of `page`.
void ExpectNamed(const CLBNVRAM& before, const CLBNVRAM& after, const std::string& page)
{
    const std::set<int> covered = Covered(page);
    int written = 0;
    for (int i = 0; i < CLBNVRAM::kSize; ++i)
        if (before.m_Data[i] != after.m_Data[i] || before.IsKnovByte(i) != after.IsKnovByte(i)) {
            ++written;
            EXPECT_TRUE(covered.count(i)) << page << std::hex << i << " is written but named by no field";
        }
    EXPECT_GT(written, 0) << page;
}

}  // namespace

TEST(FieldCatalogue, EveryByteAPageWritesIsOneOfItsNamedFields)
{
    CLBNVRAM blank;
    SystemFields sys;
    sys.Read(blank);
    sys.m_Node = 777, sys.m_MAC = L"001122334455", sys.m_Key = sys.m_Key2 = L"Secret-1", sys.m_KeyChanged = true;
    sys.m_PingOff = true, sys.m_Zone = 3, sys.m_NTP = L"time.example";
    CLBNVRAM after = blank;
    ASSERT_EQ(sys.Write(after, true).m_Refused, 0);
    ExpectNamed(blank, after, "System.");

    LinkFields timing;
    timing.SetDefaults();
    DBString message;
    after = blank;
    ASSERT_EQ(timing.Write(after, message), -1);
    ExpectNamed(blank, after, "Parameters.");

    DirectRecord rec;
    rec.m_Type = 2, rec.m_Node = 5, rec.m_IP = 0x0100000A, rec.m_AltIP = 0x0200000A, rec.m_Domain = L"lift.example";
    after = blank;
    for (int i = 0; i < kDirectRecords; ++i) DirectList::Write(after, i, rec, true);
    ExpectNamed(blank, after, "Links.");

    DescriptorFields descr;
    descr.m_Text = L"Lift 7";
    after = blank;
    descr.Write(after, CLBNVRAM::kDescrCM3V7);
    descr.Write(after, CLBNVRAM::kDescrOld);
    ExpectNamed(blank, after, "Descriptors.");

    std::set<std::string> names;
    for (const FieldDef& f : FieldCatalogue::All()) {
        EXPECT_TRUE(names.insert(f.m_Name).second) << f.m_Name << " twice";
        EXPECT_TRUE(f.m_Adr >= 0 && f.m_Adr + f.m_Len <= CLBNVRAM::kSize) << f.m_Name;
        EXPECT_FALSE(_S_(f.m_Label).empty()) << f.m_Name;
        EXPECT_EQ(FieldCatalogue::Find(f.m_Name), &f);
    }
}

TEST(FieldCatalogue, DiffNamesExactlyTheFieldsWhoseBytesDifferAndNeverAKey)
{
    std::mt19937 rng(3);
    const std::vector<FieldDef>& all = FieldCatalogue::All();
    for (int round = 0; round < 200; ++round) {
        CLBNVRAM a;
        for (auto& b : a.m_Data) b = static_cast<unsigned char>(rng());
        CLBNVRAM b = a;
        std::set<std::string> moved;
        for (int n = rng() % 4; n > 0; --n) {
            const FieldDef& f = all[rng() % all.size()];
            if (!moved.insert(f.m_Name).second) continue;
            const int at = f.m_Adr + static_cast<int>(rng() % f.m_Len);
            b.m_Data[at] ^= f.m_Mask ? f.m_Mask & -f.m_Mask : static_cast<unsigned char>(1 + rng() % 255);
        }
        std::set<std::string> listed;
        for (const FieldCatalogue::Change& c : FieldCatalogue::Diff(a, b)) {
            listed.insert(c.m_Field->m_Name);
            if (FieldCatalogue::Hidden(*c.m_Field)) EXPECT_TRUE(c.m_Old.empty() && c.m_New == "changed");
            else EXPECT_NE(c.m_Old, c.m_New) << c.m_Field->m_Name;
        }
        EXPECT_EQ(listed, moved);
    }

    CLBNVRAM img;
    const FieldDef* key = FieldCatalogue::Find("System.Key");
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(FieldCatalogue::Value(*key, img), "not set");
    CKeySys k;
    k.Create(L"Secret-1");
    img.Set(key->m_Adr, k.Data(), 16);
    EXPECT_EQ(FieldCatalogue::Value(*key, img), "set");
    const FieldDef& password = *FieldCatalogue::Find("MQTT.Password");
    EXPECT_EQ(FieldCatalogue::Value(password, img), "not set");
    CLBNVRAM withPassword = img;
    withPassword.Set(password.m_Adr, "s3cret", 7);
    EXPECT_EQ(FieldCatalogue::Value(password, withPassword), "set");
    EXPECT_EQ(FieldCatalogue::ChangeLines(img, withPassword).find(L"s3cret"), DBString::npos);

    CLBNVRAM keyed = img;
    keyed.m_Data[key->m_Adr + 3] ^= 1;
    keyed.m_Data[FieldCatalogue::Find("System.PingOff")->m_Adr] = 1;
    g_StringENU = true;
    EXPECT_EQ(FieldCatalogue::ChangeText(img, keyed, {0x400}), DBString(L"Key: changed\nPing disabled: 255 -> 1\nBlocks to write: 0x400"));
    EXPECT_EQ(FieldCatalogue::ChangeText(img, img, {}), _S_(43000));

    const FieldDef& ntp = *FieldCatalogue::Find("System.NTP");
    EXPECT_EQ(FieldCatalogue::Value(ntp, img), "") << "erased";
    img.Set(ntp.m_Adr, "\xE2\xF0\xE5\xEC\xFF", 6);   // CP1251 with its end
    EXPECT_EQ(FieldCatalogue::Value(ntp, img), "время");
}

TEST(SaveCheck, NamesTheFieldsThatMovedAndCountsOtherBytesOfTheWrittenBlocksOnly)
{
    CLBNVRAM written;
    for (int i = 0; i < CLBNVRAM::kSize; ++i) written.m_Data[i] = static_cast<unsigned char>(i * 13);
    SaveCheck check;
    check.Arm(written, {0x440});
    EXPECT_TRUE(check.Compare(written).Held());
    CLBNVRAM read = written;
    read.m_Data[0x441] ^= 1;   // in the written block, in no field
    read.m_Data[0x7F0] ^= 1;   // in no field, not written
    read.m_Data[FieldCatalogue::Find("System.PingOff")->m_Adr] ^= 1;
    const SaveCheck::Outcome o = check.Compare(read);
    EXPECT_FALSE(o.Held());
    EXPECT_EQ(o.m_OtherBytes, 1);
    ASSERT_EQ(o.m_Fields.size(), 1u);
    EXPECT_STREQ(o.m_Fields[0].m_Field->m_Name, "System.PingOff");
}
