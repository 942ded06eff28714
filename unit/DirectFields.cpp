#include "unit/DirectFields.h"

#include "link/CIdentV7.h"
#include "link/CLBNVRAM.h"

#include <algorithm>
#include <cstring>
#include <string>

// clang-format off
const DirectField DirectFieldMap[kDirectFields] = {
    {"type",      false, 0,  1,  encByte,   10229},
    {"ident",     false, 1,  4,  encIdent,  10225},
    {"return",    false, 5,  1,  encByte,   10230},
    {"portData",  false, 6,  2,  encBE16,   10035},
    {"portVoice", false, 8,  2,  encBE16,   10038},
    {"ip",        false, 10, 4,  encIPv4,   10013},
    {"altIp",     false, 18, 4,  encIPv4,   10215},
    {"domain",    true,  0,  32, encCP1251, 10227},
};
// clang-format on

namespace {

enum { fType, fIdent, fReturn, fPortData, fPortVoice, fIP, fAltIP, fDomain };

int Pos(int index, int field) { return kDirectBase + kDirectSize * index + DirectFieldMap[field].m_Offset; }

uint32_t Word(const CLBNVRAM& nvram, int pos)
{
    unsigned char b[4];
    nvram.GetEth(pos, b, 4);
    return b[0] | b[1] << 8 | b[2] << 16 | static_cast<uint32_t>(b[3]) << 24;
}

void PutWord(CLBNVRAM& nvram, int pos, uint32_t v)
{
    const unsigned char b[4] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                                static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24)};
    nvram.SetEth(pos, b, 4);
}

int BE16(const CLBNVRAM& nvram, int pos) { return nvram.GetEth(pos) << 8 | nvram.GetEth(pos + 1); }

void PutBE16(CLBNVRAM& nvram, int pos, int v)
{
    const unsigned char b[2] = {static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)};
    nvram.SetEth(pos, b, 2);
}

int Node(const CLBNVRAM& nvram, int index)
{
    unsigned char b[4];
    nvram.GetEth(Pos(index, fIdent), b, 4);
    CIdentV7 ident;
    ident.SetValue(b);
    return ident.GetNode();
}

// The name, empty when its first byte is 0xFF.
DBString Name(const CLBNVRAM& nvram, int index)
{
    char raw[kDirectSize + 1] = {};
    nvram.Get(Pos(index, fDomain), raw, kDirectSize);
    DBString name;
    if (static_cast<unsigned char>(raw[0]) != 0xFF) name.FromCP1251(raw);
    return name;
}

DBString Number(long v)
{
    DBString s;
    s.Format(L"%ld", v);
    return s;
}

}  // namespace

DBString DirectList::IPText(uint32_t ip)
{
    DBString s;
    s.Format(L"%u.%u.%u.%u", ip & 0xFF, ip >> 8 & 0xFF, ip >> 16 & 0xFF, ip >> 24);
    return s;
}

int DirectList::Type(const CLBNVRAM& nvram, int index) { return nvram.GetEth(Pos(index, fType)); }

std::vector<DirectRow> DirectList::Rows(const CLBNVRAM& nvram, bool featDomain)
{
    std::vector<DirectRow> rows;
    for (int i = 0; i < kDirectRecords; ++i) {
        const int type = Type(nvram, i);
        if (type >= 3) continue;
        DirectRow row;
        row.m_Index = i;
        row.m_Col[0] = Number(Node(nvram, i));
        const DBString name = Name(nvram, i);
        if (type == 0) {
            row.m_Col[1] = row.m_Col[2] = row.m_Col[3] = L"-";
        } else {
            row.m_Col[2] = Number(BE16(nvram, Pos(i, fPortData)));
            row.m_Col[3] = Number(BE16(nvram, Pos(i, fPortVoice)));
            if (!name.empty() && featDomain) {
                row.m_Col[1] = name;
            } else {
                row.m_Col[1] = (type == 2 ? L"*" : L"") + IPText(Word(nvram, Pos(i, fIP)));
                if (type == 2) {
                    const uint32_t alt = Word(nvram, Pos(i, fAltIP));
                    row.m_Col[4] = IPText(alt == 0xFFFFFFFF ? 0 : alt);
                    const int ret = nvram.GetEth(Pos(i, fReturn));
                    row.m_Col[5] = Number(ret == 0xFF ? 5 : ret);
                }
            }
        }
        rows.push_back(row);
    }
    return rows;
}

int DirectList::FreeIndex(const CLBNVRAM& nvram)
{
    for (int i = 0; i < kDirectRecords; ++i)
        if (!InUse(Type(nvram, i))) return i;
    return -1;
}

DirectRecord DirectList::Read(const CLBNVRAM& nvram, int index)
{
    DirectRecord r;
    auto replace = [&r](auto& member, auto erased, auto value) {
        if (member == erased) {
            member = value;
            r.m_Changed = true;
        }
    };
    const int type = Type(nvram, index);
    r.m_Type = InUse(type) ? type : 1;
    r.m_Changed = !InUse(type);
    r.m_Node = Node(nvram, index);
    replace(r.m_Node, 0xFFFFFF, 0);
    r.m_Return = nvram.GetEth(Pos(index, fReturn));
    replace(r.m_Return, 0xFF, 5);
    r.m_PortData = BE16(nvram, Pos(index, fPortData));
    replace(r.m_PortData, 0xFFFF, 48000);
    r.m_PortVoice = BE16(nvram, Pos(index, fPortVoice));
    replace(r.m_PortVoice, 0xFFFF, 48001);
    r.m_IP = Word(nvram, Pos(index, fIP));
    replace(r.m_IP, 0xFFFFFFFFu, 0u);
    r.m_AltIP = Word(nvram, Pos(index, fAltIP));
    replace(r.m_AltIP, 0xFFFFFFFFu, 0u);
    unsigned char first = 0;
    nvram.Get(Pos(index, fDomain), &first, 1);
    if (first == 0xFF) r.m_Changed = true;
    r.m_Domain = Name(nvram, index);
    r.m_Domain.Trim();
    return r;
}

unsigned short DirectList::Check(const DirectRecord& r, bool altDefined, const std::vector<long>& otherNodes)
{
    auto port = [](int32_t p) { return p >= 5000 && p <= 65534; };
    if (r.m_Node < 1 || r.m_Node > kMaxNode) return kIdIdent;
    if (!port(r.m_PortData) || !port(r.m_PortVoice)) return kIdPort;
    if (r.m_IP == 0 && r.m_Domain.empty()) return kIdNoAddress;
    if (altDefined && (r.m_Return < 1 || r.m_Return > 240)) return kIdReturn;
    if (altDefined && r.m_AltIP == 0) return kIdNoAltIP;
    if (r.m_PortData == r.m_PortVoice) return kIdSamePorts;
    if (std::find(otherNodes.begin(), otherNodes.end(), static_cast<long>(r.m_Node)) != otherNodes.end())
        return kIdDuplicate;
    return 0;
}

void DirectList::Write(CLBNVRAM& nvram, int index, const DirectRecord& r, bool featDomain)
{
    nvram.SetEth(Pos(index, fType), static_cast<unsigned char>(r.m_Type));
    unsigned char id[4];
    CIdentV7(r.m_Node, 0).GetValue(id);
    nvram.SetEth(Pos(index, fIdent), id, 4);
    nvram.SetEth(Pos(index, fReturn), static_cast<unsigned char>(r.m_Return));
    PutBE16(nvram, Pos(index, fPortData), r.m_PortData);
    PutBE16(nvram, Pos(index, fPortVoice), r.m_PortVoice);
    PutWord(nvram, Pos(index, fIP), r.m_IP);
    PutWord(nvram, Pos(index, fAltIP), r.m_AltIP);
    if (!featDomain) return;   // no domain area on this unit: nothing of it is read or saved
    char name[kDirectSize] = {};
    const std::string cp = r.m_Domain.ToCP1251();
    std::memcpy(name, cp.data(), std::min<size_t>(cp.size(), kDirectSize));
    nvram.Set(Pos(index, fDomain), name, kDirectSize);
}

void DirectList::Delete(CLBNVRAM& nvram, int index, bool featDomain)
{
    unsigned char erased[kDirectSize];
    std::memset(erased, 0xFF, sizeof erased);
    nvram.SetEth(kDirectBase + kDirectSize * index, erased, kDirectSize);
    if (!featDomain) return;
    const unsigned char zeros[kDirectSize] = {};
    nvram.Set(kDirectBase + kDirectSize * index, zeros, kDirectSize);
}
