// The field maps of the link timing, link record, description and voice
// views, image in and image out, without windows.
#include "base/StringRes.h"
#include "link/CIdentV7.h"
#include "link/CLBNVRAM.h"
#include "unit/DescriptorFields.h"
#include "unit/DirectFields.h"
#include "unit/LinkFields.h"
#include "unit/VoiceFields.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// Every byte that differs between two images.
std::vector<int> Diff(const CLBNVRAM& a, const CLBNVRAM& b)
{
    std::vector<int> at;
    for (int i = 0; i < CLBNVRAM::kSize; ++i)
        if (a.m_Data[i] != b.m_Data[i]) at.push_back(i);
    return at;
}

void PutRecord(CLBNVRAM& img, int index, int type, int node, std::initializer_list<unsigned char> ip)
{
    const int p = kDirectBase + kDirectSize * index;
    img.SetEth(p, static_cast<unsigned char>(type));
    unsigned char id[4];
    CIdentV7(node, 0).GetValue(id);
    img.SetEth(p + 1, id, 4);
    img.SetEth(p + 10, ip.begin(), 4);
}

}  // namespace

TEST(LinkFields, EachFieldReadsItsScaleDefaultsWhenErasedRefusesItsRangeAndWritesOnlyItsByte)
{
    g_StringENU = true;
    LinkFields f;
    f.Read(CLBNVRAM());
    EXPECT_TRUE(f.m_Changed);
    EXPECT_EQ(std::vector<int>(f.m_Value, f.m_Value + kLinkFields), (std::vector<int>{5, 2, 20, 180, 3, 2, 20, 0, 10}));
    f.SetDefaults();
    EXPECT_EQ(std::vector<int>(f.m_Value, f.m_Value + kLinkFields), (std::vector<int>{7, 5, 20, 20, 3, 1, 20, 80, 10}));

    // One field changed: its stored byte, the value read back; or its refusal, with nothing written.
    struct Case { int field; int shown; int stored; int back; };   // stored -1: refused
    for (const Case& c : {Case{0, 10, 10, 10}, {0, 0, -1, 0}, {1, 3, 30, 3}, {1, 11, -1, 0}, {2, 240, 240, 240},
                          {2, 9, -1, 0}, {3, 15, 1, 10}, {3, 256, 0, 0}, {3, 600, 8, 80}, {3, 601, -1, 0},
                          {4, 40, 240, 40}, {4, 0, -1, 0}, {5, 7, 42, 7}, {5, 41, -1, 0}, {6, 10, 10, 10},
                          {6, 241, -1, 0}, {7, 0, 0, 0}, {7, 121, -1, 0}, {8, 120, 120, 120}, {8, 1, -1, 0}}) {
        const LinkField& lf = LinkFieldMap[c.field];
        CLBNVRAM img;
        LinkFields w;
        w.SetDefaults();
        w.m_Value[c.field] = c.shown;
        DBString message;
        const int refused = w.Write(img, message);
        if (c.stored < 0) {
            EXPECT_EQ(refused, c.field) << lf.m_Name;
            EXPECT_EQ(message, lf.m_Range ? _S_(lf.m_Label) + DBString(lf.m_Range) : DBString(L"AutoDog 2..120"));
            EXPECT_TRUE(Diff(img, CLBNVRAM()).empty());
            continue;
        }
        ASSERT_EQ(refused, -1) << lf.m_Name;
        EXPECT_EQ(img.GetEth(lf.m_Pos), c.stored) << lf.m_Name << " " << c.shown;
        EXPECT_EQ(Diff(img, CLBNVRAM()).size(), size_t(kLinkFields)) << "the nine bytes and nothing else";
        LinkFields r;
        r.Read(img);
        EXPECT_TRUE(r.m_Value[c.field] == c.back && !r.m_Changed) << lf.m_Name;
    }
}

TEST(DirectList, RowsShowEachRecordTypeAndNamesOnlyWithTheDomainFeature)
{
    CLBNVRAM img;
    PutRecord(img, 0, 1, 101, {10, 0, 0, 1});
    PutRecord(img, 2, 0, 103, {0, 0, 0, 0});
    PutRecord(img, 3, 2, 104, {10, 0, 0, 4});
    PutRecord(img, 5, 1, 106, {10, 0, 0, 6});
    img.Set(kDirectBase + kDirectSize * 5, "host.example", 13);
    const unsigned char ports[4] = {0x1F, 0x40, 0xFF, 0xFE};   // 8000, 65534
    img.SetEth(kDirectBase + 6, ports, 4);

    std::vector<DirectRow> rows = DirectList::Rows(img, true);
    ASSERT_EQ(rows.size(), 4u) << "types 3 and above are empty slots";
    EXPECT_TRUE(rows[0].m_Index == 0 && rows[0].m_Col[0] == L"101" && rows[0].m_Col[1] == L"10.0.0.1");
    EXPECT_TRUE(rows[0].m_Col[2] == L"8000" && rows[0].m_Col[3] == L"65534");
    EXPECT_TRUE(rows[1].m_Index == 2 && rows[1].m_Col[1] == L"-" && rows[1].m_Col[3] == L"-");
    EXPECT_EQ(rows[2].m_Col[1], L"*10.0.0.4");
    EXPECT_TRUE(rows[2].m_Col[4] == L"0.0.0.0" && rows[2].m_Col[5] == L"5") << "erased alternative and return";
    EXPECT_EQ(rows[3].m_Col[1], L"host.example");
    EXPECT_EQ(DirectList::Rows(img, false)[3].m_Col[1], L"10.0.0.6") << "no domain feature: the address";
    EXPECT_EQ(DirectList::FreeIndex(img), 1);
    img.SetEth(kDirectBase + kDirectSize, 1);
    EXPECT_EQ(DirectList::FreeIndex(img), 2) << "a type-0 row is free";
}

TEST(DirectList, ReadReplacesErasedFieldsAndWriteKeepsTheBytesItDoesNotOwn)
{
    CLBNVRAM img;
    DirectRecord r = DirectList::Read(img, 4);
    EXPECT_TRUE(r.m_Changed && r.m_Type == 1 && r.m_Node == 0 && r.m_Return == 5);
    EXPECT_TRUE(r.m_PortData == 48000 && r.m_PortVoice == 48001 && r.m_IP == 0 && r.m_AltIP == 0);
    EXPECT_TRUE(r.m_Domain.empty());

    for (bool domains : {false, true}) {
        CLBNVRAM before;
        const int p = kDirectBase + kDirectSize * 4;
        for (int i = 0; i < kDirectSize; ++i) before.SetEth(p + i, static_cast<unsigned char>(0x40 + i));
        CLBNVRAM img2 = before;
        // Type, node, return time, data and voice port, 10.0.0.4, 10.0.0.5, name.
        const DirectRecord w{2, 0xABCDE, 30, 5000, 65534, 0x0400000A, 0x0500000A, L"хост", false};
        DirectList::Write(img2, 4, w, domains);
        // Bytes 14..17 and 22..31 of the record stay, and the name moves only with the feature.
        for (int at : Diff(before, img2)) {
            const int off = at - 0x400 - p;
            const bool own = (off >= 0 && off < 14) || (off >= 18 && off < 22);
            const bool name = at >= p && at < p + kDirectSize;
            EXPECT_TRUE(own || (domains && name)) << "byte " << at;
        }
        DirectRecord back = DirectList::Read(img2, 4);
        EXPECT_TRUE(back.m_Type == 2 && back.m_Node == 0xABCDE && back.m_Return == 30 && back.m_PortData == 5000 &&
                    back.m_PortVoice == 65534 && back.m_IP == w.m_IP && back.m_AltIP == w.m_AltIP);
        EXPECT_EQ(back.m_Domain, domains ? DBString(L"хост") : DBString(L"")) << domains;

        DirectList::Delete(img2, 4, domains);
        EXPECT_EQ(DirectList::Type(img2, 4), 0xFF);
        Bytes rec(kDirectSize), name(kDirectSize);
        img2.GetEth(p, rec.data(), kDirectSize);
        img2.Get(p, name.data(), kDirectSize);
        EXPECT_EQ(rec, Bytes(kDirectSize, 0xFF));
        if (domains) {
            EXPECT_EQ(name, Bytes(kDirectSize, 0));
        }
    }
}

TEST(DirectList, EachCheckRefusesInItsOrder)
{
    DirectRecord good;
    good.m_Node = 500;
    good.m_IP = 1;
    EXPECT_EQ(DirectList::Check(good, false, {400, 600}), 0);
    struct Case { void (*change)(DirectRecord&); bool alt; unsigned short refusal; };
    const Case cases[] = {
        {[](DirectRecord& r) { r.m_Node = 0; }, false, DirectList::kIdIdent},
        {[](DirectRecord& r) { r.m_Node = 16711679; }, false, DirectList::kIdIdent},
        {[](DirectRecord& r) { r.m_Node = 16711678; }, false, 0},
        {[](DirectRecord& r) { r.m_PortData = 4999; }, false, DirectList::kIdPort},
        {[](DirectRecord& r) { r.m_PortVoice = 65535; }, false, DirectList::kIdPort},
        {[](DirectRecord& r) { r.m_IP = 0; }, false, DirectList::kIdNoAddress},
        {[](DirectRecord& r) { r.m_IP = 0, r.m_Domain = L"a.example"; }, false, 0},
        {[](DirectRecord& r) { r.m_Return = 241; }, false, 0},
        {[](DirectRecord& r) { r.m_Return = 0, r.m_AltIP = 2; }, true, DirectList::kIdReturn},
        {[](DirectRecord& r) { r.m_Return = 240; }, true, DirectList::kIdNoAltIP},
        {[](DirectRecord& r) { r.m_PortVoice = 48000; }, false, DirectList::kIdSamePorts},
        {[](DirectRecord& r) { r.m_Node = 600; }, false, DirectList::kIdDuplicate},
    };
    for (const Case& c : cases) {
        DirectRecord r = good;
        c.change(r);
        EXPECT_EQ(DirectList::Check(r, c.alt, {400, 600}), c.refusal) << &c - cases;
    }
}

TEST(DescriptorAndVoice, TextAndHexComeFromTheKindsAddressAndAnEditWritesOnlyThe96Bytes)
{
    CLBNVRAM img;
    img.Set(0x180, "\xCB\xE8\xF4\xF2 7", 6);   // "Лифт 7"
    img.Set(0x186, "\x00\xAA", 2);             // behind the terminator
    DescriptorFields d;
    d.Read(img, 0x180);
    EXPECT_EQ(d.m_Text, L"Лифт 7");
    EXPECT_EQ(d.m_Hex.substr(0, 26), L"CB E8 F4 F2 20 37 00 AA FF");
    EXPECT_EQ(std::count(d.m_Hex.begin(), d.m_Hex.end(), L'\n'), 5) << "six lines of sixteen";
    d.Read(img, 0x100);
    EXPECT_TRUE(d.m_Text.empty()) << "erased";

    const CLBNVRAM before = img;
    d.m_Text = L"Подъезд 2";
    d.Write(img, 0x180);
    const std::vector<int> diff = Diff(before, img);
    ASSERT_FALSE(diff.empty());
    EXPECT_TRUE(diff.front() >= 0x180 && diff.back() < 0x180 + 96);
    Bytes tail(img.m_Data + 0x189, img.m_Data + 0x180 + 96);
    EXPECT_EQ(tail, Bytes(96 - 9, 0)) << "zero-padded";
    d.Read(img, 0x180);
    EXPECT_EQ(d.m_Text, L"Подъезд 2");

    CLBNVRAM v;
    PutRecord(v, 1, 1, 21, {1, 2, 3, 4});
    PutRecord(v, 6, 2, 26, {1, 2, 3, 4});
    const unsigned char port[2] = {0xBB, 0x81};   // 48001 + 0x0B80
    v.SetEth(kDirectBase + kDirectSize * 6 + 8, port, 2);
    VoiceFields f;
    f.Read(v);
    EXPECT_TRUE(f.m_OwnErased && f.m_OwnPort == 46001);
    ASSERT_EQ(f.m_Links.size(), 2u);
    EXPECT_TRUE(f.m_Links[0].m_Node == 21 && f.m_Links[0].m_Port == 48001) << "erased: the record's default";
    EXPECT_TRUE(f.m_Links[1].m_Node == 26 && f.m_Links[1].m_Port == 0xBB81);
    const unsigned char own[2] = {0xB3, 0xB1};   // 46001
    v.SetEth(0x103, own, 2);
    f.Read(v);
    EXPECT_TRUE(!f.m_OwnErased && f.m_OwnPort == 46001);
}
