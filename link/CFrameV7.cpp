#include "link/CFrameV7.h"

CFrameV7::Event CFrameV7::Put(unsigned char byte)
{
    if (m_Have == 0) {
        if (byte != 0xFF) return evNone;
        m_Buf[0] = byte;
        m_Have = 1;
        m_Need = 0;
        return evStart;
    }
    m_Buf[m_Have++] = byte;
    if (m_Have < 3) return evNone;
    if (m_Have == 3) {
        m_Need = ((m_Buf[1] << 8) | m_Buf[2]) + 3;
        if (m_Need > kMaxNeed) {
            m_Have = 0;
            return evRefused;
        }
    }
    if (m_Have == m_Need) {
        m_Have = 0;
        return evFrame;
    }
    if (m_Have >= kMaxStore) {
        m_Have = 0;
        return evRefused;
    }
    return evNone;
}
