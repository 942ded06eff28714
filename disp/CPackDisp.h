#pragma once
// CPackDisp: one datagram of the dispatcher protocol, kept in wire form with
// its parse state beside it, so that a packet is built, sent, resent from the
// window and read without a second buffer. Plain image, numbers little-endian:
//
//   0      2  L: bytes from 0 up to and including the replies (empty packet: 4)
//   2      1  ident: 1..255 when an acknowledgement is expected, else 0
//   3      1  0x10 | R, R = number of reply bytes (0..15)
//   4      .. messages, each a CMesDisp image (2-byte length counting itself,
//             type, body); a 2-byte message is empty and skipped
//   L - R  R  replies: the idents of packets received from the peer
//   L      2  CRC-16 of bytes 0..L-1
//
// Every operation that changes the image rewrites the CRC, so the image is
// always ready to send. A parse never throws: damage shows as valid() false
// or GetMes returning false, and the caller drops the datagram.
//
// A plain value, copied on every hand-over and never shared between threads.
// Encoding/Decoding only read the key; the caller holds the key's lock.
#include "disp/CMesDisp.h"

#include <cstdint>

class CIdeaCtx;

class CPackDisp {
public:
    static constexpr int BufSize = 0x20C;     // 524: the buffer, and the receive size
    static constexpr int HeadLen = 4;
    static constexpr int MaxLen = 0x200;      // 512: L + M above this refuses a message
    static constexpr int MaxInLen = 0x202;    // 514: largest L accepted from the wire
    static constexpr int MaxMesLen = CMesDisp::MaxLen;   // 490
    static constexpr int MaxReplies = 15;
    static constexpr int MaxBlocks = 65;      // 8-byte cipher blocks in one datagram
    static constexpr int Placeholder = 6;     // L of a packet holding one empty message

    // The empty packet: 04 00 00 10 and its CRC.
    CPackDisp();
    // A packet holding `mes` (a message over 508 bytes is left out). Here,
    // and only here, isSQL also covers ExecuteAsk (0x4F). An empty message
    // gives the placeholder packet, which the next AddMes replaces.
    explicit CPackDisp(const CMesDisp& mes);

    void Clear();

    // Appends a message in front of the replies. Refused (false, packet
    // unchanged): a voice message when the packet holds anything besides the
    // header and replies, or L + M above 512. Also false, with the message in
    // and the replies dropped, when the replies no longer fit behind it
    // (L reaching 512). Sets isVoice/isSQL from the type, except for
    // TimeAndGUID, which must not hide what a packet carries.
    bool AddMes(const CMesDisp& mes);

    // Reading: BegGet, then GetMes until false (end, damage, or a message of
    // type 0 or 255, which ends the reading there). Empty messages are skipped.
    // A packet that failed its parse yields no message at all.
    void BegGet() { m_Pos = HeadLen; }
    bool GetMes(CMesDisp& mes) const;

    void SetIdent(int ident);
    void DelIdent() { SetIdent(0); }

    // Appends acknowledgement bytes; false if L would pass 511 or R pass 15.
    bool AddReply(const unsigned char* idents, int count);
    // The reply bytes and their number (0 for a damaged image).
    const unsigned char* GetReply(int& count) const;

    // The datagram for `out`: with a key, the image padded with random bytes
    // to whole IDEA blocks, enciphered, then 0..3 random bytes so the length
    // does not give the packet's size away; without one, the plain image cut
    // to outMax. Returns the byte count, 0 on failure.
    int Encoding(unsigned char* out, int outMax, const CIdeaCtx* key);
    // Fills this packet from a datagram and parses it (null key: plain). The
    // result is valid(), also returned. Whole blocks only, so the random tail
    // falls away; a datagram shorter than L + 2 is damaged.
    bool Decoding(const unsigned char* in, int length, const CIdeaCtx* key);
    // Parses the image in the buffer; leaves the read position behind the
    // first message, so readers call BegGet first.
    bool UnPack();

    // Moves as many messages of `other` as fit into this packet (queue
    // merging); `other` becomes a fresh unnumbered packet of those left, in
    // order. Stops moving at a voice message, at the first that does not fit,
    // and before one that would squeeze out this packet's replies. False, with
    // both packets unchanged, if either is voice or the rest cannot be held;
    // otherwise whether anything moved. Replies of `other` are not carried.
    bool Link(CPackDisp& other);

    // Some message of the packet is a CloseLink.
    bool IsExistClose() const;

    int Len() const { return m_Buf[0] | m_Buf[1] << 8; }   // L
    // The whole plain image, L + 2 bytes (what the traffic log writes).
    int PlainLen() const;
    const unsigned char* Data() const { return m_Buf; }
    // For writing a received image in place before UnPack.
    unsigned char* Buffer() { return m_Buf; }
    int Ident() const { return m_Ident; }
    int ReplyCount() const { return m_R; }
    // Nothing but the header and replies (L - R below 5).
    bool IsEmpty() const { return Len() - m_R < HeadLen + 1; }
    bool isVoice() const { return m_isVoice; }
    bool isSQL() const { return m_isSQL; }
    bool valid() const { return m_valid; }

    static bool IsVoiceType(int type) { return type == CMesDisp::Voice; }
    static bool IsSQLType(int type) { return type >= CMesDisp::AcceptSQLAsk && type <= CMesDisp::FragSQLAnsw; }

    // CRC-16, polynomial 0x1021, initial 0, high bit first, no final inversion.
    static uint16_t Crc16(const unsigned char* data, int len);

private:
    void SetLen(int len)
    {
        m_Buf[0] = static_cast<unsigned char>(len);
        m_Buf[1] = static_cast<unsigned char>(len >> 8);
    }
    bool LenInRange() const { return Len() >= HeadLen && Len() <= MaxInLen; }
    void WriteCrc();
    void Invalidate();
    // AddMes from the point where the message has been accepted.
    bool Append(const CMesDisp& mes);
    // GetMes from an explicit position, for the walks that must not move the
    // read position.
    bool NextMes(int& pos, CMesDisp& mes) const;

    unsigned char m_Buf[BufSize];
    mutable int m_Pos;   // read position; GetMes is a read of the packet
    bool m_isVoice;
    bool m_isSQL;
    bool m_valid;
    int m_Ident;
    int m_R;
};
