#pragma once
// The unit's description without windows: 96 bytes at the address of the
// unit's kind (CUnitLB::DescrAddr: 0x180 on CM3 and generation 7, 0x100 on
// older units), shown as CP1251 text and as hexadecimal bytes. Written back
// only when the user edited it and the setting /Param/UserDescriptor allows
// it: the text, CP1251, zero-padded to 96 bytes.
//
// Threads: one (the user-interface thread in the configurator).
#include "base/DBString.h"

class CLBNVRAM;

struct DescriptorField {
    const char* m_Name;
    int m_Addr;                // image address (Get/Set)
    int m_Width;
    unsigned short m_Label;    // text id
};

class DescriptorFields {
public:
    static constexpr int kWidth = 96;
    static DescriptorField Field(int addr);

    // The text up to the first zero byte (all of it if none); an erased
    // field (first byte 0xFF) is empty. The hex view is 16 bytes a line.
    void Read(const CLBNVRAM& nvram, int addr);
    // The text, cut to 96 CP1251 bytes, the rest zeros.
    void Write(CLBNVRAM& nvram, int addr) const;

    DBString m_Text;
    DBString m_Hex;
};
