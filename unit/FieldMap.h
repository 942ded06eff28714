#pragma once
// Reading and writing a page's fields through the rows of its field table
// (FieldDef, unit/FieldCatalogue.h), as the pages do it: a bit field keeps
// the other bits of its byte, a text is cut by its rule and zero-padded, an
// erased field can be told from a set one. The tables themselves belong to
// the pages' logic halves and are joined in the catalogue.
//
// Threads: none of its own; plain functions on a CLBNVRAM.
#include "base/DBString.h"
#include "unit/FieldCatalogue.h"

#include <cstdint>
#include <span>

class CLBNVRAM;

using FieldMap = std::span<const FieldDef>;

// All bytes of the field are 0xFF (for a bit field: all of its bits are set).
bool FieldErased(const CLBNVRAM& nvram, const FieldDef& f);
// A numeric field (Byte, PortBE, IPv4) as it lies: bits shifted down and
// inverted where the row says so, an address with its first dotted number
// in the lowest byte. No default is applied.
uint32_t GetNumber(const CLBNVRAM& nvram, const FieldDef& f);
// Writes a numeric field; a bit field keeps the other bits of its byte, a
// wider value is cut to the field's width.
void SetNumber(CLBNVRAM& nvram, const FieldDef& f, uint32_t value);
// A text field, cut by the row's rule and trimmed. The last byte is never
// looked at for the cut, so a text that fills the field reads whole.
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
