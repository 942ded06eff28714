#include "link/CMes.h"

#include <cstring>

namespace {
constexpr int kVariantBit = 0x20;

// Bit 7 of an 8-bit subject address travels as bit 4 of the device.
void MoveHighAddressBit(int& adr, int& dev)
{
    if (adr & 0x80) {
        adr &= 0x7F;
        dev |= 0x10;
    }
}
}  // namespace

void CMes::Clear()
{
    m_Len = 0;
    std::memset(m_Buf, 0, sizeof m_Buf);
    m_Prior = 255;
    m_InfoCLB.Clear();
    ClearParsed();
}

void CMes::ClearParsed()
{
    m_OrigAdr = m_OrigDev = m_DestAdr = m_DestDev = 0;
    m_Hop = m_Lvl = m_TypMes = 0;
    m_Serv = m_SubAdr = m_SubDev = m_Prefix = 0;
    m_Mask = 0;
    m_SostDev.Clear();
}

bool CMes::SetDann(int len, const unsigned char* data)
{
    Clear();
    if (len < 0 || len > kMaxLen || (len > 0 && !data)) return false;
    if (len > 0) std::memcpy(m_Buf, data, static_cast<size_t>(len));
    m_Len = len;
    UnPack();
    return true;
}

void CMes::GetAdr(const unsigned char* p, int& adr, int& dev)
{
    adr = (p[0] & 0x3F) << 2 | (p[1] >> 4 & 0x03);
    dev = p[1] & 0x0F;
}

void CMes::IncHopCount()
{
    ++m_Buf[4];
    m_Hop = m_Buf[4];
}

void CMes::UnPack()
{
    ClearParsed();
    // The image is always 63 bytes and zero behind m_Len, so a short message
    // still yields origin and destination.
    m_Hop = m_Buf[4];
    GetAdr(m_Buf, m_OrigAdr, m_OrigDev);
    GetAdr(m_Buf + 2, m_DestAdr, m_DestDev);
    if (m_Len < 6) return;

    m_TypMes = m_Buf[5];
    const int t = m_TypMes & ~kVariantBit;
    if (t == mesAddrAt11_14) {
        GetAdr(m_Buf + 11, m_SubAdr, m_SubDev);
        MoveHighAddressBit(m_SubAdr, m_SubDev);
    } else if (m_TypMes == mesPrefix) {
        if (m_Len > 6) m_Prefix = m_Buf[6];
        if (m_Prefix == 1)
            for (int i = 0; i < 6 && 7 + i < m_Len; ++i) m_Mask |= uint64_t(m_Buf[7 + i] & 0x3F) << (6 * i);
    } else if (t == mesService29 || t == mesService30) {
        if (m_Len > 6) m_Serv = m_Buf[6];
        if (m_Len > 7) m_SubAdr = m_Buf[7];
        if (m_Len > 8) m_SubDev = m_Buf[8] & 0x1F;
    } else if (m_Len > 7) {
        GetAdr(m_Buf + 6, m_SubAdr, m_SubDev);
        if (t == mesState26) MoveHighAddressBit(m_SubAdr, m_SubDev);
        if (m_Len > 8 && (m_TypMes == mesState25 || m_TypMes == mesState26)) {
            m_SostDev.Set(m_Buf + 8, m_Len - 8);
            // Nothing in this program fills the information word, so this
            // only matters to a caller that has set it before parsing again.
            if (m_TypMes == mesState25 && (m_InfoCLB.IsBit(10) || m_InfoCLB.IsBit(11))) m_SostDev.Clear();
        }
    }
}

int CMes::Conv8To6(const unsigned char* src, int len, unsigned char* dst)
{
    if (len <= 0) return 0;
    unsigned acc = 0;
    int bits = 0, n = 0;
    for (int i = 0; i < len; ++i) {
        acc |= unsigned(src[i]) << bits;
        bits += 8;
        while (bits >= 6) {
            dst[n++] = static_cast<unsigned char>(acc & 0x3F);
            acc >>= 6;
            bits -= 6;
        }
    }
    if (bits > 0) dst[n++] = static_cast<unsigned char>(acc & 0x3F);
    return n;
}

int CMes::Conv6To8(const unsigned char* src, int len, unsigned char* dst)
{
    if (len <= 0) return 0;
    unsigned acc = 0;
    int bits = 0, n = 0;
    for (int i = 0; i < len; ++i) {
        acc |= unsigned(src[i] & 0x3F) << bits;
        bits += 6;
        if (bits >= 8) {
            dst[n++] = static_cast<unsigned char>(acc);
            acc >>= 8;
            bits -= 8;
        }
    }
    return n;
}
