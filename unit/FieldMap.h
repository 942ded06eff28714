#pragma once
// Where a page's values lie in the unit's image, as data: one row per field
// with its name, area, position, width, encoding, the bits it owns of a
// shared byte, its default for an erased field and the text id of its label.
// The pages read and write through these rows, and anything that wants to
// list the image's fields (a catalogue, a test) walks the same tables.
//
// Threads: none of its own; plain functions on a CLBNVRAM.
#include "base/DBString.h"

#include <cstdint>
#include <span>

class CLBNVRAM;

// How the bytes of a field hold its value.
enum typEnc : unsigned char {
    encByte,      // one byte, the whole of it
    encBits,      // the bits of m_Mask in one byte; the other bits belong to others
    encBitsInv,   // as encBits, the value is the bit inverted (set means off)
    encBE16,      // 16 bits, high byte first
    encIPv4,      // 4 bytes, first dotted number in the first byte
    encText,      // CP1251, zero-padded; a byte below 0x20 as a signed byte ends it,
                  // so 0x80 and above end it too (a Cyrillic text is cut)
    encText1251,  // CP1251, zero-padded; a byte below 0x20 or 0xFF ends it
};

struct FieldDef {
    const char* m_Name;        // stable name for code and catalogues
    int m_Area;                // image address of the area (0x400: the main area)
    int m_Offset;              // position inside the area
    int m_Width;               // bytes
    typEnc m_Enc;
    unsigned char m_Mask;      // encBits, encBitsInv: the bits of the byte
    int64_t m_Erased;          // value taken when the field reads as erased; -1: none
    unsigned short m_Label;    // text id of the field's label; 0: none

    int Address() const { return m_Area + m_Offset; }
};

using FieldMap = std::span<const FieldDef>;

// The row called `name`, or null.
const FieldDef* FindField(FieldMap map, const char* name);

// All bytes of the field are 0xFF (for bit fields: all of its bits are set).
bool FieldErased(const CLBNVRAM& nvram, const FieldDef& f);
// A numeric field's value as it lies (bits shifted down, inverted for
// encBitsInv); no default is applied.
uint32_t GetNumber(const CLBNVRAM& nvram, const FieldDef& f);
// Writes a numeric field; a bit field keeps the other bits of its byte, a
// wider value is cut to the field's width.
void SetNumber(CLBNVRAM& nvram, const FieldDef& f, uint32_t value);
// A text field, cut by its encoding's rule and trimmed. The last byte is
// never looked at for the cut, so a text that fills the field reads whole.
DBString GetText(const CLBNVRAM& nvram, const FieldDef& f);
// CP1251 into a zeroed buffer of the field's width; a text that fills the
// field has no terminator.
void SetText(CLBNVRAM& nvram, const FieldDef& f, const DBString& text);

// A page's answer to "may these values be written?": 0, or the text id of
// the refusal that keeps the user on the page.
struct FieldsResult {
    unsigned short m_Refused = 0;
    DBString m_Message;
};
