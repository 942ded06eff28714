#include "disp/CPackDisp.h"

#include "base/Crc16.h"
#include "link/CIdeaCtx.h"
#include "link/CIdeaKey.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int kVersion = 0x10;   // high nibble of byte 3
constexpr int kBlock = 8;

unsigned char RandByte() { return static_cast<unsigned char>(CIdeaKey::rand()); }

}  // namespace

uint16_t CPackDisp::Crc16(const unsigned char* data, int len) { return ::Crc16(data, len); }

CPackDisp::CPackDisp() { Clear(); }

CPackDisp::CPackDisp(const CMesDisp& mes)
{
    Clear();
    const int m = mes.Len();
    if (m <= 0x1FC) {
        std::memcpy(m_Buf + HeadLen, mes.Data(), static_cast<size_t>(m));
        SetLen(HeadLen + m);
    }
    const int type = CMesDisp::TypeOf(mes.Data(), m);
    m_isVoice = IsVoiceType(type);
    m_isSQL = type >= CMesDisp::AcceptSQLAsk && type <= CMesDisp::ExecuteAsk;
    WriteCrc();
}

void CPackDisp::Clear()
{
    // Zeroed, so that nothing of an earlier packet lingers behind the image.
    std::memset(m_Buf, 0, sizeof m_Buf);
    SetLen(HeadLen);
    m_Buf[3] = kVersion;
    m_Pos = HeadLen;
    m_isVoice = m_isSQL = false;
    m_valid = true;
    m_Ident = 0;
    m_R = 0;
    WriteCrc();
}

void CPackDisp::WriteCrc()
{
    if (!LenInRange()) return;   // a damaged image has no place for it
    const int len = Len();
    const uint16_t crc = Crc16(m_Buf, len);
    m_Buf[len] = static_cast<unsigned char>(crc);
    m_Buf[len + 1] = static_cast<unsigned char>(crc >> 8);
}

void CPackDisp::Invalidate()
{
    m_valid = false;
    m_isVoice = m_isSQL = false;
    m_Ident = 0;
    m_R = 0;
    m_Pos = HeadLen;
}

int CPackDisp::PlainLen() const { return std::min(Len() + 2, BufSize); }

bool CPackDisp::AddMes(const CMesDisp& mes)
{
    if (!LenInRange() || m_R > Len() - HeadLen) return false;
    const int type = CMesDisp::TypeOf(mes.Data(), mes.Len());
    if (IsVoiceType(type) && Len() - m_R > HeadLen) return false;   // voice travels alone
    if (Len() + mes.Len() > MaxLen) return false;
    return Append(mes);
}

bool CPackDisp::Append(const CMesDisp& mes)
{
    const int m = mes.Len();
    const int type = CMesDisp::TypeOf(mes.Data(), m);
    unsigned char saved[MaxReplies];
    const int count = m_R;
    int len = Len() - count;
    std::memcpy(saved, m_Buf + len, static_cast<size_t>(count));
    m_R = 0;
    if (len == Placeholder && m_Buf[4] == 2 && m_Buf[5] == 0) len = HeadLen;
    std::memcpy(m_Buf + len, mes.Data(), static_cast<size_t>(m));
    len += m;
    if (type != CMesDisp::TimeAndGUID) {
        m_isVoice = IsVoiceType(type);
        m_isSQL = IsSQLType(type);
    }
    const bool repliesFit = len + count < MaxLen && count <= MaxReplies;
    if (repliesFit) {
        std::memcpy(m_Buf + len, saved, static_cast<size_t>(count));
        len += count;
        m_R = count;
    }
    SetLen(len);
    m_Buf[3] = static_cast<unsigned char>(kVersion | m_R);
    WriteCrc();
    return repliesFit;
}

bool CPackDisp::NextMes(int& pos, CMesDisp& mes) const
{
    mes.Clear();
    if (!m_valid || !LenInRange()) return false;   // a damaged packet offers nothing
    const int len = Len();
    for (;;) {
        if (pos < HeadLen || pos >= len - m_R - 2) return false;
        const int m = m_Buf[pos] | m_Buf[pos + 1] << 8;
        if (m < 2 || pos + m > len) return false;
        if (m == 2) {
            pos += 2;
            continue;
        }
        if (m > MaxMesLen) return false;
        const int type = m_Buf[pos + 2];
        if (type == CMesDisp::NoType || type == CMesDisp::InvalidType) return false;
        mes.Set(m_Buf + pos, m);
        pos += m;
        return true;
    }
}

bool CPackDisp::GetMes(CMesDisp& mes) const { return NextMes(m_Pos, mes); }

void CPackDisp::SetIdent(int ident)
{
    m_Ident = ident & 0xFF;
    m_Buf[2] = static_cast<unsigned char>(m_Ident);
    WriteCrc();
}

bool CPackDisp::AddReply(const unsigned char* idents, int count)
{
    if (count < 0 || (count > 0 && !idents) || !LenInRange()) return false;
    const int len = Len();
    if (len + count > MaxLen - 1 || m_R + count > MaxReplies) return false;
    std::memcpy(m_Buf + len, idents, static_cast<size_t>(count));
    SetLen(len + count);
    m_R += count;
    m_Buf[3] = static_cast<unsigned char>(kVersion | (m_R & 15));
    WriteCrc();
    return true;
}

const unsigned char* CPackDisp::GetReply(int& count) const
{
    if (!LenInRange() || m_R < 0 || m_R > Len() - HeadLen) {
        count = 0;
        return m_Buf + HeadLen;
    }
    count = m_R;
    return m_Buf + Len() - m_R;
}

int CPackDisp::Encoding(unsigned char* out, int outMax, const CIdeaCtx* key)
{
    if (!out || outMax <= 0 || !LenInRange()) return 0;
    WriteCrc();
    const int plain = Len() + 2;
    if (!key) {
        const int n = std::min(plain, outMax);
        std::memcpy(out, m_Buf, static_cast<size_t>(n));
        return n;
    }
    const int blocks = (plain + kBlock - 1) / kBlock;
    const int size = blocks * kBlock;
    if (blocks > MaxBlocks || size > outMax) return 0;
    for (int i = plain; i < size; ++i) m_Buf[i] = RandByte();
    key->Encrypt(m_Buf, out, blocks);
    const int tail = std::min(CIdeaKey::rand() & 3, outMax - size);
    for (int i = 0; i < tail; ++i) out[size + i] = RandByte();
    return size + tail;
}

bool CPackDisp::Decoding(const unsigned char* in, int length, const CIdeaCtx* key)
{
    Clear();
    std::memset(m_Buf, 0, sizeof m_Buf);   // not even the empty packet's CRC may stay
    int received = 0;
    if (!in) {
        received = -1;
    } else if (key) {
        const int blocks = length / kBlock;   // the random tail falls away here
        if (blocks >= 1 && blocks <= MaxBlocks) {
            key->Decrypt(in, m_Buf, blocks);
            received = blocks * kBlock;
        } else {
            received = -1;
        }
    } else if (length >= HeadLen && length <= MaxInLen) {
        std::memcpy(m_Buf, in, static_cast<size_t>(length));
        received = length;
    } else {
        received = -1;
    }
    if (received < 0) {
        Invalidate();
        return false;
    }
    // An image claiming more than arrived would be checked against zeros the
    // sender never wrote: damaged, whatever that check says.
    if (UnPack() && Len() + 2 > received) Invalidate();
    return m_valid;
}

bool CPackDisp::UnPack()
{
    Invalidate();
    if (!LenInRange()) return false;
    const int len = Len();
    if (Crc16(m_Buf, len) != (m_Buf[len] | m_Buf[len + 1] << 8)) return false;
    const int r = m_Buf[3] & 15;
    const int end = len - r;
    if (end < HeadLen) return false;   // more reply bytes than the packet holds
    for (int pos = HeadLen; pos < end - 1;) {
        const int m = m_Buf[pos] | m_Buf[pos + 1] << 8;
        if (m < 2 || pos + m > end) return false;
        pos += m;
    }
    m_valid = true;
    m_Ident = m_Buf[2];
    m_R = r;
    if (end > Placeholder) {
        CMesDisp first;
        if (NextMes(m_Pos, first)) {
            m_isVoice = IsVoiceType(first.TypMes());
            m_isSQL = IsSQLType(first.TypMes());
        }
    }
    return true;
}

bool CPackDisp::Link(CPackDisp& other)
{
    if (m_isVoice || other.m_isVoice || &other == this) return false;
    // Work on copies, so that a failure leaves both packets as they were.
    CPackDisp merged(*this);
    CPackDisp rest;
    bool moving = merged.LenInRange() && merged.m_R <= merged.Len() - HeadLen;
    bool moved = false;
    CMesDisp mes;
    for (int pos = HeadLen; other.NextMes(pos, mes);) {
        const int m = mes.Len();
        if (moving) {
            const bool voiceBlocked = IsVoiceType(mes.TypMes()) && merged.Len() - merged.m_R > HeadLen;
            // At exactly 512 AddMes would keep the message and drop the
            // replies: acknowledgements must never be lost to a merge.
            if (!voiceBlocked && merged.Len() + m < MaxLen) {
                merged.Append(mes);
                moved = true;
                continue;
            }
            moving = false;
        }
        if (rest.Len() + m > MaxLen) return false;
        rest.Append(mes);   // no replies there, so nothing to lose
    }
    rest.m_isVoice = rest.m_isSQL = false;
    *this = merged;
    other = rest;
    return moved;
}

bool CPackDisp::IsExistClose() const
{
    CMesDisp mes;
    for (int pos = HeadLen; NextMes(pos, mes);)
        if (mes.TypMes() == CMesDisp::CloseLink) return true;
    return false;
}
