#include "unit/FieldCatalogue.h"

#include "base/StringRes.h"
#include "link/CIdentV7.h"
#include "unit/NetFields.h"
#include "unit/SystemFields.h"

#include <cstdio>
#include <cstring>

namespace {

int Shift(unsigned char mask)
{
    int s = 0;
    while (mask && !(mask & 1)) mask >>= 1, ++s;
    return s;
}

bool Differs(const FieldDef& f, const CLBNVRAM& a, const CLBNVRAM& b)
{
    if (f.m_Mask)
        return ((a.m_Data[f.m_Adr] ^ b.m_Data[f.m_Adr]) & f.m_Mask) != 0;
    return std::memcmp(a.m_Data + f.m_Adr, b.m_Data + f.m_Adr, f.m_Len) != 0;
}

}  // namespace

void FieldCatalogue::Join(std::vector<FieldDef>& all, std::span<const FieldDef> page)
{
    all.insert(all.end(), page.begin(), page.end());
}

const std::vector<FieldDef>& FieldCatalogue::All()
{
    static const std::vector<FieldDef> all = [] {
        std::vector<FieldDef> v;
        Join(v, SystemFields::Map());
        Join(v, OwnFields::kMap);
        Join(v, WiFiFields::kMap);
        Join(v, MQTTFields::kMap);
        Join(v, G4Fields::kMap);
        return v;
    }();
    return all;
}

const FieldDef* FieldCatalogue::Find(std::string_view name)
{
    for (const FieldDef& f : All())
        if (name == f.m_Name) return &f;
    return nullptr;
}

std::string FieldCatalogue::Value(const FieldDef& f, const CLBNVRAM& image)
{
    const unsigned char* p = image.m_Data + f.m_Adr;
    char buf[64];
    switch (f.m_Kind) {
    case FieldKind::Byte: {
        int v = f.m_Mask ? (p[0] & f.m_Mask) >> Shift(f.m_Mask) : p[0];
        if (f.m_Inverted && f.m_Mask) v ^= f.m_Mask >> Shift(f.m_Mask);
        return std::to_string(v);
    }
    case FieldKind::PortBE:
        return std::to_string(p[0] << 8 | p[1]);
    case FieldKind::IPv4:
        std::snprintf(buf, sizeof buf, "%d.%d.%d.%d", p[0], p[1], p[2], p[3]);
        return buf;
    case FieldKind::Ident: {
        CIdentV7 id;
        id.SetValue(p);
        return std::to_string(id.GetNode());
    }
    case FieldKind::MAC:
        std::snprintf(buf, sizeof buf, "%02X%02X%02X%02X%02X%02X", p[0], p[1], p[2], p[3], p[4], p[5]);
        return buf;
    case FieldKind::Text: {
        // An erased field is empty; else the text runs to its first zero.
        std::string cp;
        for (int i = 0; i < f.m_Len && p[i] != 0 && p[0] != 0xFF; ++i) cp += static_cast<char>(p[i]);
        DBString text;
        return text.FromCP1251(cp.c_str()).ToStr();
    }
    case FieldKind::LinkKey:
        // As the System page reads it: only 0x00 and 0xFF bytes is no key.
        for (int i = 0; i < f.m_Len; ++i)
            if (p[i] != 0x00 && p[i] != 0xFF) return "set";
        return "not set";
    case FieldKind::Hex:
        break;
    }
    if (f.m_Mask) return Value({f.m_Name, f.m_Adr, 1, FieldKind::Byte, f.m_Label, f.m_Mask}, image);
    std::string hex;
    for (int i = 0; i < f.m_Len; ++i) {
        std::snprintf(buf, sizeof buf, "%02X", p[i]);
        hex += buf;
    }
    return hex;
}

std::vector<FieldCatalogue::Change> FieldCatalogue::Diff(const CLBNVRAM& before, const CLBNVRAM& after)
{
    std::vector<Change> changes;
    for (const FieldDef& f : All()) {
        if (!Differs(f, before, after)) continue;
        if (f.m_Kind == FieldKind::LinkKey) changes.push_back({&f, "", "changed"});
        else changes.push_back({&f, Value(f, before), Value(f, after)});
        // Bytes that the readable form does not show (behind a text's end,
        // beside an identifier's node) still change: then the bytes speak.
        if (changes.back().m_Old == changes.back().m_New) {
            FieldDef raw = f;
            raw.m_Kind = FieldKind::Hex;
            changes.back().m_Old = Value(raw, before);
            changes.back().m_New = Value(raw, after);
        }
    }
    return changes;
}

DBString FieldCatalogue::ChangeText(const CLBNVRAM& before, const CLBNVRAM& after, const std::vector<int>& blocks)
{
    DBString text = ChangeLines(before, after);
    if (text.empty() && blocks.empty()) return _S_(43000);
    text += _S_(43001);
    for (int adr : blocks) text.AppendFormat(L" 0x%03X", adr);
    return text;
}

DBString FieldCatalogue::ChangeLines(const CLBNVRAM& before, const CLBNVRAM& after)
{
    DBString text;
    for (const Change& c : Diff(before, after)) {
        text += _S_(c.m_Field->m_Label) + L": ";
        if (c.m_Field->m_Kind != FieldKind::LinkKey) text += DBString(c.m_Old) + L" -> ";
        text += DBString(c.m_New) + L"\n";
    }
    return text;
}

std::vector<std::pair<std::string, std::string>> FieldCatalogue::Readable(const CLBNVRAM& image)
{
    std::vector<std::pair<std::string, std::string>> fields;
    for (const FieldDef& f : All()) fields.emplace_back(f.m_Name, Value(f, image));
    return fields;
}
