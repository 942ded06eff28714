#include "unit/DescriptorFields.h"

#include "link/CLBNVRAM.h"

#include <algorithm>
#include <cstring>
#include <string>

DescriptorField DescriptorFields::Field(int addr) { return {"descriptor", addr, kWidth, 43250}; }

void DescriptorFields::Read(const CLBNVRAM& nvram, int addr)
{
    unsigned char raw[kWidth + 1] = {};
    nvram.Get(addr, raw, kWidth);
    m_Text.clear();
    if (raw[0] != 0xFF) m_Text.FromCP1251(reinterpret_cast<const char*>(raw));
    m_Hex.clear();
    for (int i = 0; i < kWidth; ++i) {
        m_Hex.AppendFormat(L"%02X", raw[i]);
        if (i + 1 < kWidth) m_Hex += (i % 16 == 15) ? L'\n' : L' ';
    }
}

void DescriptorFields::Write(CLBNVRAM& nvram, int addr) const
{
    char raw[kWidth] = {};
    const std::string cp = m_Text.ToCP1251();
    std::memcpy(raw, cp.data(), std::min<size_t>(cp.size(), kWidth));
    nvram.Set(addr, raw, kWidth);
}
