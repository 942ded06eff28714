#include "unit/NetFields.h"

#include "base/StringRes.h"
#include "link/CLBNVRAM.h"
#include "unit/StatusLB.h"

namespace {

constexpr int64_t kNone = -1;
constexpr int kEth = CLBNVRAM::kEthBase;
// Bits 5 and 6 of the Wi-Fi flags mean something only while bit 7 is set;
// the page never changes it.
constexpr unsigned kFlagsValid = 0x80;

DBString Number(const wchar_t* format, int value)
{
    DBString text;
    text.Format(format, value);
    return text;
}

// A numeric field, or its default when it reads as erased; `changed` goes up then.
uint32_t NumberOr(const CLBNVRAM& nvram, const FieldDef& f, bool& changed)
{
    if (f.m_Erased != kNone && FieldErased(nvram, f)) {
        changed = true;
        return static_cast<uint32_t>(f.m_Erased);
    }
    return GetNumber(nvram, f);
}

}  // namespace

// ---------------------------------------------------------------- Ethernet

const FieldDef OwnFields::kMap[fCount] = {
    {"Ethernet.Type", kEth + 0x100, 1, FieldKind::Byte, 10033, 0, 0, false, FieldCut::Zero},
    {"Ethernet.DataPort", kEth + 0x101, 2, FieldKind::PortBE, 10035, 0, 46000, false, FieldCut::Zero},
    {"Ethernet.VoicePort", kEth + 0x103, 2, FieldKind::PortBE, 10038, 0, 46001, false, FieldCut::Zero},
    {"Ethernet.IP", kEth + 0x105, 4, FieldKind::IPv4, 10013, 0, 0, false, FieldCut::Zero},
    {"Ethernet.Mask", kEth + 0x109, 4, FieldKind::IPv4, 10049, 0, 0, false, FieldCut::Zero},
    {"Ethernet.Gateway", kEth + 0x10D, 4, FieldKind::IPv4, 10050, 0, 0, false, FieldCut::Zero},
    {"Ethernet.DNS", kEth + 0x111, 4, FieldKind::IPv4, 10051, 0, 0, false, FieldCut::Zero},
    {"Ethernet.Login", kEth + 0x120, 32, FieldKind::Text, 10039, 0, kNone, false, FieldCut::Control},
    {"Ethernet.Password", kEth + 0x140, 32, FieldKind::Secret, 10040, 0, kNone, false, FieldCut::Control},
};

bool OwnFields::Read(const CLBNVRAM& nvram)
{
    bool changed = false;
    m_Type = static_cast<int32_t>(GetNumber(nvram, kMap[fType]));
    // Only three types exist; anything else is an unset byte.
    if (m_Type >= 3) {
        m_Type = static_cast<int32_t>(kMap[fType].m_Erased);
        changed = true;
    }
    m_PortData = static_cast<int32_t>(NumberOr(nvram, kMap[fPortData], changed));
    m_PortVoice = static_cast<int32_t>(NumberOr(nvram, kMap[fPortVoice], changed));
    m_IP = NumberOr(nvram, kMap[fIP], changed);
    m_Mask = NumberOr(nvram, kMap[fMask], changed);
    m_Gate = NumberOr(nvram, kMap[fGate], changed);
    m_DNS = NumberOr(nvram, kMap[fDNS], changed);
    m_Login = GetText(nvram, kMap[fLogin]);
    m_Password = GetText(nvram, kMap[fPassword]);
    return changed;
}

void OwnFields::Write(CLBNVRAM& nvram) const
{
    SetNumber(nvram, kMap[fType], static_cast<uint32_t>(m_Type));
    SetNumber(nvram, kMap[fPortData], static_cast<uint32_t>(m_PortData));
    SetNumber(nvram, kMap[fPortVoice], static_cast<uint32_t>(m_PortVoice));
    SetNumber(nvram, kMap[fIP], m_IP);
    SetNumber(nvram, kMap[fMask], m_Mask);
    SetNumber(nvram, kMap[fGate], m_Gate);
    // Written whatever the type: what the unit does with it on DHCP is its own affair.
    SetNumber(nvram, kMap[fDNS], m_DNS);
    SetText(nvram, kMap[fLogin], m_Login);
    SetText(nvram, kMap[fPassword], m_Password);
}

DBString DecodeStatusConnect(int code)
{
    // The names lie at 41500 + code: DHCP 0..6, PPP 16..33, failures 128..138.
    if ((code >= 0 && code <= 6) || (code >= 16 && code <= 33) || (code >= 128 && code <= 138))
        return _S_(static_cast<unsigned short>(41500 + code));
    return Number(_S_(41499).c_str(), code);
}

// ---------------------------------------------------------------- Wi-Fi

const FieldDef WiFiFields::kMap[fCount] = {
    {"WiFi.ExtName", kEth + 0x300, 32, FieldKind::Text, 10064, 0, kNone, false, FieldCut::ControlOrFF},
    {"WiFi.ExtPassword", kEth + 0x320, 32, FieldKind::Secret, 10040, 0, kNone, false, FieldCut::ControlOrFF},
    {"WiFi.IntName", kEth + 0x340, 32, FieldKind::Text, 10064, 0, kNone, false, FieldCut::ControlOrFF},
    {"WiFi.IntPassword", kEth + 0x360, 32, FieldKind::Secret, 10040, 0, kNone, false, FieldCut::ControlOrFF},
    {"WiFi.ExtEnable", kEth + 0x380, 1, FieldKind::Byte, 10062, 0x01, kNone, false, FieldCut::Zero},
    {"WiFi.IntEnable", kEth + 0x380, 1, FieldKind::Byte, 10062, 0x02, kNone, false, FieldCut::Zero},
    {"WiFi.Specified", kEth + 0x380, 1, FieldKind::Byte, 10063, 0x20, kNone, true, FieldCut::Zero},
    {"WiFi.Static", kEth + 0x380, 1, FieldKind::Byte, 10141, 0x40, kNone, true, FieldCut::Zero},
    {"WiFi.Channel", kEth + 0x381, 1, FieldKind::Byte, 10149, 0, 1, false, FieldCut::Zero},
    {"WiFi.IP", kEth + 0x388, 4, FieldKind::IPv4, 10013, 0, kNone, false, FieldCut::Zero},
    {"WiFi.Mask", kEth + 0x38C, 4, FieldKind::IPv4, 10049, 0, kNone, false, FieldCut::Zero},
    {"WiFi.Gateway", kEth + 0x390, 4, FieldKind::IPv4, 10050, 0, kNone, false, FieldCut::Zero},
    {"WiFi.DNS", kEth + 0x394, 4, FieldKind::IPv4, 10051, 0, kNone, false, FieldCut::Zero},
};

bool WiFiFields::Read(CLBNVRAM& nvram)
{
    m_ExtName = GetText(nvram, kMap[fExtName]);
    m_ExtPass = GetText(nvram, kMap[fExtPass]);
    m_IntName = GetText(nvram, kMap[fIntName]);
    m_IntPass = GetText(nvram, kMap[fIntPass]);
    const bool valid = (nvram.m_Data[kMap[fExtEnable].m_Adr] & kFlagsValid) != 0;
    m_ExtEnable = GetNumber(nvram, kMap[fExtEnable]) != 0;
    m_IntEnable = GetNumber(nvram, kMap[fIntEnable]) != 0;
    m_Specified = valid && GetNumber(nvram, kMap[fSpecified]) != 0;
    m_Static = valid && GetNumber(nvram, kMap[fStatic]) != 0;
    m_Channel = static_cast<int32_t>(GetNumber(nvram, kMap[fChannel]));
    m_IP = GetNumber(nvram, kMap[fIP]);
    m_Mask = GetNumber(nvram, kMap[fMask]);
    m_Gate = GetNumber(nvram, kMap[fGate]);
    m_DNS = GetNumber(nvram, kMap[fDNS]);
    if (m_Channel >= 1 && m_Channel <= 14) return false;
    // An unconfigured module (an erased image takes this path).
    m_Channel = static_cast<int32_t>(kMap[fChannel].m_Erased);
    m_ExtEnable = m_Specified = m_IntEnable = false;
    const unsigned char zero = 0;
    nvram.Set(kMap[fExtEnable].m_Adr, &zero, 1);
    return true;
}

FieldsResult WiFiFields::Write(CLBNVRAM& nvram) const
{
    FieldsResult r;
    auto refuse = [&r](unsigned short id) {
        r.m_Refused = id;
        r.m_Message = _S_(id);
        return r;
    };
    if (m_ExtEnable && m_ExtName.empty()) return refuse(kIdNoExtName);
    if (m_IntEnable && m_IntPass.size() < 8) return refuse(kIdShortIntPass);
    // Checked even with the internal network off: the byte is written all the same.
    if (m_Channel < 1 || m_Channel > 14) return refuse(kIdChannel);

    SetText(nvram, kMap[fExtName], m_ExtName);
    SetText(nvram, kMap[fExtPass], m_ExtPass);
    SetText(nvram, kMap[fIntName], m_IntName);
    SetText(nvram, kMap[fIntPass], m_IntPass);
    SetNumber(nvram, kMap[fExtEnable], m_ExtEnable);
    SetNumber(nvram, kMap[fIntEnable], m_IntEnable);
    SetNumber(nvram, kMap[fSpecified], m_Specified);
    SetNumber(nvram, kMap[fStatic], m_Static);
    SetNumber(nvram, kMap[fChannel], static_cast<uint32_t>(m_Channel));
    SetNumber(nvram, kMap[fIP], m_IP);
    SetNumber(nvram, kMap[fMask], m_Mask);
    SetNumber(nvram, kMap[fGate], m_Gate);
    SetNumber(nvram, kMap[fDNS], m_DNS);
    return r;
}

WiFiStatusText DecodeWiFiStatus(const CStatusWiFi& s)
{
    WiFiStatusText t;
    t.m_Version.Format(L" v%d.%d.%d", s.m_Word6 & 0xFF, (s.m_Word6 >> 8) & 0xFF, s.m_Byte8);
    t.m_Module = s.m_Module == 0 ? _S_(10163) : Number(L"%d", s.m_Module);
    if (s.m_State16 == 0 || s.m_State16 == 2) t.m_Mode = _S_(10164);
    else if (s.m_State16 == 1 || s.m_State16 == 3) t.m_Mode = _S_(10165);
    else t.m_Mode = Number(L"%d", s.m_State16);
    // NameSTATION: 0 IDLE .. 6 GOT_IP_STATIC.
    if (s.m_State19 == 5 && !s.m_Name.empty()) t.m_Connection.FromCP1251(s.m_Name.c_str());
    else if (s.m_State19 >= 0 && s.m_State19 < 7) t.m_Connection = _S_(static_cast<unsigned short>(41950 + s.m_State19));
    // MAC: data bytes 32..37, which the record holds as a word and a half.
    const uint32_t lo = s.m_Value[3];
    t.m_MAC.Format(L"%02x%02x%02x%02x%02x%02x", lo & 0xFF, (lo >> 8) & 0xFF, (lo >> 16) & 0xFF, lo >> 24,
                   s.m_Word36 & 0xFF, (s.m_Word36 >> 8) & 0xFF);
    if (s.m_Tail != 0) t.m_RSSI = Number(L"-%02d dB", 256 - s.m_Tail);
    return t;
}

// ---------------------------------------------------------------- 4G

const FieldDef G4Fields::kMap[fCount] = {
    {"G4.APN", kEth + 0x39C, 40, FieldKind::Text, 10169, 0, kNone, false, FieldCut::Control},
    {"G4.Roaming", kEth + 0x3C4, 1, FieldKind::Byte, 10170, 0x01, kNone, false, FieldCut::Zero},
};

void G4Fields::Read(const CLBNVRAM& nvram)
{
    m_APN = GetText(nvram, kMap[fAPN]);
    m_Roaming = GetNumber(nvram, kMap[fRoaming]) != 0;
}

void G4Fields::Write(CLBNVRAM& nvram) const
{
    SetText(nvram, kMap[fAPN], m_APN);
    SetNumber(nvram, kMap[fRoaming], m_Roaming);
}

// ---------------------------------------------------------------- MQTT

const FieldDef MQTTFields::kMap[fCount] = {
    {"MQTT.Enable", kEth + 0x115, 1, FieldKind::Byte, 10179, 0x80, kNone, true, FieldCut::Zero},
    {"MQTT.Retained", kEth + 0x115, 1, FieldKind::Byte, 10180, 0x40, kNone, false, FieldCut::Zero},
    {"MQTT.QoSPublish", kEth + 0x115, 1, FieldKind::Byte, 10181, 0x03, kNone, false, FieldCut::Zero},
    {"MQTT.QoSSubscribe", kEth + 0x115, 1, FieldKind::Byte, 10182, 0x30, kNone, false, FieldCut::Zero},
    {"MQTT.Broker", kEth + 0x180, 32, FieldKind::Text, 10183, 0, kNone, false, FieldCut::Control},
    {"MQTT.Port", kEth + 0x116, 2, FieldKind::PortBE, 10184, 0, 1883, false, FieldCut::Zero},
    {"MQTT.SSL", kEth + 0x115, 1, FieldKind::Byte, 10185, 0x04, kNone, false, FieldCut::Zero},
    {"MQTT.Login", kEth + 0x1A0, 32, FieldKind::Text, 10186, 0, kNone, false, FieldCut::Control},
    {"MQTT.Password", kEth + 0x1C0, 32, FieldKind::Secret, 10187, 0, kNone, false, FieldCut::Control},
    {"MQTT.Topic", kEth + 0x1E0, 32, FieldKind::Text, 10188, 0, kNone, false, FieldCut::Control},
};

bool MQTTFields::Read(const CLBNVRAM& nvram)
{
    bool changed = false;
    m_Enable = GetNumber(nvram, kMap[fEnable]) != 0;
    m_Retained = GetNumber(nvram, kMap[fRetained]) != 0;
    m_SSL = GetNumber(nvram, kMap[fSSL]) != 0;
    m_QosPub = static_cast<int32_t>(GetNumber(nvram, kMap[fQosPub]));
    m_QosSub = static_cast<int32_t>(GetNumber(nvram, kMap[fQosSub]));
    // The list offers 0..2; an unset 3 shows as 0.
    if (m_QosPub == 3) m_QosPub = 0;
    if (m_QosSub == 3) m_QosSub = 0;
    m_Port = static_cast<int32_t>(NumberOr(nvram, kMap[fPort], changed));
    m_Broker = GetText(nvram, kMap[fBroker]);
    m_Login = GetText(nvram, kMap[fLogin]);
    m_Password = GetText(nvram, kMap[fPassword]);
    m_Topic = GetText(nvram, kMap[fTopic]);
    return changed;
}

void MQTTFields::Write(CLBNVRAM& nvram) const
{
    SetNumber(nvram, kMap[fEnable], m_Enable);
    SetNumber(nvram, kMap[fRetained], m_Retained);
    SetNumber(nvram, kMap[fSSL], m_SSL);
    SetNumber(nvram, kMap[fQosPub], static_cast<uint32_t>(m_QosPub));
    SetNumber(nvram, kMap[fQosSub], static_cast<uint32_t>(m_QosSub));
    SetNumber(nvram, kMap[fPort], static_cast<uint32_t>(m_Port));
    SetText(nvram, kMap[fBroker], m_Broker);
    SetText(nvram, kMap[fLogin], m_Login);
    SetText(nvram, kMap[fPassword], m_Password);
    SetText(nvram, kMap[fTopic], m_Topic);
}
