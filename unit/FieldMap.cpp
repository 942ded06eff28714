#include "unit/FieldMap.h"

#include "link/CLBNVRAM.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

int Shift(unsigned char mask)
{
    int s = 0;
    while (mask && !(mask & 1)) {
        mask >>= 1;
        ++s;
    }
    return s;
}

}  // namespace

bool FieldErased(const CLBNVRAM& nvram, const FieldDef& f)
{
    std::vector<unsigned char> b(static_cast<size_t>(f.m_Len));
    nvram.Get(f.m_Adr, b.data(), f.m_Len);
    if (f.m_Mask) return (b[0] & f.m_Mask) == f.m_Mask;
    return std::all_of(b.begin(), b.end(), [](unsigned char c) { return c == 0xFF; });
}

uint32_t GetNumber(const CLBNVRAM& nvram, const FieldDef& f)
{
    unsigned char b[4] = {};
    nvram.Get(f.m_Adr, b, std::min(f.m_Len, 4));
    switch (f.m_Kind) {
    case FieldKind::Byte: {
        if (!f.m_Mask) return b[0];
        const unsigned bits = static_cast<unsigned>((f.m_Inverted ? ~b[0] : b[0]) & f.m_Mask);
        return bits >> Shift(f.m_Mask);
    }
    case FieldKind::PortBE: return static_cast<uint32_t>(b[0] << 8 | b[1]);
    case FieldKind::IPv4:
        // Kept as it lies: the first byte is the lowest.
        return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
    default: return 0;
    }
}

void SetNumber(CLBNVRAM& nvram, const FieldDef& f, uint32_t value)
{
    unsigned char b[4] = {};
    switch (f.m_Kind) {
    case FieldKind::Byte:
        if (f.m_Mask) {
            nvram.Get(f.m_Adr, b, 1);
            unsigned bits = (value << Shift(f.m_Mask)) & f.m_Mask;
            if (f.m_Inverted) bits = ~bits & f.m_Mask;
            b[0] = static_cast<unsigned char>((b[0] & ~f.m_Mask) | bits);
        } else {
            b[0] = static_cast<unsigned char>(value);
        }
        nvram.Set(f.m_Adr, b, 1);
        break;
    case FieldKind::PortBE:
        b[0] = static_cast<unsigned char>(value >> 8);
        b[1] = static_cast<unsigned char>(value);
        nvram.Set(f.m_Adr, b, 2);
        break;
    case FieldKind::IPv4:
        for (int i = 0; i < 4; ++i) b[i] = static_cast<unsigned char>(value >> (8 * i));
        nvram.Set(f.m_Adr, b, 4);
        break;
    default: break;
    }
}

DBString GetText(const CLBNVRAM& nvram, const FieldDef& f)
{
    std::vector<char> b(static_cast<size_t>(f.m_Len) + 1, 0);
    nvram.Get(f.m_Adr, b.data(), f.m_Len);
    for (int i = 0; i < f.m_Len - 1; ++i) {
        const auto c = static_cast<unsigned char>(b[static_cast<size_t>(i)]);
        bool end = c == 0;
        if (f.m_Cut == FieldCut::Control) end = static_cast<signed char>(c) < 0x20;
        if (f.m_Cut == FieldCut::ControlOrFF) end = c < 0x20 || c == 0xFF;
        if (end) {
            b[static_cast<size_t>(i)] = 0;
            break;
        }
    }
    DBString text;
    text.FromCP1251(b.data());
    return text.Trim();
}

void SetText(CLBNVRAM& nvram, const FieldDef& f, const DBString& text)
{
    std::vector<char> b(static_cast<size_t>(f.m_Len), 0);
    const std::string cp = text.ToCP1251();
    std::memcpy(b.data(), cp.data(), std::min(cp.size(), b.size()));
    nvram.Set(f.m_Adr, b.data(), f.m_Len);
}
