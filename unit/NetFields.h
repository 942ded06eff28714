#pragma once
// The network pages without their windows: Ethernet, Wi-Fi, 4G and MQTT.
// Each class holds one page's values, reads them from the image (erased or
// unusable fields take their default and report that the image must be
// saved), checks them across fields and writes them back, touching only its
// own bytes and, in a shared byte, only its own bits. The field tables are
// public: the field catalogue joins them.
//
// Threads: one (the user-interface thread in the configurator).
#include "unit/FieldMap.h"

#include <cstdint>

class CLBNVRAM;
struct CStatusWiFi;

// ---------------------------------------------------------------- Ethernet

class OwnFields {
public:
    enum { fType, fPortData, fPortVoice, fIP, fMask, fGate, fDNS, fLogin, fPassword, fCount };
    static const FieldDef kMap[fCount];

    // True when a default replaced an unusable field: the image differs
    // from what the page shows, and leaving the page must enable Save.
    bool Read(const CLBNVRAM& nvram);
    // Ports above 65535 keep their low 16 bits; nothing is refused.
    void Write(CLBNVRAM& nvram) const;

    int32_t m_Type = 0;        // 0 DHCP, 1 static, 2 PPPoE
    int32_t m_PortData = 0;
    int32_t m_PortVoice = 0;
    uint32_t m_IP = 0, m_Mask = 0, m_Gate = 0, m_DNS = 0;
    DBString m_Login, m_Password;
};

// The text of an Ethernet connection-state code (DHCP and PPP client states
// share one numbering); "Status %d" for a code without a name.
DBString DecodeStatusConnect(int code);

// ---------------------------------------------------------------- Wi-Fi

class WiFiFields {
public:
    enum {
        fExtName, fExtPass, fIntName, fIntPass, fExtEnable, fIntEnable, fSpecified, fStatic,
        fChannel, fIP, fMask, fGate, fDNS, fCount
    };
    static const FieldDef kMap[fCount];
    static constexpr unsigned short kIdNoExtName = 10166;
    static constexpr unsigned short kIdShortIntPass = 10167;
    static constexpr unsigned short kIdChannel = 10168;

    // A channel outside 1..14 marks an unconfigured module: channel 1,
    // external, specified and internal off, and the flags byte is zeroed in
    // the image at once. Returns true in that case.
    bool Read(CLBNVRAM& nvram);
    // The checks in the order the user meets them, then the write; a
    // refusal writes nothing. Bit 7 and bits 2..4 of the flags stay.
    FieldsResult Write(CLBNVRAM& nvram) const;

    bool m_ExtEnable = false, m_Specified = false, m_Static = false, m_IntEnable = false;
    uint32_t m_IP = 0, m_Mask = 0, m_Gate = 0, m_DNS = 0;   // shown, never edited
    DBString m_ExtName, m_ExtPass, m_IntName, m_IntPass;
    int32_t m_Channel = 1;
};

// What the Wi-Fi page shows of an askWiFi reply.
struct WiFiStatusText {
    DBString m_Version;      // " v%d.%d.%d", behind the group's title
    DBString m_Module;
    DBString m_Mode;
    DBString m_Connection;
    DBString m_MAC;
    DBString m_RSSI;
};
WiFiStatusText DecodeWiFiStatus(const CStatusWiFi& status);

// ---------------------------------------------------------------- 4G

class G4Fields {
public:
    enum { fAPN, fRoaming, fCount };
    static const FieldDef kMap[fCount];

    void Read(const CLBNVRAM& nvram);
    void Write(CLBNVRAM& nvram) const;   // the other bits of the roaming byte stay

    DBString m_APN;
    bool m_Roaming = false;
};

// ---------------------------------------------------------------- MQTT

class MQTTFields {
public:
    enum { fEnable, fRetained, fQosPub, fQosSub, fBroker, fPort, fSSL, fLogin, fPassword, fTopic, fCount };
    static const FieldDef kMap[fCount];

    // True when the port was erased and took 1883. A stored QoS of 3 reads
    // as 0 without raising anything.
    bool Read(const CLBNVRAM& nvram);
    // Bit 3 of the flags byte stays as the unit had it.
    void Write(CLBNVRAM& nvram) const;

    bool m_Enable = false, m_Retained = false, m_SSL = false;
    int32_t m_QosPub = 0, m_QosSub = 0;
    int32_t m_Port = 1883;
    DBString m_Broker, m_Login, m_Password, m_Topic;
};
