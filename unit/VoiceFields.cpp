#include "unit/VoiceFields.h"

#include "link/CLBNVRAM.h"
#include "unit/DirectFields.h"

// Ethernet, Wi-Fi: data in, data out, voice in, voice out; 4G: data in, out.
const StatisticRow StatisticRows[kStatisticRows] = {
    {10156, 10241}, {10156, 10242}, {10156, 10243}, {10156, 10244},
    {10157, 10241}, {10157, 10242}, {10157, 10243}, {10157, 10244},
    {0, 10241},     {0, 10242},
};

void VoiceFields::Read(const CLBNVRAM& nvram)
{
    const int port = nvram.GetEth(kOwnPort) << 8 | nvram.GetEth(kOwnPort + 1);
    m_OwnErased = port == 0xFFFF;
    m_OwnPort = m_OwnErased ? kOwnDefault : port;
    m_Links.clear();
    for (int i = 0; i < kDirectRecords; ++i) {
        if (!DirectList::InUse(DirectList::Type(nvram, i))) continue;
        const DirectRecord r = DirectList::Read(nvram, i);
        m_Links.push_back({i, r.m_Node, r.m_PortVoice});
    }
}
