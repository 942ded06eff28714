#include "link/CSostDev.h"

#include <cstring>

void CSostDev::Clear()
{
    m_Len = 0;
    std::memset(m_Data, 0, sizeof m_Data);
}

void CSostDev::Set(const unsigned char* data, int len)
{
    Clear();
    if (!data || len <= 0) return;
    m_Len = len < kMaxLen ? len : kMaxLen;
    std::memcpy(m_Data, data, static_cast<size_t>(m_Len));
}
