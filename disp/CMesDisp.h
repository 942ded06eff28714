#pragma once
// CMesDisp: one message of the dispatcher protocol, kept in its wire form:
//
//   0  2  length of the whole message, little-endian, counting itself (>= 2)
//   2  1  type (typMes); 0 and 255 are never valid
//   3  .. body, laid out per type, no padding
//
// The first bytes are byte for byte a message inside a CPackDisp, so a message
// moves between the two by copying. Add/Get append and read the body's
// primitives; every Get checks the bounds first, so a message read from a
// stranger cannot make a reader run past it.
//
// A plain value: copied on hand-over, never shared between threads. Only the
// two class-wide date settings are shared, and they are atomic.
#include "base/DBGUID.h"
#include "base/DBString.h"
#include "base/DBTime.h"

#include <atomic>
#include <cstdint>

class CMesDisp {
public:
    static constexpr int MaxLen = 0x1EA;   // 490: the buffer, and a message's limit in a packet
    static constexpr int BodyPos = 3;

    // The protocol's vocabulary. This system exchanges only CloseLink, SendMsg
    // and Msg with the tools; the packet layer also knows Voice, the SQL range,
    // OpenLinkEx and TimeAndGUID. The rest keep their codes for the peers.
    enum typMes : unsigned char {
        NoType = 0x00,  // what TypMes reports for a message without a type byte
        GetNode = 0x01, Node = 0x02, SetGGS = 0x03, StatGGS = 0x04,
        GetParCfg = 0x05, GetParCfgEx = 0x05, ParCfg = 0x06, Event = 0x07, Notif = 0x08,
        Refresh = 0x09, SubscDial = 0x0A, GetGroupErr = 0x0B, GroupErr = 0x0C,
        OpenScanState = 0x0D, GetNextState = 0x0E, NextState = 0x0F, GetStateCar = 0x10,
        StateCar = 0x11, CleanErr = 0x12, MngOutput = 0x13, GradOff = 0x14, TestGGS = 0x15,
        Suspend = 0x16, OpenLog = 0x17, StateOpenLog = 0x18, GetEventLog = 0x19, CloseLog = 0x1A,
        CloseLink = 0x1B, OpenLinkEx = 0x1C, GetConfig = 0x1D, Config = 0x1E, GetTypLU = 0x1F,
        TypLU = 0x20, OpenStatist = 0x21, StateOpenStatist = 0x22, GetStatist = 0x23,
        Statist = 0x24, CloseStatist = 0x25, OpenErr = 0x26, StateOpenErr = 0x27, GetErr = 0x28,
        Err = 0x29, StateErr = 0x2A, CloseErr = 0x2B, SendMsg = 0x2C, SubscMsg = 0x2D, Msg = 0x2E,
        GetParamStatict = 0x2F, ParamStatict = 0x30, Execution = 0x31, BegExecution = 0x32,
        EndExecution = 0x33, ChangeUser = 0x34, ResChangeUser = 0x35, SetMultiGGS = 0x36,
        StatMultiGGS = 0x37, Voice = 0x38, VoiceExt = 0x38, GetStatLUNode = 0x39,
        StatLUNode = 0x3A, RefreshLU = 0x3B, SelSaveVoice = 0x3C, ParSaveVoice = 0x3D,
        GetSaveVoice = 0x3E, ReConnect = 0x3F, ParReConnect = 0x40, AcceptProfil = 0x41,
        GetProfil = 0x42, Profil = 0x43, ProfilProcessed = 0x44, AcceptStruct = 0x45,
        GetStruct = 0x46, Struct = 0x47, StructAccepted = 0x48, AcceptSQLAsk = 0x49,
        GetSQLAsk = 0x4A, FragSQLAsk = 0x4B, AcceptSQLAnsw = 0x4C, GetSQLAnsw = 0x4D,
        FragSQLAnsw = 0x4E, ExecuteAsk = 0x4F, TCPData = 0x50, ConfTCPData = 0x51,
        TimeAndGUID = 0x52, ClientStatus = 0x53, SendMsgV7 = 0x54, SubscMsgV7 = 0x55, MsgV7 = 0x56,
        InvalidType = 0xFF,
    };

    // Date values are written and read with these class-wide settings
    // (DBTime::ToDATE): set once at start-up, before any session runs.
    static std::atomic<bool> s_ConvertToUTC;
    static std::atomic<int> s_Bias;

    CMesDisp() { Clear(); }

    // The empty message: length 2, no type.
    void Clear();
    // Starts a message of `type` with an empty body (length 3): the base of
    // every Create_, and of the reserved types, whose bodies go through Add.
    void Create(typMes type);
    // Takes a whole message image (its own length field is rewritten to
    // `len`); false for a length outside 2..490, leaving the message as it was.
    bool Set(const unsigned char* bytes, int len);

    int Len() const { return m_Buf[0] | m_Buf[1] << 8; }
    const unsigned char* Data() const { return m_Buf; }
    // The type byte, or NoType for a message of 2 bytes.
    typMes TypMes() const { return Len() > 2 ? static_cast<typMes>(m_Buf[2]) : NoType; }
    // The type byte as the packet layer sees it (0 for a message under 3 bytes).
    static int TypeOf(const unsigned char* mes, int len) { return len >= 3 ? mes[2] : 0; }

    // Appending: false, and the message unchanged, when the value would take
    // the message beyond 490 bytes.
    bool Add(unsigned char v);
    bool Add(short v);
    bool Add(unsigned short v);
    bool Add(int v);
    bool Add(unsigned int v);
    bool Add(const unsigned char* bytes, int count);
    // A count byte, then UTF-16 units little-endian with no terminator; false
    // also for a text of more than 255 units, which the count cannot hold.
    bool Add(const wchar_t* text);
    // The date value of `t`; the zero time is written as 0.
    bool Add(const DBTime& t);
    bool Add(const DBGUID& g);

    // Reading from the read position: false, with the position unchanged and
    // the output cleared, when the value would run past the message's end.
    void BegGet() { m_Pos = BodyPos; }
    bool Get(unsigned char& v);
    bool Get(short& v);
    bool Get(unsigned short& v);
    bool Get(int& v);
    bool Get(unsigned int& v);
    bool Get(unsigned char* bytes, int count);
    // A text whose first unit is 0xFFFE came from a big-endian writer: its
    // units are swapped back and that byte-order mark is dropped.
    bool Get(DBString& text);
    // False for a date value of 0 (not set) or one outside the calendar, which
    // both read as the zero time; the 8 bytes are consumed either way.
    bool Get(DBTime& t);
    bool Get(DBGUID& g);

    // The messages exchanged with the tools.
    // CloseLink: no body (03 00 1B). The sender ends the session.
    bool Create_CloseLink();
    bool Parse_CloseLink();
    // SendMsg, tool to this system: unit (int32), pack tag (byte), n (byte),
    // n bytes of a CPackMes. A length outside 0..255 cannot be written in its
    // byte: false, with the message ending after the header (length 9).
    bool Create_SendMsg(int unit, int tag, int len, const unsigned char* data);
    // False if `len` exceeds `capacity` or the message's end.
    bool Parse_SendMsg(int& unit, int& tag, int& len, unsigned char* data, int capacity);
    // Msg, this system to the tools: unit (int32), n (low 8 bits), n bytes.
    // The data is written for n up to 482; above that (or below 0) the
    // message ends after the header (length 8) and the result is false.
    bool Create_Msg(int unit, int len, const unsigned char* data);
    bool Parse_Msg(int& unit, int& len, unsigned char* data, int capacity);

    // The two reserved types the exchange must build and recognise.
    // OpenLinkEx: only its type matters here (it resets the peer's
    // acknowledgement list in a packet numbered 1); a body sent by a peer is
    // ignored, and this side sends none.
    bool Create_OpenLinkEx();
    bool Parse_OpenLinkEx();
    // TimeAndGUID, 24 bytes: seconds in 40 bits (low four bytes, then the high
    // byte) and a 16-byte DBGUID.
    bool Create_TimeAndGUID(const DBTime& t, const DBGUID& g);
    bool Parse_TimeAndGUID(DBTime& t, DBGUID& g);

private:
    void SetLen(int len)
    {
        m_Buf[0] = static_cast<unsigned char>(len);
        m_Buf[1] = static_cast<unsigned char>(len >> 8);
    }
    bool Put(const void* bytes, int count);                // raw append
    bool Take(void* bytes, int count);                     // raw read, zero-filled on failure
    bool ParseBegin(typMes type, int minLen);
    bool ParseBlock(int& len, unsigned char* data, int capacity);

    unsigned char m_Buf[MaxLen];
    int m_Pos;   // read position
};
