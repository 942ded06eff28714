#include "ctl/FieldEdit.h"

#include "base/StringRes.h"
#include "link/CIdentV7.h"
#include "link/CKeySys.h"
#include "unit/FieldMap.h"
#include "unit/LinkFields.h"
#include "unit/NetFields.h"
#include "unit/SystemFields.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <span>

namespace {

constexpr unsigned short kIdInvalid = 25001;      // as the pages' validators say it
constexpr unsigned short kIdRange = 25002;
constexpr unsigned short kIdIPv4 = 25004;
constexpr unsigned short kIdMaxLength = 43100;

bool Refuse(const FieldDef& f, std::string_view value, unsigned short id, const std::string& more, std::string& why)
{
    why = std::string(f.m_Name) + ": " + std::string(value) + " - " + _S_(id).ToStr() + more;
    return false;
}

bool Range(const FieldDef& f, std::string_view value, long lo, long hi, std::string& why)
{
    return Refuse(f, value, kIdRange, " " + std::to_string(lo) + "..." + std::to_string(hi), why);
}

// A whole decimal number, as the validators read one.
bool Integer(std::string_view text, long& out)
{
    const std::string s(text);
    if (s.empty() || std::isspace(static_cast<unsigned char>(s[0]))) return false;
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(s.c_str(), &end, 10);
    if (errno || *end) return false;
    out = v;
    return true;
}

bool Hex(std::string_view text, unsigned char* out, int len)
{
    if (text.size() != static_cast<size_t>(len) * 2) return false;
    for (int i = 0; i < len; ++i) {
        const std::string pair(text.substr(static_cast<size_t>(i) * 2, 2));
        if (!std::isxdigit(static_cast<unsigned char>(pair[0])) || !std::isxdigit(static_cast<unsigned char>(pair[1])))
            return false;
        out[i] = static_cast<unsigned char>(std::strtol(pair.c_str(), nullptr, 16));
    }
    return true;
}

int Shift(unsigned char mask)
{
    int s = 0;
    while (mask && !(mask & 1)) mask >>= 1, ++s;
    return s;
}

// The System page, through its own checks and writing.
bool ApplySystem(std::span<const FieldSetting> settings, CLBNVRAM& image, std::string& why)
{
    SystemFields page;
    page.Read(image);
    bool editIdent = false;
    for (const FieldSetting& s : settings) {
        const FieldDef& f = *s.m_Field;
        const std::string_view name = f.m_Name;
        long v = 0;
        if (name == "System.Ident") {
            if (!Integer(s.m_Value, v)) return Refuse(f, s.m_Value, kIdInvalid, "", why);
            page.m_Node = static_cast<int32_t>(v);
            editIdent = true;
        } else if (name == "System.MAC") {
            page.m_MAC = DBString(s.m_Value);
            editIdent = true;
        } else if (name == "System.Key") {
            page.m_Key = page.m_Key2 = DBString(s.m_Value);
            page.m_KeyChanged = true;
        } else if (name == "System.PingOff") {
            if (!Integer(s.m_Value, v)) return Refuse(f, s.m_Value, kIdInvalid, "", why);
            if (v < 0 || v > 1) return Range(f, s.m_Value, 0, 1, why);
            page.m_PingOff = v != 0;
        } else if (name == "System.TimeZone") {
            // The image shows a zone that is not chosen as 255.
            if (!Integer(s.m_Value, v)) return Refuse(f, s.m_Value, kIdInvalid, "", why);
            if (v == 255) v = kTimeZones;
            if (v < 0 || v >= kTimeZones) return Range(f, s.m_Value, 0, kTimeZones - 1, why);
            page.m_Zone = static_cast<int32_t>(v);
        } else if (name == "System.NTP") {
            // The page would cut a longer name; a script is told instead.
            const DBString text(s.m_Value);
            if (text.ToCP1251().size() > static_cast<size_t>(f.m_Len))
                return Refuse(f, s.m_Value, kIdMaxLength, " " + std::to_string(f.m_Len), why);
            page.m_NTP = text;
        } else {
            if (!FieldEdit::Encode(f, s.m_Value, image, why)) return false;
        }
    }
    const SystemFields::Result r = page.Write(image, editIdent);
    if (r.m_Refused) {
        why = r.m_Message.ToStr();
        return false;
    }
    return true;
}

// Pages whose checks look at the values only: the values go in by their
// kind, then the page reads the result and its own Write checks it, as
// leaving the page would.
bool ApplyWiFi(std::span<const FieldSetting> settings, CLBNVRAM& image, std::string& why)
{
    // Opening the page resets an unconfigured module before anything is typed.
    // Its channel 1 is what the page then writes back.
    WiFiFields opened;
    if (opened.Read(image)) SetNumber(image, WiFiFields::kMap[WiFiFields::fChannel], static_cast<uint32_t>(opened.m_Channel));
    for (const FieldSetting& s : settings)
        if (!FieldEdit::Encode(*s.m_Field, s.m_Value, image, why)) return false;
    WiFiFields page;
    // A channel outside 1..14 would read as an unconfigured module; typed
    // here, it is the page's refusal instead.
    const FieldDef& channel = WiFiFields::kMap[WiFiFields::fChannel];
    bool typed = false;
    for (const FieldSetting& s : settings) typed = typed || s.m_Field == &channel || !std::strcmp(s.m_Field->m_Name, channel.m_Name);
    const int value = image.m_Data[channel.m_Adr];
    page.Read(image);
    if (typed) page.m_Channel = value;
    const FieldsResult r = page.Write(image);
    if (r.m_Refused) return why = r.m_Message.ToStr(), false;
    return true;
}

bool ApplyTiming(std::span<const FieldSetting> settings, CLBNVRAM& image, std::string& why)
{
    for (const FieldSetting& s : settings)
        if (!FieldEdit::Encode(*s.m_Field, s.m_Value, image, why)) return false;
    LinkFields page;
    page.Read(image);
    DBString message;
    if (page.Write(image, message) >= 0) return why = message.ToStr(), false;
    return true;
}

// Pages whose logic half checks its own fields; every other field is taken
// by its kind.
struct PageChecks {
    const char* m_Prefix;
    bool (*m_Apply)(std::span<const FieldSetting>, CLBNVRAM&, std::string&);
};
const PageChecks kPages[] = {
    {"System.", ApplySystem},
    {"WiFi.", ApplyWiFi},
    {"Parameters.", ApplyTiming},
};

const PageChecks* PageOf(const FieldDef& f)
{
    for (const PageChecks& p : kPages)
        if (std::strncmp(f.m_Name, p.m_Prefix, std::strlen(p.m_Prefix)) == 0) return &p;
    return nullptr;
}

}  // namespace

bool FieldEdit::Parse(const std::vector<std::string>& args, std::vector<FieldSetting>& out, std::string& why)
{
    std::vector<FieldSetting> settings;
    for (const std::string& a : args) {
        const size_t eq = a.find('=');
        if (eq == std::string::npos) return why = "'" + a + "' is not FIELD=VALUE", false;
        const std::string name = a.substr(0, eq);
        const FieldDef* f = FieldCatalogue::Find(name);
        if (!f) return why = "unknown field '" + name + "' ('velkctl fields' lists them)", false;
        for (const FieldSetting& s : settings)
            if (s.m_Field == f) return why = "the field " + name + " is named twice", false;
        settings.push_back({f, a.substr(eq + 1)});
    }
    if (settings.empty()) return why = "no FIELD=VALUE to set", false;
    out = std::move(settings);
    return true;
}

bool FieldEdit::Apply(const std::vector<FieldSetting>& settings, CLBNVRAM& image, std::string& why)
{
    // Settings of one page go through its checks together, as one
    // leaving of the page would take them.
    std::vector<const PageChecks*> done;
    for (const FieldSetting& s : settings) {
        const PageChecks* page = PageOf(*s.m_Field);
        if (!page) {
            if (!Encode(*s.m_Field, s.m_Value, image, why)) return false;
            continue;
        }
        if (std::find(done.begin(), done.end(), page) != done.end()) continue;
        done.push_back(page);
        std::vector<FieldSetting> mine;
        for (const FieldSetting& t : settings)
            if (PageOf(*t.m_Field) == page) mine.push_back(t);
        if (!page->m_Apply(mine, image, why)) return false;
    }
    return true;
}

bool FieldEdit::Encode(const FieldDef& f, std::string_view value, CLBNVRAM& image, std::string& why)
{
    unsigned char bytes[CLBNVRAM::kSize];
    long v = 0;
    switch (f.m_Kind) {
    case FieldKind::Byte: {
        const long top = f.m_Mask ? f.m_Mask >> Shift(f.m_Mask) : 255;
        if (!Integer(value, v)) return Refuse(f, value, kIdInvalid, "", why);
        if (v < 0 || v > top) return Range(f, value, 0, top, why);
        SetNumber(image, f, static_cast<uint32_t>(v));
        return true;
    }
    case FieldKind::PortBE:
        if (!Integer(value, v)) return Refuse(f, value, kIdInvalid, "", why);
        if (v < 0 || v > 65535) return Range(f, value, 0, 65535, why);
        bytes[0] = static_cast<unsigned char>(v >> 8);
        bytes[1] = static_cast<unsigned char>(v);
        image.Set(f.m_Adr, bytes, 2);
        return true;
    case FieldKind::IPv4: {
        int part = 0;
        size_t at = 0;
        const std::string text(value);
        for (; part < 4; ++part) {
            const size_t dot = text.find('.', at);
            const std::string piece = text.substr(at, dot == std::string::npos ? std::string::npos : dot - at);
            if (piece.empty() || piece.size() > 3 || piece.find_first_not_of("0123456789") != std::string::npos ||
                std::stoi(piece) > 255 || (part < 3) != (dot != std::string::npos))
                return Refuse(f, value, kIdIPv4, "", why);
            bytes[part] = static_cast<unsigned char>(std::stoi(piece));
            at = dot + 1;
        }
        image.Set(f.m_Adr, bytes, 4);
        return true;
    }
    case FieldKind::Ident: {
        if (!Integer(value, v)) return Refuse(f, value, kIdInvalid, "", why);
        if (v < 0 || v > 16711678) return Range(f, value, 0, 16711678, why);
        CIdentV7 id;
        id.SetValue(image.m_Data + f.m_Adr);   // the device byte stays
        CIdentV7(static_cast<int>(v), id.GetDev()).GetValue(bytes);
        image.Set(f.m_Adr, bytes, 4);
        return true;
    }
    case FieldKind::MAC:
    case FieldKind::Hex:
        if (!Hex(value, bytes, f.m_Len))
            return Refuse(f, value, kIdInvalid, " (" + std::to_string(f.m_Len * 2) + " hexadecimal digits)", why);
        image.Set(f.m_Adr, bytes, f.m_Len);
        return true;
    case FieldKind::Text:
    case FieldKind::Secret: {
        const DBString text{std::string(value)};
        if (text.ToCP1251().size() > static_cast<size_t>(f.m_Len))
            return Refuse(f, value, kIdMaxLength, " " + std::to_string(f.m_Len), why);
        SetText(image, f, text);
        return true;
    }
    case FieldKind::LinkKey: {
        CKeySys key;
        key.Create(DBString(std::string(value)).c_str());
        image.Set(f.m_Adr, key.Data(), 16);
        return true;
    }
    }
    return Refuse(f, value, kIdInvalid, "", why);
}
