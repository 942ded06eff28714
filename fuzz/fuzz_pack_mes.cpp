// The CPackMes constructor and GetMes on any image, as a dispatcher tool
// may send. Input: priority byte, then the image.
// Seeds: fuzz/corpus/pack_mes/, containers with ident, repl and messages.
#include "link/CPackMes.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    const int len = static_cast<int>(size - 1 > 200 ? 200 : size - 1);
    CPackMes pm(len, data + 1, data[0]);
    if (pm.m_Len < 0 || pm.m_Len > CPackMes::kMaxLen) std::abort();
    for (int i = 0; i < pm.m_Len; ++i)
        if (i >= pm.m_Pos && (pm.m_Buf[i] & 0xC0) == 0x40) std::abort();

    // Every message taken out goes back in, and reads back the same.
    CPackMes rebuilt;
    CMes mes;
    int count = 0;
    bool fits = true;
    while (pm.GetMes(mes)) {
        if (++count > CPackMes::kMaxLen || mes.m_Prior != data[0]) std::abort();
        fits = fits && rebuilt.AddMes(mes);
    }
    if (fits) {
        CPackMes rx(rebuilt.m_Len, rebuilt.m_Buf, 0);
        int again = 0;
        while (rx.GetMes(mes)) ++again;
        if (again != count) std::abort();
    }
    return 0;
}
