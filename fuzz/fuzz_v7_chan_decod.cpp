// ChanDecod on any datagram, and the ChanCod/ChanDecod round trip on any
// plain image. Input: 16 key bytes, then the bytes.
// Seeds: fuzz/corpus/v7_chan_decod/, valid coded packets behind their key.
#include "link/CPackV7.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 16) return 0;
    const unsigned char* key = data;
    const unsigned char* in = data + 16;
    const int len = static_cast<int>(size - 16 > 4096 ? 4096 : size - 16);

    CPackV7 rx;
    if (rx.ChanDecod(in, len, key)) {
        if (rx.m_Len < CPackV7::kHeadLen || rx.m_Len > CPackV7::kMaxDecodLen) std::abort();
        unsigned char again[CPackV7::kBufSize];
        CPackV7 copy = rx, back;
        const int n = copy.ChanCod(again, sizeof again, key);
        if (!back.ChanDecod(again, n, key) || back.m_Len != rx.m_Len ||
            std::memcmp(back.m_Buf, rx.m_Buf, static_cast<size_t>(rx.m_Len)) != 0)
            std::abort();
    }

    // The same bytes as a plain image: whatever it holds, it must come back.
    CPackV7 plain;
    plain.m_Len = len < CPackV7::kMaxDecodLen ? len : CPackV7::kMaxDecodLen;
    std::memcpy(plain.m_Buf, in, static_cast<size_t>(plain.m_Len));
    unsigned char wire[CPackV7::kBufSize];
    const int n = plain.ChanCod(wire, sizeof wire, key);
    if (n != plain.m_Len + 3) std::abort();
    CPackV7 back;
    const bool ok = back.ChanDecod(wire, n, key);
    const int cls = plain.m_Buf[0];
    const bool want = plain.m_Len >= CPackV7::kHeadLen && (cls == 3 || cls == 4 || cls == 7 || cls == 8);
    if (ok != want) std::abort();
    if (ok && std::memcmp(back.m_Buf, plain.m_Buf, static_cast<size_t>(plain.m_Len)) != 0) std::abort();
    return 0;
}
