#include "link/CInfoCLB.h"

void CInfoCLB::Clear()
{
    m_Len = 0;
    m_Data[0] = m_Data[1] = 0;
}

bool CInfoCLB::SetData(const unsigned char* data, int len)
{
    if (!data || len < 1 || len > 2) {
        Clear();
        return false;
    }
    m_Len = len;
    m_Data[0] = data[0];
    m_Data[1] = len == 2 ? data[1] : 0;
    return true;
}

bool CInfoCLB::IsBit(int n) const
{
    if (n < 0 || n >= 8 * m_Len) return false;
    return (m_Data[n / 8] >> (n % 8)) & 1;
}
