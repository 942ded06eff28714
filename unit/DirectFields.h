#pragma once
// The link records ("directions") without windows: eight records of 32
// bytes in the main area from GetEth position 0x200, each with a domain name
// of 32 bytes at the same image address in the domain area (0x200..0x2FF,
// present only on a unit with the domain feature). The list rows, the
// reading of one record for the dialog, the dialog's checks and the writing
// back and deleting of a record.
//
// Record bytes not in DirectFieldMap (offsets 14..17 and 22..31) are never
// written, except by a deletion, which erases the whole record.
//
// Threads: one (the user-interface thread in the configurator).
#include "base/DBString.h"

#include <cstdint>
#include <vector>

class CLBNVRAM;

inline constexpr int kDirectRecords = 8;
inline constexpr int kDirectBase = 0x200;   // GetEth position of record 0, and image byte of its name
inline constexpr int kDirectSize = 32;

enum typDirectEnc {
    encByte,       // one byte
    encIdent,      // the value of a CIdentV7
    encBE16,       // big-endian
    encIPv4,       // first dotted number in the first byte
    encCP1251,     // text, zero-padded, maybe without terminator
};

// One field of a record, as a catalogue of fields would list it.
struct DirectField {
    const char* m_Name;
    bool m_Domain;             // in the domain area (Set/Get), not the main area (SetEth/GetEth)
    int m_Offset;              // within the record
    int m_Width;
    typDirectEnc m_Enc;
    unsigned short m_Label;    // text id of the dialog's label
};
inline constexpr int kDirectFields = 8;
extern const DirectField DirectFieldMap[kDirectFields];

// One record as the dialog edits it.
struct DirectRecord {
    int32_t m_Type = 1;          // 1 basic link, 2 basic and alternative
    int32_t m_Node = 0;
    int32_t m_Return = 5;        // minutes back to the basic link
    int32_t m_PortData = 48000;
    int32_t m_PortVoice = 48001;
    uint32_t m_IP = 0;
    uint32_t m_AltIP = 0;
    DBString m_Domain;
    bool m_Changed = false;      // a replacement went in while reading
};

// One row of the list: the record index and the six column texts.
struct DirectRow {
    int m_Index = 0;
    DBString m_Col[6];
};

class DirectList {
public:
    // The dialog's refusals, in the order they are checked.
    static constexpr unsigned short kIdIdent = 10234;
    static constexpr unsigned short kIdPort = 10235;
    static constexpr unsigned short kIdNoAddress = 10236;
    static constexpr unsigned short kIdReturn = 10237;
    static constexpr unsigned short kIdNoAltIP = 10238;
    static constexpr unsigned short kIdSamePorts = 10239;
    static constexpr unsigned short kIdDuplicate = 10240;
    // The identifier's true upper limit; its refusal names 16777214.
    static constexpr int kMaxNode = 16711678;

    // A record in use: type 1 or 2.
    static bool InUse(int type) { return type == 1 || type == 2; }
    static int Type(const CLBNVRAM& nvram, int index);
    // The rows of the records whose type is below 3; a name shows in place of
    // the address only on a unit with the domain feature.
    static std::vector<DirectRow> Rows(const CLBNVRAM& nvram, bool featDomain);
    // The first record not in use (a type-0 row counts as free), or -1.
    static int FreeIndex(const CLBNVRAM& nvram);
    // One record with the replacements for erased fields (m_Changed up).
    static DirectRecord Read(const CLBNVRAM& nvram, int index);
    // 0, or the text id of the first refusal. `otherNodes`: the identifiers
    // of the other rows.
    static unsigned short Check(const DirectRecord& rec, bool altDefined, const std::vector<long>& otherNodes);
    // The record's fields; the name only on a unit with the domain feature.
    static void Write(CLBNVRAM& nvram, int index, const DirectRecord& rec, bool featDomain);
    // 0xFF over the whole record, so the slot reads as empty, and zeros over
    // the name on a unit with the domain feature.
    static void Delete(CLBNVRAM& nvram, int index, bool featDomain);
    // "a.b.c.d", first byte first.
    static DBString IPText(uint32_t ip);
};
