#pragma once
// CLBNVRAM: the program's copy of a unit's 2048-byte parameter memory, with a
// known-bit per byte (read from the unit or set by a page).
//
// Areas: 0x100 and 0x180 the device description (96 bytes, by unit kind),
// 0x200 the link domain names (256), 0x400 the main parameter area (1024),
// which the "Eth" accessors address relative to 0x400 so that -1024..1023
// reaches the whole image. An unknown byte reads as 0xFF.
//
// Only the user-interface thread touches an image; there is no lock.

class CLBNVRAM {
public:
    static constexpr int kSize = 2048;
    static constexpr int kEthBase = 0x400;

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

    bool IsKnovEth() const;   // all of 0x400..0x7FF
    bool IsKnovDNS() const;   // all of 0x200..0x2FF
    // The description of the unit's sub-type: none for 0 (no information
    // reply yet), 0x100 for sub-type 1, 0x180 for any other. This is not the
    // same test as the one that chooses where to read it; see the connect code.
    bool IsKnovDescr(int typLBSub) const;

    unsigned char m_Data[kSize];
    unsigned char m_Knov[kSize / 8];

private:
    bool IsKnovRange(int adr, int len) const;
};
