#pragma once
// CMes: a message of the older lift network, at most 63 bytes. A V7 packet
// of class 4, type 1 carries exactly one; the configurator passes them
// between the unit and the dispatcher tools unchanged.
//
// Image: 0..1 origin, 2..3 destination (address form below), 4 hop count,
// 5 typMes, 6.. by type.
// Address form: byte 0 bits 0..5 are address bits 2..7, byte 1 bits 4..5
// address bits 0..1, byte 1 bits 0..3 the device. Bits 6..7 of both stay
// free, so that a message byte is never taken for a CPackMes marker.
#include "link/CInfoCLB.h"
#include "link/CSostDev.h"

#include <cstdint>

class CMes {
public:
    static constexpr int kMaxLen = 63;

    // Message types that the code tests. Bit 5 (0x20) marks a variant of the
    // same shape, so several names go by their numbers.
    enum typMes {
        mesNVRAMAsk = 10,        // job in bits 0..5 of 6, 16-bit address from 7..9
        mesNVRAMData13 = 13,     // address, length, status at 6..9; 6-bit data from 10
        mesAddrAt11_14 = 14,     // subject address at 11..12
        mesState25 = 25,         // subject address at 6..7, then device state
        mesState26 = 26,         // as 25; address bit 7 moves to device bit 4
        mesService29 = 29,       // service 6, address 7, device 8 bits 0..4
        mesService30 = 30,
        mesPrefix = 31,          // prefix at 6; for prefix 1 a 6-bit mask at 7..12
        mesNVRAMData45 = 45,
        mesAddrAt11_46 = 46,
        mesGgsOnOff = 48,        // put at the head of the sender's queue
        mesState58 = 58,         // address bit 7 moves to device bit 4, no state
        mesService61 = 61,
        mesService62 = 62,
    };

    CMes() { Clear(); }
    // Zeroes everything; the priority becomes 255.
    void Clear();
    // Clears, then takes up to 63 bytes and parses them; a longer (or
    // negative) length is false and leaves the message cleared.
    bool SetDann(int len, const unsigned char* data);
    // Parses the header and, by type, the subject fields of the image. The
    // information word is read (type 25), never written.
    void UnPack();

    static void GetAdr(const unsigned char* p, int& adr, int& dev);
    void IncHopCount();

    // Long data travels 6 bits to a byte, four bytes for three, lowest bits
    // first. Return the number of bytes written: (8 * len + 5) / 6 sextets,
    // or 6 * len / 8 bytes.
    static int Conv8To6(const unsigned char* src, int len, unsigned char* dst);
    static int Conv6To8(const unsigned char* src, int len, unsigned char* dst);

    int m_Len;
    unsigned char m_Buf[kMaxLen];
    int m_Prior;
    int m_OrigAdr;
    int m_OrigDev;
    int m_DestAdr;
    int m_DestDev;
    int m_Hop;
    int m_Lvl;          // not carried by any message this program reads
    int m_TypMes;
    int m_Serv;
    int m_SubAdr;       // subject of the message, by type
    int m_SubDev;
    int m_Prefix;
    uint64_t m_Mask;    // 36 bits, from prefix messages
    CSostDev m_SostDev;
    CInfoCLB m_InfoCLB;

private:
    void ClearParsed();   // all but the priority and the information word
};
