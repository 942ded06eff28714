#pragma once
// CIdentV7: who a party on the V7 link is, as node and device.
//
// On the wire 4 bytes: device (low 8 bits), then node bits 0..7, 8..15,
// 16..23. Node ranges: 0 none; 1..9999899 a unit (IsLU); 9999900..9999999
// service nodes; above 10000000 a program (IsProg), up to 16711678.
//
// Comparison operators look at the node only, since a unit answers for all
// its devices; FullEQ compares both.
#include "base/DBString.h"

#include <cstdint>

class CIdentV7 {
public:
    static constexpr int kMaxNode = 16711678;
    static constexpr int kMaxDev = 255;
    static constexpr int kFirstProg = 10000000;

    CIdentV7() = default;
    CIdentV7(int node, int dev);
    virtual ~CIdentV7() = default;
    CIdentV7(const CIdentV7&) = default;
    CIdentV7& operator=(const CIdentV7&) = default;

    void Clear();
    // Node up to 16711678 and device up to 255, both taken as unsigned.
    // The node is stored before the device is tested: a bad device leaves
    // the new node with the old device.
    bool Set(int node, int dev);
    bool SetNode(int node);
    bool SetDev(int dev);
    // No range check: a node beyond 24 bits loses its upper bits on the wire.
    void SetBigNode(int64_t node) { m_Node = node; }

    int GetNode() const { return static_cast<int>(m_Node); }
    int GetDev() const { return m_Dev; }

    void GetValue(unsigned char* out) const;    // 4 wire bytes; null: nothing
    void SetValue(const unsigned char* in);     // clears first; null: stays clear
    DBString GetString() const;                 // "node.dev"

    bool operator==(const CIdentV7& other) const { return m_Node == other.m_Node; }
    bool operator!=(const CIdentV7& other) const { return m_Node != other.m_Node; }
    bool operator<(const CIdentV7& other) const { return m_Node < other.m_Node; }
    bool FullEQ(const CIdentV7& other) const { return m_Node == other.m_Node && m_Dev == other.m_Dev; }

    bool IsProg() const { return m_Node > kFirstProg; }
    bool IsLU() const { return m_Node >= 1 && m_Node <= 9999899; }

    // A fresh program number, 10000000..16711678 from a newly seeded engine;
    // the device stays. Note that 10000000 itself can be drawn and is not
    // IsProg. Always true.
    bool SetUnique();

private:
    int64_t m_Node = 0;
    int32_t m_Dev = 0;
};
