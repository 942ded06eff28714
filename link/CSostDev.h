#pragma once
// CSostDev: the state record of one device as a lift-network message carries
// it. The configurator only passes messages on, so the record is kept as the
// raw bytes behind the subject address; their meaning belongs to the network.

class CSostDev {
public:
    static constexpr int kMaxLen = 64;

    CSostDev() { Clear(); }
    void Clear();
    // Keeps up to kMaxLen bytes; a negative length or null data clears.
    void Set(const unsigned char* data, int len);

    int m_Len;
    unsigned char m_Data[kMaxLen];
};
