#pragma once
// The link timing page without its windows: nine one-byte fields of the
// main area (CLBNVRAM::GetEth 0x80..0x88), each shown in its own unit and
// stored with its scale, with the value an erased byte reads as and the one
// the "Default" button puts in.
//
// Threads: one (the user-interface thread in the configurator).
#include "base/DBString.h"

#include <cstdint>

class CLBNVRAM;

// How a shown value becomes the stored byte.
enum typLinkScale {
    scaleOne,       // stored as shown
    scaleTimes10,   // stored as value * 10, read back divided
    scaleTimes6,    // stored as value * 6, read back divided
    scaleDiv10,     // low 8 bits of the value, divided by 10; read back * 10
};

struct LinkField {
    const char* m_Name;          // control name, for tests and a field catalogue
    int m_Pos;                   // GetEth position
    unsigned short m_Label;      // text id of the row's label
    unsigned short m_Unit;       // text id of the unit label; 0: none
    typLinkScale m_Scale;
    int m_Min, m_Max;            // inclusive, as shown
    const char* m_Range;         // appended to the label in the refusal
    int m_Erased;                // shown for an erased byte
    int m_Default;               // put in by the "Default" button
};

inline constexpr int kLinkFields = 9;
extern const LinkField LinkFieldMap[kLinkFields];

class LinkFields {
public:
    // The refusal text of the last row; the others are label + range.
    static constexpr unsigned short kIdAutoDog = 10214;

    // Fills m_Value; an erased byte gives its replacement and raises m_Changed.
    void Read(const CLBNVRAM& nvram);
    void SetDefaults();
    // Checks the ranges in field order; the first value outside refuses
    // (its index is returned, its text put in `message`) and nothing is written. -1: all
    // nine bytes written.
    int Write(CLBNVRAM& nvram, DBString& message) const;

    static int ToByte(const LinkField& f, int32_t value);
    static int32_t FromByte(const LinkField& f, int stored);

    int32_t m_Value[kLinkFields] = {};
    bool m_Changed = false;
};
