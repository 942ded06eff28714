// ChanCloudProDecod on any datagram, and the cloud round trip on any plain
// image. Seeds: fuzz/corpus/v7_cloud_decod/, packets coded under the cloud
// key of this source tree (with other keys they are merely random input).
#include "link/CPackV7.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const int len = static_cast<int>(size > 4096 ? 4096 : size);
    CPackV7 rx;
    unsigned char key[16];
    if (rx.ChanCloudProDecod(data, len, key)) {
        if (rx.m_Len < CPackV7::kHeadLen || rx.m_Len > CPackV7::kMaxLen) std::abort();
    }

    // As a plain image with its first 16 bytes as the link key.
    if (size < 16) return 0;
    CPackV7 plain;
    plain.m_Len = len - 16 < 1004 ? len - 16 : 1004;
    std::memcpy(plain.m_Buf, data + 16, static_cast<size_t>(plain.m_Len));
    unsigned char wire[1100];
    const int n = plain.ChanCloudProCod(wire, sizeof wire, data);
    if (n < 24 || n > 8 * 128 + 3) std::abort();
    CPackV7 back;
    unsigned char keyBack[16];
    const bool ok = back.ChanCloudProDecod(wire, n, keyBack);
    const int cls = plain.m_Buf[0];
    const bool want = plain.m_Len >= CPackV7::kHeadLen && (cls == 3 || cls == 4 || cls == 7 || cls == 8);
    if (ok != want) std::abort();
    if (ok && (back.m_Len != plain.m_Len ||
               std::memcmp(back.m_Buf, plain.m_Buf, static_cast<size_t>(plain.m_Len)) != 0 ||
               std::memcmp(keyBack, data, 16) != 0))
        std::abort();
    return 0;
}
