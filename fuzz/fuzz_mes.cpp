// CMes::SetDann and UnPack on any bytes, and the 6-bit form on them.
// Seeds: fuzz/corpus/mes/, one message of each shape.
#include "link/CMes.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CMes m;
    const int len = static_cast<int>(size > 200 ? 200 : size);
    const bool ok = m.SetDann(len, data);
    if (ok != (len <= CMes::kMaxLen)) std::abort();
    if (!ok && (m.m_Len != 0 || m.m_TypMes != 0)) std::abort();
    if (ok) {
        m.UnPack();
        m.IncHopCount();
    }

    if (len == 0) return 0;
    unsigned char six[300], eight[300];
    const int ns = CMes::Conv8To6(data, len, six);
    for (int i = 0; i < ns; ++i)
        if (six[i] > 0x3F) std::abort();
    if (CMes::Conv6To8(six, ns, eight) < len || std::memcmp(eight, data, static_cast<size_t>(len)) != 0) std::abort();
    CMes::Conv6To8(data, len, eight);
    return 0;
}
