#pragma once
// The unit's live status, as its status replies report it: one plain record
// per reply kind, decoded here without any window so that the pages only
// show them. Data byte n of a reply is packet offset 14 + n; multi-byte
// values are little-endian unless a field says big-endian; IPv4 addresses
// are kept as they lie on the wire (first dotted number in the lowest byte).
// A field lying beyond the reply's length is left as it was.
//
// Texts come from the string tables in the language of the run. Where a
// code has no text, most records keep the text they had: a unit that sends
// an unknown code shows its last known state.
//
// Threads: one (the user-interface thread in the configurator).
#include "base/DBString.h"
#include "link/CIdentV7.h"

#include <cstdint>

class CPackV7;

// askStatus: the Ethernet side.
struct CStatusEth {
    // The state texts of a connection type: 0 DHCP, 1 Static, other PPPoE.
    static DBString TypeText(int type);
    static DBString CableText(int cable);
    void Decode(const CPackV7& reply);

    bool m_Seen = false;          // a status has arrived on this connection
    DBString m_MAC;               // "%02X" x 6
    int m_Cable = -1;
    DBString m_CableText;
    int m_Type = -1;              // connection type: 0 DHCP, 1 static, 2 PPPoE
    DBString m_TypeText;
    int m_PortData = 0;           // big-endian on the wire
    int m_PortVoice = 0;
    uint32_t m_IP = 0;
    uint32_t m_Mask = 0;          // 0 on PPPoE
    uint32_t m_Gate = 0;          // 0 on PPPoE
    int m_State = -1;             // connection-state code
    uint32_t m_DHCP = 0;          // 0 unless DHCP
    uint32_t m_DNS = 0;           // only in a reply longer than 54 bytes
};

// askSystem: the time service.
struct CStatusSys {
    void Decode(const CPackV7& reply);

    uint32_t m_Zone = 0xFF;       // data byte 1: index of the zone
    uint64_t m_NTP = 0;           // data bytes 2..5: NTP seconds
    uint32_t m_Quality = 0;       // data byte 6: state of the service
    uint32_t m_Source = 0xFF;     // data byte 7: index of the time source
};

// askWiFi: the Wi-Fi module.
struct CStatusWiFi {
    void Decode(const CPackV7& reply);

    int m_Module = 0;             // data byte 1
    int m_Word6 = 0;              // data bytes 6, 7
    int m_Byte8 = 0;
    int m_State16 = 0;
    int m_State19 = 0;
    uint32_t m_Value[4] = {0, 0, 0, 0};   // data bytes 20..35
    int m_Word36 = 0;
    std::string m_Name;           // network name: 1..32 bytes, else empty
    int m_Tail = 0;               // the state byte behind the second string
};

// askMQTT: the MQTT client; a reply whose data byte 0 is not 1 is ignored.
struct CStatusMQTT {
    static const char* SocketText(int value);       // null for an unknown value
    static const char* ConnectionText(int value);   // null for an unknown value
    void Decode(const CPackV7& reply);

    DBString m_OnOff;
    uint32_t m_Broker = 0;
    int m_PortBroker = 0;         // big-endian
    int m_PortClient = 0;         // big-endian
    DBString m_Socket;
    DBString m_Connection;
    int m_Reconnects = 0;
    int m_Queue = 0;
    int m_Sent = 0;               // big-endian
    int m_Received = 0;           // big-endian
};

// askG4: the 4G modem; a reply whose data byte 0 is not 1 is ignored.
struct CStatusG4 {
    // "Unknown" for 99, else "%ddBm" of 2 * value - 113.
    static DBString SignalText(int value);
    void Decode(const CPackV7& reply);

    DBString m_Module;            // grows by " %d" at every reply
    std::string m_Version;
    std::string m_IMEI;
    std::string m_SIM;
    DBString m_Registration;
    int m_Byte66 = 0;
    DBString m_Signal;
    std::string m_Info;
    std::string m_Address;        // the text, or the IPv4 address, or "?.?.?.?"
};

// askStatistic: ten counters, Ethernet (data and voice, in and out), Wi-Fi
// (the same four) and 4G (data in and out). The unit sends them in pairs,
// out before in; they are kept in before out.
struct CStatCounters {
    static constexpr int kCount = 10;
    void Decode(const CPackV7& reply);

    uint32_t m_Count[kCount] = {};
};

// askDirect: one link's state.
struct CDirectOne {
    // What a reply asks of the list it goes into.
    struct Effect {
        bool store = false;       // the link is in use: keep the record
        bool askRest = false;     // the first reply of several: ask for links 2..count
        bool last = false;        // the last reply: redraw the list
    };
    // False for a reply too short to hold a record.
    bool Decode(const CPackV7& reply, Effect& effect);

    int m_Num = 0;                // data byte 0: the link number, the key
    int m_Count = 0;              // links in the unit
    int m_State = 0;
    CIdentV7 m_Ident;             // the neighbour
    uint32_t m_IP = 0;
    int m_PortData = 0;           // big-endian
    int m_PortVoice = 0;          // big-endian
    int m_Kind = 0;               // bits 4 and 5 of data byte 15
    int m_Last = 0;               // data byte 16
};
