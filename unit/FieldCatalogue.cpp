#include "unit/FieldCatalogue.h"

#include "base/StringRes.h"
#include "link/CIdentV7.h"
#include "unit/DescriptorFields.h"
#include "unit/DirectFields.h"
#include "unit/LinkFields.h"
#include "unit/NetFields.h"
#include "unit/SystemFields.h"

#include <cstdio>
#include <cstring>
#include <memory>

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

// The names of generated fields live as long as the catalogue.
const char* Keep(std::string name)
{
    static std::vector<std::unique_ptr<std::string>> names;
    names.push_back(std::make_unique<std::string>(std::move(name)));
    return names.back()->c_str();
}

void JoinLinkTiming(std::vector<FieldDef>& all)
{
    for (const LinkField& f : LinkFieldMap)
        all.push_back({Keep(std::string("Parameters.") + f.m_Name), CLBNVRAM::kEthBase + f.m_Pos, 1, FieldKind::Byte,
                       f.m_Label});
}

void JoinLinks(std::vector<FieldDef>& all)
{
    auto kind = [](typDirectEnc e) {
        switch (e) {
        case encIdent: return FieldKind::Ident;
        case encBE16: return FieldKind::PortBE;
        case encIPv4: return FieldKind::IPv4;
        case encCP1251: return FieldKind::Text;
        case encByte: break;
        }
        return FieldKind::Byte;
    };
    for (int r = 0; r < kDirectRecords; ++r)
        for (const DirectField& f : DirectFieldMap) {
            const int record = kDirectBase + r * kDirectSize + f.m_Offset;
            FieldDef def{Keep("Links." + std::to_string(r + 1) + "." + f.m_Name),
                         f.m_Domain ? record : CLBNVRAM::kEthBase + record, f.m_Width, kind(f.m_Enc), f.m_Label};
            def.m_Record = r + 1;
            all.push_back(def);
        }
}

void JoinDescriptor(std::vector<FieldDef>& all)
{
    // Where it lies goes by the unit's kind; both places are named.
    const DescriptorField now = DescriptorFields::Field(CLBNVRAM::kDescrCM3V7);
    const DescriptorField old = DescriptorFields::Field(CLBNVRAM::kDescrOld);
    all.push_back({"Descriptors.Text", now.m_Addr, now.m_Width, FieldKind::Text, now.m_Label});
    all.push_back({"Descriptors.TextOld", old.m_Addr, old.m_Width, FieldKind::Text, old.m_Label});
}

// The CP1251 bytes of a text field up to where the page ends it.
std::string TextOf(const FieldDef& f, const unsigned char* p)
{
    std::string cp;
    for (int i = 0; i < f.m_Len; ++i) {
        const unsigned char b = p[i];
        const bool end = f.m_Cut == FieldCut::Zero      ? b == 0 || p[0] == 0xFF
                         : f.m_Cut == FieldCut::Control ? static_cast<signed char>(b) < 0x20
                                                        : b < 0x20 || b == 0xFF;
        if (end) break;
        cp += static_cast<char>(b);
    }
    return cp;
}

}  // namespace

bool FieldCatalogue::Hidden(const FieldDef& field)
{
    return field.m_Kind == FieldKind::LinkKey || field.m_Kind == FieldKind::Secret;
}

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
        JoinLinkTiming(v);
        JoinLinks(v);
        JoinDescriptor(v);
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
        DBString text;
        return text.FromCP1251(TextOf(f, p).c_str()).ToStr();
    }
    case FieldKind::Secret:
        return TextOf(f, p).empty() ? "not set" : "set";
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
        if (Hidden(f)) changes.push_back({&f, "", "changed"});
        else changes.push_back({&f, Value(f, before), Value(f, after)});
        // Bytes that the readable form does not show (behind a text's end,
        // beside an identifier's node) still change: then the bytes speak.
        if (!Hidden(f) && changes.back().m_Old == changes.back().m_New) {
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
        if (c.m_Field->m_Record) text.AppendFormat(L"#%d ", c.m_Field->m_Record);
        text += _S_(c.m_Field->m_Label) + L": ";
        if (!Hidden(*c.m_Field)) text += DBString(c.m_Old) + L" -> ";
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
