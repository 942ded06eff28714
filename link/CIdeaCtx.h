#pragma once
// CIdeaCtx: the IDEA block cipher as published (Lai and Massey): 128-bit key,
// 64-bit blocks, 8.5 rounds, keys and blocks read as big-endian 16-bit words.
// Blocks are treated one by one (no chaining mode is used anywhere).
#include <cstdint>

class CIdeaCtx {
public:
    CIdeaCtx();
    // Fills the encryption schedule and derives the decryption schedule.
    void Key(const unsigned char* key16);
    // `blocks` 8-byte blocks; `in` and `out` may be the same buffer.
    void Encrypt(const unsigned char* in, unsigned char* out, int blocks) const;
    void Decrypt(const unsigned char* in, unsigned char* out, int blocks) const;

private:
    uint16_t m_Enc[52];
    uint16_t m_Dec[52];
};
