#pragma once
// CPackMes: the older container of lift-network messages, used only to hand
// messages between the V7 link and the dispatcher tools.
//
// Image (at most 63 bytes, the check byte behind it): byte 0 is not part of
// the messages; then an optional ident byte (top bits 10, value in the low
// 6 bits, at byte 1 only); then messages, each one length byte (message
// length + 1) and the message. Bytes with top bits 01 behind that are
// acknowledgements (repl); they are taken out of the image on receipt.
// Check byte: the CRC-8 of CPackV7 over the image, bit 7 cleared.
#include "link/CMes.h"

class CPackMes {
public:
    static constexpr int kMaxLen = 63;
    static constexpr int kMaxFill = 59;   // image + message length for AddMes

    // Empty: byte 0 (zero) only, ready for AddMes; priority 255.
    CPackMes();
    // Takes an image clipped to 63 bytes, records its ident and strips the
    // repl bytes. A negative length or null data gives an empty image.
    CPackMes(int len, const unsigned char* data, int prior);

    // False if the image plus the message would exceed 59 bytes.
    bool AddMes(const CMes& mes);
    void BegGet();
    // The next message; false at the end or on a length byte outside 6..59
    // or beyond the image, and the message is then cleared.
    bool GetMes(CMes& mes);

    int m_Len;                       // image bytes, without the check byte
    unsigned char m_Buf[kMaxLen + 1];
    int m_Prior;
    int m_Ident;                     // -1 when the image has none
    int m_NRepl;
    unsigned char m_Repl[kMaxLen];
    int m_Pos;                       // read position of GetMes

private:
    void Init(int prior);
    void SetCheck();
};
