#pragma once
// CPackV7: one packet of the V7 link, as a flat byte image plus its parsed
// header. The same packet travels over UDP and over the USB serial line.
//
// Plain image (what is hashed and enciphered):
//   0 class   1 ident (1..127, 0 = not sequenced)   2 repl (0 = none)
//   3..6 source CIdentV7   7..10 destination CIdentV7   11 reserved (carried)
//   12 type (bit 7 ignored on receipt)   13.. body, by class and type
// The CRC-16 (XMODEM parameters, low byte first) lies behind the image.
//
// Two channel codings: ChanCod/ChanDecod under a link key (every direct
// link), ChanCloudProCod/ChanCloudProDecod under the fixed cloud IDEA key,
// with the link key carried inside.
//
// A packet object belongs to one thread at a time (senders queue copies).
// The nonce of the codings comes from the C library's rand(), which is
// thread-safe in glibc; see SeedNonce.
#include "link/CIdentV7.h"

#include <array>

class CIdeaCtx;
class CMes;

class CPackV7 {
public:
    enum classPack { classLink = 3, classData = 4, classVoice = 7, classPack8 = 8 };
    // Types by class: packLink* in class 3, the others in class 4.
    enum typPack {
        packLinkAlive = 0,
        packLinkClose = 4,
        packLinkNoSender = 5,
        packEmpty = 0,
        packMes = 1,
        packAsk = 3,
        packAskTest = 8,
    };
    enum typAsk {
        askInfo = 0,
        askNVRAM = 1,
        askRestart = 2,
        askStatus = 4,
        askDirect = 5,
        askStatistic = 7,
        askSystem = 8,
        askWiFi = 9,
        askMQTT = 28,
        askG4 = 36,
        askGgs65 = 65,
        askGgs66 = 66,
    };
    // Bit 7 of the ask byte, set for any non-zero value.
    enum typDirAsk { dirAnswer = 0, dirAsk = 1 };

    static constexpr int kBufSize = 1024;
    static constexpr int kHeadLen = 13;
    // The largest image whose CRC still fits the buffer, and the largest
    // that ChanDecod can take back (it reads at most 1024 coded bytes).
    static constexpr int kMaxLen = kBufSize - 2;
    static constexpr int kMaxDecodLen = kBufSize - 3;

    // Channel key of the USB serial line, and the IDEA key that turns a
    // password into a link key (CKeySys::Create). Both 16 bytes.
    static const unsigned char* const DefaultKey;
    static const unsigned char* const ForKeySYS;

    CPackV7();
    // The 13-byte packEmpty from src to dst.
    CPackV7(const CIdentV7& src, const CIdentV7& dst);
    // packMes carrying the message; identifiers left clear for SetID.
    explicit CPackV7(const CMes& mes);

    void Clear();

    // Setters rewrite the image from the members and return false, changing
    // nothing, when the data is too long (or the length negative). Null data
    // leaves the body bytes as they are but still counts in m_Len.
    bool SetLink(int typ, const unsigned char* data, int len);    // class 3, len < 1010
    bool SetVoice(int typ, const unsigned char* data, int len);   // class 7, len < 1010
    bool SetData(int typ, const unsigned char* data, int len);    // class 4, len < 1009
    bool SetAsk(int typ, int ask, int dirAsk, const unsigned char* data, int len);   // class 4, len < 1009

    void SetID(const CIdentV7& src, const CIdentV7& dst);
    void SetIdent(int ident);
    void DelIdent() { SetIdent(0); }
    // Writes repl only while it is still 0: one acknowledgement per packet.
    bool AddRepl(unsigned char repl);

    // Parses the header from the image; m_Valid false below 13 bytes and for
    // a class 4, type 1 packet below 18.
    void UnPack();
    void BegGet() { m_Pos = 14; }
    // The carried message of a packMes, when its length byte agrees with
    // m_Len and the message fits a CMes.
    bool GetMes(CMes& mes) const;

    bool IsInIdent() const { return m_Class == classData && m_Typ != 0; }
    bool IsCloseLink() const { return m_Class == classLink && m_Typ == packLinkClose; }
    bool IsRestart() const;
    bool IsOnOffGGS() const;

    // CRC-16 over m_Len bytes, stored behind the image / compared with the
    // stored one together with the class test of the decoders.
    void SetCRC();
    bool TestCRC() const;

    // Codes into out (at most outMax bytes) under a 16-byte key; returns the
    // count, m_Len + 3 normally. With outMax not above m_Len + 2 the output
    // is cut and has no nonce, so that the peer cannot read it.
    int ChanCod(unsigned char* out, int outMax, const unsigned char* key);
    // True for a packet of class 3, 4, 7 or 8 whose CRC-16 holds.
    bool ChanDecod(const unsigned char* in, int len, const unsigned char* key);
    // Cloud coding: length, image, CRC and `key` as IDEA blocks under
    // ProCloudKey(), then 0..3 random bytes. 0 when it does not fit.
    int ChanCloudProCod(unsigned char* out, int outMax, const unsigned char* key);
    // Needs 24..1031 bytes; on success the carried link key goes to keyOut.
    bool ChanCloudProDecod(const unsigned char* in, int len, unsigned char* keyOut);

    static unsigned short CRC16(const unsigned char* data, int len);
    static unsigned char CRC8(const unsigned char* data, int len);
    // CRC-8 table, MSB first, polynomial 0x43; also a substitution in ChanCod.
    static const std::array<unsigned char, 256> Step3;

    // Seeds the nonce source (the C library's rand) from the system's random
    // device. Each program that codes packets calls it once at start; without
    // it every process draws the same nonces, which the format tolerates.
    static void SeedNonce();

    unsigned char m_Buf[kBufSize];
    int m_Len;          // bytes of the image in use, without the CRC
    int m_Pos;          // read position in the body
    int m_Class;
    int m_Typ;
    int m_Ask;          // -1 unless parsed or set
    int m_DirAsk;       // 1 unless parsed or set
    int m_Ident;
    int m_Repl;
    CIdentV7 m_Src;
    CIdentV7 m_Dst;
    int m_Res;          // image byte 11, carried as received
    int m_MesLen;       // head of a carried CMes (class 4, type 1)
    int m_MesKind;
    int m_MesAdr;
    bool m_Valid;
    bool m_Resend;      // for the sender's window; set by nothing here

private:
    void PutHead();
    bool SetBody(int cls, int typ, int bodyAt, int limit, const unsigned char* data, int len);
    void ResetBodyFields();
};

// The IDEA context of the cloud coding, keyed once at first use.
const CIdeaCtx& ProCloudKey();
