#include "base/Crc16.h"

#include <array>

namespace {

constexpr std::array<uint16_t, 256> MakeTable()
{
    std::array<uint16_t, 256> t{};
    for (int i = 0; i < 256; ++i) {
        unsigned crc = static_cast<unsigned>(i) << 8;
        for (int b = 0; b < 8; ++b) crc = (crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1;
        t[i] = static_cast<uint16_t>(crc);
    }
    return t;
}

constexpr std::array<uint16_t, 256> kTable = MakeTable();

}  // namespace

uint16_t Crc16(const unsigned char* data, int len)
{
    unsigned crc = 0;
    for (int i = 0; i < len; ++i) crc = (crc << 8) ^ kTable[((crc >> 8) ^ data[i]) & 0xFF];
    return static_cast<uint16_t>(crc);
}
