#pragma once
// DBGUID: 16 raw bytes that pass through the dispatcher layer unchanged; all
// zero means none.
#include <cstring>

class DBGUID {
public:
    DBGUID() { Clear(); }
    explicit DBGUID(const unsigned char* bytes) { Set(bytes); }

    void Clear() { std::memset(m_Data, 0, sizeof m_Data); }
    void Set(const unsigned char* bytes)
    {
        if (bytes) std::memcpy(m_Data, bytes, sizeof m_Data);
        else Clear();
    }
    const unsigned char* Data() const { return m_Data; }
    bool IsEmpty() const
    {
        for (unsigned char b : m_Data)
            if (b) return false;
        return true;
    }
    bool operator==(const DBGUID& o) const { return std::memcmp(m_Data, o.m_Data, sizeof m_Data) == 0; }

private:
    unsigned char m_Data[16];
};
