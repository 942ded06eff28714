#pragma once
// CKeySys: the 16-byte key of a V7 link; all zero means no key is set.
// A user types it either as a password (Create) or as 32 hex digits (Set).

#include "base/DBString.h"

class CKeySys {
public:
    CKeySys();
    virtual ~CKeySys() = default;
    CKeySys(const CKeySys&) = default;
    CKeySys& operator=(const CKeySys&) = default;

    // Password to key: the first 16 characters in CP1251, zero-padded,
    // enciphered as two IDEA blocks under CPackV7::ForKeySYS, then the first
    // block XORed into the second. An empty password still gives a key.
    void Create(const wchar_t* text);
    // 32 hex digits, a pair per byte; an unreadable or missing pair gives 0.
    // The all-zero text means the default key, so it never yields "no key".
    void Set(const wchar_t* text);
    void Set(const unsigned char* bytes);   // 16 bytes
    void SetDefault();                      // the compiled-in default key

    const unsigned char* Data() const { return m_Key; }
    // 32 upper-case hex digits, no separator.
    DBString GetString() const;
    bool IsEmpty() const;

    bool operator!=(const CKeySys& other) const;
    bool operator==(const CKeySys& other) const { return !(*this != other); }

private:
    unsigned char m_Key[16];
};

// GuestIdeaKey (link/CIdeaKey.h) as a link key.
CKeySys GuestKeySys();
