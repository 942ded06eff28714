#pragma once
// CRC-16 with polynomial 0x1021, initial value 0, high bit first, no final
// inversion (the parameters known as CRC-16/XMODEM; check value 0x31C3 for
// "123456789"). Both link protocols, V7 and the dispatcher's, use it.
#include <cstdint>

uint16_t Crc16(const unsigned char* data, int len);
