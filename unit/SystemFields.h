#pragma once
// The System page without its windows: where its fields lie in the image,
// how they read and how they are checked and written back, and how the
// unit's time status turns into the texts the page shows.
//
// Field map (main area, CLBNVRAM::GetEth positions): 0x01 identifier (0x36
// the fallback), 0x05 MAC (0x3A the fallback), 0x0B link key, 0x1C ping
// disabled, 0x1D time zone, 0x160 NTP server (32 bytes CP1251). An erased
// field reads as all 0xFF.
//
// Threads: one (the user-interface thread in the configurator).
#include "base/DBString.h"
#include "unit/FieldCatalogue.h"

#include <cstdint>

class CLBNVRAM;

// One row of the time-zone list: the label's text id and the zone's offset
// from UTC in seconds.
struct TimeZoneName {
    unsigned short m_Id;
    int m_Offset;
};
inline constexpr int kTimeZones = 50;
extern const TimeZoneName NameTimeZone[kTimeZones];
// Text ids of the time sources the unit reports (0..3).
inline constexpr int kTimeSources = 4;
extern const unsigned short NameTimeSource[kTimeSources];
// "not defined"
inline constexpr unsigned short kIdNotDefined = 10022;

class SystemFields {
public:
    // What KillActive's checks may refuse, by text id.
    static constexpr unsigned short kIdKeyDiffers = 10023;
    static constexpr unsigned short kIdKeyNotASCII = 10024;
    static constexpr unsigned short kIdMACLength = 10031;
    static constexpr unsigned short kIdMACSymbol = 10032;

    // The outcome of Write.
    struct Result {
        unsigned short m_Refused = 0;   // text id of the refusal; 0: all written
        DBString m_Message;             // the refusal as the user reads it
        bool m_KeyWritten = false;      // a new key went into the image
    };

    // The page's fields in the image, for the catalogue.
    static std::span<const FieldDef> Map();

    // Fills the fields from the image. The NTP server stays as it was when
    // its field is erased; so does the node when both identifiers are.
    void Read(const CLBNVRAM& nvram);

    // Checks and writes the fields. The key goes first (only if m_KeyChanged),
    // then, when `editIdent` is set, identifier and MAC; a refusal there
    // leaves the key written. The MAC text is checked and kept, but the image
    // gets six zero bytes: that is the intended effect, not a slip.
    Result Write(CLBNVRAM& nvram, bool editIdent) const;

    int32_t m_Node = 0;              // never 0 after Read
    bool m_IdentFallback = false;    // the identifier came from 0x36
    DBString m_MAC;                  // 12 upper-case hex digits
    bool m_MACFallback = false;      // the MAC came from 0x3A
    DBString m_Key;                  // "********" when the image holds a key
    DBString m_Key2;                 // the repeated key
    bool m_KeyChanged = false;       // the user typed into key or repeat
    bool m_PingOff = false;
    int32_t m_Zone = kTimeZones;     // 0..49, or 50: not chosen
    DBString m_NTP;                  // NTP server
};

// The colour band of the time service's quality byte.
enum typQuality { qualityGreen, qualityYellow, qualityOrange, qualityRed };
typQuality QualityBand(uint32_t quality);

// Seconds since 1 January 1900 as "dd.mm.yyyy hh:mm:ss".
DBString NtpDateText(uint64_t seconds);

// The status texts of an askSystem answer.
struct SystemStatusText {
    DBString m_Zone;
    DBString m_LocalTime;
    DBString m_Source;
    bool m_Coloured = false;          // the local time shows the quality band
    typQuality m_Quality = qualityGreen;
};
// NTP seconds are 32 bits from the unit; with the zone's offset added, a sum
// with the top bit clear belongs to the era that starts in 2036.
SystemStatusText DecodeSystemStatus(uint32_t zone, uint64_t ntp, uint32_t source, uint32_t quality);
