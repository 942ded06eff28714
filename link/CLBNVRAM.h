#pragma once
// CLBNVRAM: the program's copy of a unit's 2048-byte parameter memory, with a
// known-bit per byte (read from the unit or set by a page).
//
// Areas (the constants below): the device description at kDescrOld or
// kDescrCM3V7 (kDescrLen bytes, by unit kind), the link domain names at
// kDomain (kDomainLen), the main parameter area at kEthBase (kEthLen), which
// the "Eth" accessors address relative to kEthBase so that -1024..1023
// reaches the whole image. An unknown byte reads as 0xFF.
//
// Only the user-interface thread touches an image; there is no lock.

class CLBNVRAM {
public:
    static constexpr int kSize = 2048;
    static constexpr int kDescrOld = 0x100;     // description of an older unit
    static constexpr int kDescrCM3V7 = 0x180;   // description of a CM3 or generation 7 unit
    static constexpr int kDescrLen = 96;
    static constexpr int kDomain = 0x200;       // link domain names
    static constexpr int kDomainLen = 0x100;
    static constexpr int kEthBase = 0x400;      // main parameter area
    static constexpr int kEthLen = 0x400;

    CLBNVRAM() { Clear(); }

    // Every byte 0xFF, every known bit clear.
    void Clear();

    bool IsKnovByte(int adr) const;   // false outside the image
    void SetKnovByte(int adr);        // nothing outside the image

    // Copy `len` bytes in (marking them known) or out. A `len` of 0 or less
    // does nothing and is true; a start outside the image is false and does
    // nothing; a run past the end copies up to the end and is false.
    bool Set(int adr, const void* src, int len);
    bool Get(int adr, void* dst, int len) const;
    // The same at adr + 0x400.
    bool SetEth(int adr, const void* src, int len);
    bool GetEth(int adr, void* dst, int len) const;
    // One byte of the main area; -1024..1023 only.
    bool SetEth(int adr, unsigned char value);
    int GetEth(int adr) const;   // the byte, or -1 outside -1024..1023

    bool IsKnovEth() const;   // all of the main area
    bool IsKnovDNS() const;   // all of the domain area
    // The description of the unit's sub-type: none for 0 (no information
    // reply yet), kDescrOld for sub-type 1, kDescrCM3V7 for any other. This is
    // not the same test as the one that chooses where to read it
    // (CUnitLB::DescrAddr).
    bool IsKnovDescr(int typLBSub) const;

    unsigned char m_Data[kSize];
    unsigned char m_Knov[kSize / 8];

private:
    bool IsKnovRange(int adr, int len) const;
};
