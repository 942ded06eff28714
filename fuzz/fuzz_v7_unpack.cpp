// UnPack and the readers behind it on any plain image, as a packet that has
// passed its CRC may hold anything. Seeds: fuzz/corpus/v7_unpack/.
#include "link/CMes.h"
#include "link/CPackMes.h"
#include "link/CPackV7.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CPackV7 p;
    p.m_Len = static_cast<int>(size > CPackV7::kBufSize ? CPackV7::kBufSize : size);
    std::memcpy(p.m_Buf, data, static_cast<size_t>(p.m_Len));
    p.UnPack();
    if (p.m_Valid && (p.m_Typ > 127 || p.m_Pos != 14)) std::abort();
    (void)p.IsInIdent();
    (void)p.IsCloseLink();
    (void)p.IsRestart();
    (void)p.IsOnOffGGS();
    (void)p.TestCRC();
    CMes mes;
    if (p.GetMes(mes)) {
        if (mes.m_Len != p.m_Len - 14) std::abort();
        // The relay's path: into a container, and back into a packet.
        CPackMes pm;
        if (pm.AddMes(mes) != (mes.m_Len <= 58)) std::abort();
        CPackV7 again(mes);
        if (again.m_Len != p.m_Len || std::memcmp(again.m_Buf + 13, p.m_Buf + 13, static_cast<size_t>(p.m_Len - 13)) != 0)
            std::abort();
    }
    return 0;
}
