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

const FieldDef* FindField(FieldMap map, const char* name)
{
    for (const FieldDef& f : map)
        if (std::strcmp(f.m_Name, name) == 0) return &f;
    return nullptr;
}

bool FieldErased(const CLBNVRAM& nvram, const FieldDef& f)
{
    std::vector<unsigned char> b(static_cast<size_t>(f.m_Width));
    nvram.Get(f.Address(), b.data(), f.m_Width);
    if (f.m_Enc == encBits || f.m_Enc == encBitsInv) return (b[0] & f.m_Mask) == f.m_Mask;
    return std::all_of(b.begin(), b.end(), [](unsigned char c) { return c == 0xFF; });
}

uint32_t GetNumber(const CLBNVRAM& nvram, const FieldDef& f)
{
    unsigned char b[4] = {};
    nvram.Get(f.Address(), b, std::min(f.m_Width, 4));
    switch (f.m_Enc) {
    case encByte: return b[0];
    case encBits: return static_cast<uint32_t>((b[0] & f.m_Mask) >> Shift(f.m_Mask));
    case encBitsInv: return static_cast<uint32_t>(((~b[0]) & f.m_Mask) >> Shift(f.m_Mask));
    case encBE16: return static_cast<uint32_t>(b[0] << 8 | b[1]);
    case encIPv4: {
        // Kept as it lies: the first byte is the lowest.
        return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
    }
    default: return 0;
    }
}

void SetNumber(CLBNVRAM& nvram, const FieldDef& f, uint32_t value)
{
    const int adr = f.Address();
    switch (f.m_Enc) {
    case encByte: {
        const auto b = static_cast<unsigned char>(value);
        nvram.Set(adr, &b, 1);
        break;
    }
    case encBits:
    case encBitsInv: {
        unsigned char b = 0;
        nvram.Get(adr, &b, 1);
        unsigned char bits = static_cast<unsigned char>((value << Shift(f.m_Mask)) & f.m_Mask);
        if (f.m_Enc == encBitsInv) bits = static_cast<unsigned char>(~bits & f.m_Mask);
        b = static_cast<unsigned char>((b & ~f.m_Mask) | bits);
        nvram.Set(adr, &b, 1);
        break;
    }
    case encBE16: {
        const unsigned char b[2] = {static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
        nvram.Set(adr, b, 2);
        break;
    }
    case encIPv4: {
        const unsigned char b[4] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                                    static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
        nvram.Set(adr, b, 4);
        break;
    }
    default: break;
    }
}

DBString GetText(const CLBNVRAM& nvram, const FieldDef& f)
{
    std::vector<char> b(static_cast<size_t>(f.m_Width) + 1, 0);
    nvram.Get(f.Address(), b.data(), f.m_Width);
    for (int i = 0; i < f.m_Width - 1; ++i) {
        const auto c = static_cast<unsigned char>(b[static_cast<size_t>(i)]);
        const bool end = f.m_Enc == encText1251 ? (c < 0x20 || c == 0xFF) : static_cast<signed char>(c) < 0x20;
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
    std::vector<char> b(static_cast<size_t>(f.m_Width), 0);
    const std::string cp = text.ToCP1251();
    std::memcpy(b.data(), cp.data(), std::min(cp.size(), b.size()));
    nvram.Set(f.Address(), b.data(), f.m_Width);
}
