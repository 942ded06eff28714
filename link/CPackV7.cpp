#include "link/CPackV7.h"

#include "base/Crc16.h"
#include "base/Secrets.h"
#include "link/CIdeaCtx.h"
#include "link/CMes.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>

namespace {

constexpr std::array<unsigned char, 256> MakeStep3()
{
    std::array<unsigned char, 256> t{};
    for (int i = 0; i < 256; ++i) {
        unsigned crc = static_cast<unsigned>(i);
        for (int b = 0; b < 8; ++b) crc = (crc & 0x80) ? (crc << 1) ^ 0x43 : crc << 1;
        t[i] = static_cast<unsigned char>(crc);
    }
    return t;
}

// Where ChanCod starts in the key: the nonce rotated left by 2 within a byte.
int KeyStart(unsigned r) { return static_cast<int>(((r << 2) | (r >> 6)) & 0x0F); }

// A packet of these classes is ours; anything else fails decoding.
bool IsKnownClass(int cls) { return cls == 3 || cls == 4 || cls == 7 || cls == 8; }

}  // namespace

const std::array<unsigned char, 256> CPackV7::Step3 = MakeStep3();
const unsigned char* const CPackV7::DefaultKey = Secrets::SerialKey.data();
const unsigned char* const CPackV7::ForKeySYS = Secrets::ForKeySys.data();

const CIdeaCtx& ProCloudKey()
{
    static const CIdeaCtx ctx = [] {
        CIdeaCtx c;
        c.Key(Secrets::ProCloudKey.data());
        return c;
    }();
    return ctx;
}

void CPackV7::SeedNonce()
{
    std::random_device dev("default");
    std::srand(dev());
}

CPackV7::CPackV7() { Clear(); }

CPackV7::CPackV7(const CIdentV7& src, const CIdentV7& dst)
{
    Clear();
    m_Class = classData;
    m_Typ = packEmpty;
    m_Src = src;
    m_Dst = dst;
    m_Len = kHeadLen;
    PutHead();
}

CPackV7::CPackV7(const CMes& mes)
{
    Clear();
    const int len = std::clamp(mes.m_Len, 0, CMes::kMaxLen);
    m_Buf[13] = static_cast<unsigned char>(len + 1);
    SetBody(classData, packMes, 14, kBufSize, mes.m_Buf, len);
}

void CPackV7::Clear()
{
    std::memset(m_Buf, 0, sizeof m_Buf);
    m_Len = 0;
    m_Pos = 0;
    m_Class = 0;
    m_Typ = 0;
    m_Ident = 0;
    m_Repl = 0;
    m_Src.Clear();
    m_Dst.Clear();
    m_Res = 0;
    ResetBodyFields();
    m_Valid = true;
    m_Resend = false;
}

void CPackV7::ResetBodyFields()
{
    m_Ask = -1;
    m_DirAsk = 1;
    m_MesLen = -1;
    m_MesKind = -1;
    m_MesAdr = 0;
}

void CPackV7::PutHead()
{
    m_Buf[0] = static_cast<unsigned char>(m_Class);
    m_Buf[1] = static_cast<unsigned char>(m_Ident);
    m_Buf[2] = static_cast<unsigned char>(m_Repl);
    m_Src.GetValue(m_Buf + 3);
    m_Dst.GetValue(m_Buf + 7);
    m_Buf[11] = static_cast<unsigned char>(m_Res);
    m_Buf[12] = static_cast<unsigned char>(m_Typ);
}

bool CPackV7::SetBody(int cls, int typ, int bodyAt, int limit, const unsigned char* data, int len)
{
    if (len < 0 || len >= limit) return false;
    m_Class = cls;
    m_Typ = typ;
    ResetBodyFields();
    PutHead();
    if (data && len > 0) std::memcpy(m_Buf + bodyAt, data, static_cast<size_t>(len));
    m_Len = bodyAt + len;
    return true;
}

bool CPackV7::SetLink(int typ, const unsigned char* data, int len) { return SetBody(classLink, typ, 13, 1010, data, len); }

bool CPackV7::SetVoice(int typ, const unsigned char* data, int len) { return SetBody(classVoice, typ, 13, 1010, data, len); }

bool CPackV7::SetData(int typ, const unsigned char* data, int len) { return SetBody(classData, typ, 13, 1009, data, len); }

bool CPackV7::SetAsk(int typ, int ask, int dirAsk, const unsigned char* data, int len)
{
    if (!SetBody(classData, typ, 14, 1009, data, len)) return false;
    m_Ask = ask;
    m_DirAsk = dirAsk != 0 ? 1 : 0;
    m_Buf[13] = static_cast<unsigned char>((ask & 0x7F) | (m_DirAsk << 7));
    return true;
}

void CPackV7::SetID(const CIdentV7& src, const CIdentV7& dst)
{
    m_Src = src;
    m_Dst = dst;
    m_Src.GetValue(m_Buf + 3);
    m_Dst.GetValue(m_Buf + 7);
}

void CPackV7::SetIdent(int ident)
{
    m_Ident = ident;
    m_Buf[1] = static_cast<unsigned char>(ident);
}

bool CPackV7::AddRepl(unsigned char repl)
{
    if (m_Repl != 0) return false;
    m_Repl = repl;
    m_Buf[2] = repl;
    return true;
}

void CPackV7::UnPack()
{
    if (m_Len < kHeadLen) {
        m_Valid = false;
        return;
    }
    m_Class = m_Buf[0];
    m_Ident = m_Buf[1];
    m_Repl = m_Buf[2];
    m_Src.SetValue(m_Buf + 3);
    m_Dst.SetValue(m_Buf + 7);
    m_Res = m_Buf[11];
    m_Valid = true;
    m_Typ = m_Buf[12] & 0x7F;
    if (m_Class == classData) {
        if (m_Typ == 3 || m_Typ == 4 || m_Typ == 7 || m_Typ == 10) {
            // A 13-byte packet of these types has no ask byte: offset 13 is
            // then the CRC, read as the units read it.
            m_DirAsk = m_Buf[13] >> 7;
            m_Ask = m_Buf[13] & 0x7F;
        } else if (m_Typ == packMes) {
            if (m_Len < 18) {
                m_Valid = false;
            } else {
                // The head of the carried message as the units index it:
                // the address form read from the length byte on.
                m_MesLen = m_Buf[13];
                CMes::GetAdr(m_Buf + 13, m_MesAdr, m_MesKind);
                if ((m_MesLen == 26 || m_MesLen == 58) && (m_MesAdr & 0x80)) {
                    m_MesAdr &= 0x7F;
                    m_MesKind |= 0x10;
                }
            }
        }
    }
    m_Pos = 14;
}

bool CPackV7::GetMes(CMes& mes) const
{
    if (m_Len > kHeadLen && m_Buf[13] + kHeadLen == m_Len) return mes.SetDann(m_Buf[13] - 1, m_Buf + 14);
    mes.Clear();
    return false;
}

bool CPackV7::IsRestart() const
{
    return m_Class == classData && m_Typ == packAsk && m_Ask == askRestart && m_DirAsk == 1;
}

bool CPackV7::IsOnOffGGS() const
{
    if (m_Class != classData) return false;
    if (m_Typ == packMes) {
        CMes mes;
        return GetMes(mes) && mes.m_TypMes == CMes::mesGgsOnOff;
    }
    return m_Typ == packAsk && m_DirAsk == 1 && (m_Ask == askGgs65 || m_Ask == askGgs66);
}

unsigned short CPackV7::CRC16(const unsigned char* data, int len) { return Crc16(data, len); }

unsigned char CPackV7::CRC8(const unsigned char* data, int len)
{
    unsigned char crc = 0;
    for (int i = 0; i < len; ++i) crc = Step3[crc ^ data[i]];
    return crc;
}

void CPackV7::SetCRC()
{
    if (m_Len < 0 || m_Len > kMaxLen) return;
    const unsigned short crc = CRC16(m_Buf, m_Len);
    m_Buf[m_Len] = static_cast<unsigned char>(crc);
    m_Buf[m_Len + 1] = static_cast<unsigned char>(crc >> 8);
}

bool CPackV7::TestCRC() const
{
    if (m_Len < 0 || m_Len > kMaxLen) return false;
    const unsigned stored = m_Buf[m_Len] | m_Buf[m_Len + 1] << 8;
    return CRC16(m_Buf, m_Len) == stored && IsKnownClass(m_Class);
}

int CPackV7::ChanCod(unsigned char* out, int outMax, const unsigned char* key)
{
    // An image that cannot carry its CRC in the buffer is not coded at all.
    if (!out || !key || m_Len < 0 || m_Len > kMaxLen) return 0;
    const unsigned r = static_cast<unsigned>(std::rand()) & 0xFF;
    SetCRC();
    const int total = m_Len + 2;
    const int n = std::max(0, std::min(total, outMax));

    // Forward pass: a running XOR chain from the nonce, each byte keyed by a
    // key byte that the previous cipher byte selects.
    int idx = KeyStart(r);
    unsigned t = r;
    for (int i = 0; i < n; ++i) {
        t ^= m_Buf[i];
        const unsigned char c = static_cast<unsigned char>(key[idx] ^ t);
        out[i] = c;
        idx = (c + 1) & 0x0F;
    }
    // No room for the nonce: the output is cut and unreadable, as the units
    // do it; the caller's buffer is never overrun.
    if (total >= outMax) return n;

    // The nonce travels hidden behind the CRC-8 of the cipher text.
    out[n] = static_cast<unsigned char>(CRC8(out, n) ^ r);
    // Backward pass, so that every output byte depends on all that follow.
    unsigned a = 1;
    int k = 4;
    for (int i = n; i >= 0; --i) {
        a ^= out[i];
        out[i] = static_cast<unsigned char>(Step3[key[k]] ^ a);
        k = (k + 1) & 0x0F;
    }
    return n + 1;
}

bool CPackV7::ChanDecod(const unsigned char* in, int len, const unsigned char* key)
{
    Clear();
    if (!in || !key) return false;
    const int L = std::clamp(len, 0, kBufSize);
    if (L == 0) {   // not even a nonce byte
        m_Valid = false;
        return false;
    }
    std::memcpy(m_Buf, in, static_cast<size_t>(L));

    unsigned a = 1;
    int k = 4;
    for (int i = L - 1; i >= 0; --i) {
        const unsigned s = Step3[key[k]] ^ m_Buf[i];
        m_Buf[i] = static_cast<unsigned char>(a ^ s);
        a = s;
        k = (k + 1) & 0x0F;
    }
    const unsigned r = CRC8(m_Buf, L - 1) ^ m_Buf[L - 1];
    int idx = KeyStart(r);
    unsigned prev = r;
    for (int i = 0; i < L - 1; ++i) {
        const unsigned c = m_Buf[i];
        const unsigned s = key[idx] ^ c;
        m_Buf[i] = static_cast<unsigned char>(prev ^ s);
        prev = s;
        idx = static_cast<int>((c + 1) & 0x0F);
    }

    // Below 16 coded bytes there is no header (UnPack marks it invalid); the
    // length is kept at 0 or more so that no caller indexes before the buffer.
    m_Len = std::max(0, L - 3);
    UnPack();
    return TestCRC();
}

int CPackV7::ChanCloudProCod(unsigned char* out, int outMax, const unsigned char* key)
{
    if (!out || !key || m_Len < 0 || m_Len > kMaxLen) return 0;
    SetCRC();
    const int blocks = (m_Len + 20 + 7) / 8;
    if (blocks > 128) return 0;
    const int extra = std::rand() % 4;
    if (8 * blocks + extra > outMax) return 0;

    // Length, image with CRC, link key; the filler up to the block has no
    // meaning and is left zero.
    unsigned char plain[kBufSize] = {};
    plain[0] = static_cast<unsigned char>(m_Len + 2);
    plain[1] = static_cast<unsigned char>((m_Len + 2) >> 8);
    std::memcpy(plain + 2, m_Buf, static_cast<size_t>(m_Len + 2));
    std::memcpy(plain + 4 + m_Len, key, 16);
    ProCloudKey().Encrypt(plain, out, blocks);
    for (int i = 0; i < extra; ++i) out[8 * blocks + i] = static_cast<unsigned char>(std::rand());
    return 8 * blocks + extra;
}

bool CPackV7::ChanCloudProDecod(const unsigned char* in, int len, unsigned char* keyOut)
{
    // All parsed fields start from their defaults, not from the last packet
    // decoded into this object.
    Clear();
    if (!in) return false;
    const int blocks = len / 8;   // the random tail goes with the remainder
    if (blocks < 3 || blocks > 128) return false;
    unsigned char plain[kBufSize];
    ProCloudKey().Decrypt(in, plain, blocks);
    const int received = 8 * blocks;

    const int p = plain[0] | plain[1] << 8;
    if (p > kBufSize) return false;
    // A length beyond the deciphered blocks takes only what was received;
    // the rest of the image stays zero and the CRC decides.
    std::memcpy(m_Buf, plain + 2, static_cast<size_t>(std::min(p, received - 2)));
    m_Len = std::max(0, p - 2);
    UnPack();
    if (!TestCRC()) return false;
    if (keyOut) {
        // The key follows the CRC; bytes of it that were not received read 0.
        std::memset(keyOut, 0, 16);
        const int at = 2 + p;
        if (at < received) std::memcpy(keyOut, plain + at, static_cast<size_t>(std::min(16, received - at)));
    }
    return true;
}
