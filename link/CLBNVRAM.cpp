#include "link/CLBNVRAM.h"

#include <cstring>

namespace {
bool InImage(int adr) { return adr >= 0 && adr < CLBNVRAM::kSize; }
}  // namespace

void CLBNVRAM::Clear()
{
    std::memset(m_Data, 0xFF, sizeof m_Data);
    std::memset(m_Knov, 0, sizeof m_Knov);
}

bool CLBNVRAM::IsKnovByte(int adr) const
{
    return InImage(adr) && (m_Knov[adr >> 3] & (1 << (adr & 7))) != 0;
}

void CLBNVRAM::SetKnovByte(int adr)
{
    if (InImage(adr)) m_Knov[adr >> 3] |= static_cast<unsigned char>(1 << (adr & 7));
}

bool CLBNVRAM::Set(int adr, const void* src, int len)
{
    if (len <= 0) return true;
    if (!InImage(adr) || !src) return false;
    const auto* p = static_cast<const unsigned char*>(src);
    for (int i = 0; i < len; ++i, ++adr) {
        if (adr >= kSize) return false;
        m_Data[adr] = p[i];
        SetKnovByte(adr);
    }
    return true;
}

bool CLBNVRAM::Get(int adr, void* dst, int len) const
{
    if (len <= 0) return true;
    if (!InImage(adr) || !dst) return false;
    auto* p = static_cast<unsigned char*>(dst);
    for (int i = 0; i < len; ++i, ++adr) {
        if (adr >= kSize) return false;
        p[i] = m_Data[adr];
    }
    return true;
}

bool CLBNVRAM::SetEth(int adr, const void* src, int len) { return Set(adr + kEthBase, src, len); }

bool CLBNVRAM::GetEth(int adr, void* dst, int len) const { return Get(adr + kEthBase, dst, len); }

bool CLBNVRAM::SetEth(int adr, unsigned char value)
{
    if (adr >= kSize - kEthBase || adr < -kEthBase) return false;
    return Set(adr + kEthBase, &value, 1);
}

int CLBNVRAM::GetEth(int adr) const
{
    if (adr >= kSize - kEthBase || adr < -kEthBase) return -1;
    return m_Data[adr + kEthBase];
}

bool CLBNVRAM::IsKnovRange(int adr, int len) const
{
    for (int i = 0; i < len; ++i)
        if (!IsKnovByte(adr + i)) return false;
    return true;
}

bool CLBNVRAM::IsKnovEth() const { return IsKnovRange(kEthBase, kEthLen); }

bool CLBNVRAM::IsKnovDNS() const { return IsKnovRange(kDomain, kDomainLen); }

bool CLBNVRAM::IsKnovDescr(int typLBSub) const
{
    if (typLBSub == 0) return false;
    return IsKnovRange(typLBSub == 1 ? kDescrOld : kDescrCM3V7, kDescrLen);
}
