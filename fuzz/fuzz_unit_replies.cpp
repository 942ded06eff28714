// Any packet image as a reply of the unit, through the configurator's
// exchange (information and read replies into the image) and every status
// decoder. A read reply must never mark a byte known that it did not carry.
// Seeds: fuzz/corpus/unit_replies/.
#include "link/CPackV7.h"
#include "unit/CUnitLB.h"
#include "unit/StatusLB.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CPackV7 p;
    p.m_Len = static_cast<int>(size > CPackV7::kBufSize ? CPackV7::kBufSize : size);
    std::memcpy(p.m_Buf, data, static_cast<size_t>(p.m_Len));
    p.UnPack();

    CUnitLB unit;
    CPackV7 ask;
    int asked = 0;
    unit.TakeInfo(p, ask, [&asked](CPackV7&) { ++asked; });
    if (asked != (unit.m_FeatDomain ? 3 : 1)) std::abort();

    CLBNVRAM before = unit.m_NVRAM;
    if (unit.TakeNVRAM(p)) {
        const int adr = p.m_Buf[14] | p.m_Buf[15] << 8;
        const int len = p.m_Buf[16];
        if (14 + 4 + len > p.m_Len) std::abort();
        for (int i = 0; i < CLBNVRAM::kSize; ++i) {
            const bool carried = i >= adr && i < adr + len;
            if (!carried && unit.m_NVRAM.IsKnovByte(i) != before.IsKnovByte(i)) std::abort();
            if (!carried && unit.m_NVRAM.m_Data[i] != before.m_Data[i]) std::abort();
        }
    }

    CStatusEth eth;
    eth.Decode(p);
    CStatusSys sys;
    sys.Decode(p);
    CStatusWiFi wifi;
    wifi.Decode(p);
    if (wifi.m_Name.size() > 32) std::abort();
    CStatusMQTT mqtt;
    mqtt.Decode(p);
    CStatusG4 g4;
    g4.Decode(p);
    if (g4.m_Version.size() > 32 || g4.m_IMEI.size() > 15 || g4.m_Address.size() > 40) std::abort();
    CStatCounters stat;
    stat.Decode(p);
    CDirectOne one;
    CDirectOne::Effect effect;
    one.Decode(p, effect);
    return 0;
}
