#pragma once
// CInfoCLB: a unit's information word of one or two bytes (low byte first).

class CInfoCLB {
public:
    CInfoCLB() { Clear(); }
    void Clear();
    // Takes 1 or 2 bytes; any other length clears and is false.
    bool SetData(const unsigned char* data, int len);
    int GetLen() const { return m_Len; }
    // Bit n of the word; bits beyond the bytes held read 0.
    bool IsBit(int n) const;

    int m_Len;
    unsigned char m_Data[2];
};
