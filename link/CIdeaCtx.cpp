#include "link/CIdeaCtx.h"

#include <cstring>

namespace {

// Multiplication modulo 65537, with 0 standing for 65536.
uint16_t Mul(uint16_t a, uint16_t b)
{
    if (a == 0) return static_cast<uint16_t>(1 - b);
    if (b == 0) return static_cast<uint16_t>(1 - a);
    uint32_t p = uint32_t(a) * b;
    uint16_t lo = static_cast<uint16_t>(p);
    uint16_t hi = static_cast<uint16_t>(p >> 16);
    return static_cast<uint16_t>(lo - hi + (lo < hi ? 1 : 0));
}

// Multiplicative inverse modulo 65537 (0 and 1 are their own inverses).
uint16_t MulInv(uint16_t x)
{
    if (x <= 1) return x;
    // Extended Euclid on (65537, x), keeping only the coefficient of x.
    int32_t a = 65537, b = x, s0 = 0, s1 = 1;
    while (b != 0) {
        int32_t q = a / b;
        int32_t r = a - q * b;
        a = b;
        b = r;
        int32_t s = s0 - q * s1;
        s0 = s1;
        s1 = s;
    }
    if (s0 < 0) s0 += 65537;
    return static_cast<uint16_t>(s0);
}

uint16_t Neg(uint16_t x) { return static_cast<uint16_t>(0 - x); }

void Crypt(const uint16_t k[52], const unsigned char* in, unsigned char* out)
{
    uint16_t x1 = uint16_t(in[0] << 8 | in[1]), x2 = uint16_t(in[2] << 8 | in[3]);
    uint16_t x3 = uint16_t(in[4] << 8 | in[5]), x4 = uint16_t(in[6] << 8 | in[7]);
    for (int r = 0; r < 8; ++r, k += 6) {
        x1 = Mul(x1, k[0]);
        x2 = static_cast<uint16_t>(x2 + k[1]);
        x3 = static_cast<uint16_t>(x3 + k[2]);
        x4 = Mul(x4, k[3]);
        uint16_t t1 = Mul(static_cast<uint16_t>(x1 ^ x3), k[4]);
        uint16_t t2 = Mul(static_cast<uint16_t>(t1 + (x2 ^ x4)), k[5]);
        t1 = static_cast<uint16_t>(t1 + t2);
        x1 ^= t2;
        x4 ^= t1;
        uint16_t a = static_cast<uint16_t>(x2 ^ t1);
        x2 = static_cast<uint16_t>(x3 ^ t2);   // the middle words change places
        x3 = a;
    }
    // Output transformation; it undoes the last exchange of the middle words.
    uint16_t y1 = Mul(x1, k[0]);
    uint16_t y2 = static_cast<uint16_t>(x3 + k[1]);
    uint16_t y3 = static_cast<uint16_t>(x2 + k[2]);
    uint16_t y4 = Mul(x4, k[3]);
    const uint16_t y[4] = {y1, y2, y3, y4};
    for (int i = 0; i < 4; ++i) {
        out[2 * i] = static_cast<unsigned char>(y[i] >> 8);
        out[2 * i + 1] = static_cast<unsigned char>(y[i]);
    }
}

}  // namespace

CIdeaCtx::CIdeaCtx()
{
    std::memset(m_Enc, 0, sizeof m_Enc);
    std::memset(m_Dec, 0, sizeof m_Dec);
}

void CIdeaCtx::Key(const unsigned char* key16)
{
    // The eight key words, then the key rotated left by 25 bits for every
    // next eight.
    uint16_t w[8];
    for (int i = 0; i < 8; ++i) w[i] = static_cast<uint16_t>(key16[2 * i] << 8 | key16[2 * i + 1]);
    for (int i = 0; i < 52; ++i) {
        if (i > 0 && i % 8 == 0) {
            uint16_t r[8];
            for (int j = 0; j < 8; ++j)
                r[j] = static_cast<uint16_t>(w[(j + 1) % 8] << 9 | w[(j + 2) % 8] >> 7);
            std::memcpy(w, r, sizeof w);
        }
        m_Enc[i] = w[i % 8];
    }

    // Decryption schedule: the published inversion, round by round backwards.
    const uint16_t* e = m_Enc;
    uint16_t* d = m_Dec;
    d[0] = MulInv(e[48]);
    d[1] = Neg(e[49]);
    d[2] = Neg(e[50]);
    d[3] = MulInv(e[51]);
    for (int r = 1; r < 8; ++r) {
        int s = 48 - 6 * r;
        d[6 * r - 2] = e[s + 4];
        d[6 * r - 1] = e[s + 5];
        d[6 * r + 0] = MulInv(e[s]);
        d[6 * r + 1] = Neg(e[s + 2]);   // the additive keys of inner rounds swap
        d[6 * r + 2] = Neg(e[s + 1]);
        d[6 * r + 3] = MulInv(e[s + 3]);
    }
    d[46] = e[4];
    d[47] = e[5];
    d[48] = MulInv(e[0]);
    d[49] = Neg(e[1]);
    d[50] = Neg(e[2]);
    d[51] = MulInv(e[3]);
}

void CIdeaCtx::Encrypt(const unsigned char* in, unsigned char* out, int blocks) const
{
    for (int i = 0; i < blocks; ++i) Crypt(m_Enc, in + 8 * i, out + 8 * i);
}

void CIdeaCtx::Decrypt(const unsigned char* in, unsigned char* out, int blocks) const
{
    for (int i = 0; i < blocks; ++i) Crypt(m_Dec, in + 8 * i, out + 8 * i);
}
