#pragma once
// The named fields of a unit's image: where each lies, how it is encoded and
// which page shows it under which label. Each page's logic half declares its
// own table (its field map); the catalogue only joins them, so a field is
// described once. Image files, the Save question's list of changes and the
// command-line tool read fields through here.
//
// Threads: any; the tables are constant.
#include "base/DBString.h"
#include "link/CLBNVRAM.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

enum class FieldKind {
    Byte,      // one byte, as a number (m_Mask selects bits of a shared byte)
    PortBE,    // two bytes, big-endian
    IPv4,      // four bytes, first dotted number first
    Ident,     // four bytes of an identifier: its node
    MAC,       // six bytes as twelve hexadecimal digits
    Text,      // CP1251 up to the first 0x00; erased (first byte 0xFF) is empty
    LinkKey,   // sixteen bytes; never shown
    Secret,    // a password: a text that is never shown
    Hex,       // bytes as hexadecimal
};

// What ends a text field when a page reads it.
enum class FieldCut {
    Zero,          // the first 0x00; an erased field (first byte 0xFF) is empty
    Control,       // the first byte below 0x20 as a signed byte, so 0x80 and above too
    ControlOrFF,   // the first byte below 0x20 or equal to 0xFF; Cyrillic stays
};

struct FieldDef {
    const char* m_Name;          // "Page.Field": stable, for files and scripts
    int m_Adr;                   // in the 2048-byte image
    int m_Len;                   // bytes
    FieldKind m_Kind;
    unsigned short m_Label;      // text id of the page's label
    unsigned char m_Mask = 0;    // Byte only: the bits that are this field; 0 for all
    // How the page reads it, where that is more than the plain reading:
    int64_t m_Erased = -1;       // the value of an erased field (all its bits set); -1: none
    bool m_Inverted = false;     // Byte with a mask: the value is the bits inverted (set means off)
    FieldCut m_Cut = FieldCut::Zero;   // Text only
    int m_Record = 0;            // of a list of records (links): its number from 1; 0: none
};

class FieldCatalogue {
public:
    struct Change {
        const FieldDef* m_Field;
        std::string m_Old;       // empty for a link key
        std::string m_New;       // "changed" for a link key
    };

    // Every field of every page, page by page in the order of the book.
    static const std::vector<FieldDef>& All();
    static const FieldDef* Find(std::string_view name);
    // A key or a password: its value reads "set" or "not set", a change "changed".
    static bool Hidden(const FieldDef& field);

    // The field as a person reads it (UTF-8); a link key as "set" or "not set".
    static std::string Value(const FieldDef& field, const CLBNVRAM& image);
    // The fields whose bytes (or bits) differ between two images, in catalogue order.
    static std::vector<Change> Diff(const CLBNVRAM& before, const CLBNVRAM& after);
    // What a save will change, for the question before it: a line per field
    // as "label: old -> new", then the start addresses of the blocks to be
    // written; or a line saying that nothing has changed.
    static DBString ChangeText(const CLBNVRAM& before, const CLBNVRAM& after, const std::vector<int>& blocks);
    // Only the lines of the fields, each ended by a line break.
    static DBString ChangeLines(const CLBNVRAM& before, const CLBNVRAM& after);
    // Name and readable value of every field, for an image file.
    static std::vector<std::pair<std::string, std::string>> Readable(const CLBNVRAM& image);
    // A page's table joins the catalogue here.
    static void Join(std::vector<FieldDef>& all, std::span<const FieldDef> page);
};
