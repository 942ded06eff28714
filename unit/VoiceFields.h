#pragma once
// What the Voice and Statistics pages show, without windows. Both only read:
// the unit's own voice port (main area 0x103, big-endian, as the Ethernet
// page keeps it) and the voice port of each link record in use; and the
// labels of the ten traffic counters.
//
// Threads: one (the user-interface thread in the configurator).
#include "base/DBString.h"

#include <vector>

class CLBNVRAM;

// The counters of CStatCounters, in its order, under their group labels.
struct StatisticRow {
    unsigned short m_Group;    // text id of the group; 0: the literal "4G"
    unsigned short m_Label;    // text id
};
inline constexpr int kStatisticRows = 10;
extern const StatisticRow StatisticRows[kStatisticRows];

struct VoiceLink {
    int m_Index;               // record index
    int m_Node;
    int m_Port;                // an erased port reads as the record's default, 48001
};

struct VoiceFields {
    static constexpr int kOwnPort = 0x103;     // GetEth position
    static constexpr int kOwnDefault = 46001;  // an erased own port

    void Read(const CLBNVRAM& nvram);

    int m_OwnPort = kOwnDefault;
    bool m_OwnErased = false;
    std::vector<VoiceLink> m_Links;
};
