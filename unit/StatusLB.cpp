#include "unit/StatusLB.h"

#include "base/StringRes.h"
#include "link/CPackV7.h"

#include <arpa/inet.h>

#include <cstring>

namespace {

constexpr int kData = 14;   // data byte 0 of a reply

// Fields of a reply's data, each read only when the reply holds all of it;
// otherwise the target keeps its value.
class Reader {
public:
    explicit Reader(const CPackV7& reply) : m_Pack(reply) {}

    bool Has(int n, int len = 1) const { return n >= 0 && kData + n + len <= m_Pack.m_Len; }
    const unsigned char* At(int n) const { return m_Pack.m_Buf + kData + n; }

    template <typename T>
    void Byte(int n, T& out) const
    {
        if (Has(n)) out = static_cast<T>(*At(n));
    }
    template <typename T>
    void Be16(int n, T& out) const
    {
        if (Has(n, 2)) out = static_cast<T>(At(n)[0] << 8 | At(n)[1]);
    }
    template <typename T>
    void Le32(int n, T& out) const
    {
        if (Has(n, 4))
            out = static_cast<T>(static_cast<uint32_t>(At(n)[0]) | static_cast<uint32_t>(At(n)[1]) << 8 |
                                 static_cast<uint32_t>(At(n)[2]) << 16 | static_cast<uint32_t>(At(n)[3]) << 24);
    }
    // An IPv4 address kept as it lies on the wire.
    void Addr(int n, uint32_t& out) const
    {
        if (Has(n, 4)) std::memcpy(&out, At(n), 4);
    }
    // At most `max` bytes, ended by the first zero, cut at the reply's end.
    void Text(int n, int max, std::string& out) const
    {
        if (!Has(n)) return;
        const int avail = m_Pack.m_Len - kData - n;
        const int len = avail < max ? avail : max;
        out.assign(reinterpret_cast<const char*>(At(n)), strnlen(reinterpret_cast<const char*>(At(n)), len));
    }

private:
    const CPackV7& m_Pack;
};

DBString Number(int value)
{
    DBString text;
    text.Format(L" %d", value);
    return text;
}

}  // namespace

// ---------------------------------------------------------------- askStatus

DBString CStatusEth::TypeText(int type) { return _S_(type == 0 ? 10028 : type == 1 ? 10029 : 10030); }

DBString CStatusEth::CableText(int cable)
{
    // " 10Mb/s half duplex", " 10Mb/s full duplex", " 100BASE-T2 half duplex", " 100BASE-T2 full duplex"
    static const unsigned short kSpeed[] = {10054, 10057, 10058, 10059};
    if (cable == 0) return _S_(10026);
    if (cable == 1) return _S_(10027);
    if (cable >= 2 && cable <= 5) return _S_(10027) + _S_(kSpeed[cable - 2]);
    return _S_(10027) + Number(cable);
}

void CStatusEth::Decode(const CPackV7& reply)
{
    Reader r(reply);
    if (r.Has(0, 6)) {
        const unsigned char* m = r.At(0);
        m_MAC.Format(L"%02X%02X%02X%02X%02X%02X", m[0], m[1], m[2], m[3], m[4], m[5]);
    }
    if (r.Has(6)) {
        m_Cable = *r.At(6);
        m_CableText = CableText(m_Cable);
    }
    if (r.Has(7)) {
        m_Type = *r.At(7);
        m_TypeText = TypeText(m_Type);
    }
    r.Be16(8, m_PortData);
    r.Be16(10, m_PortVoice);
    r.Addr(12, m_IP);
    r.Addr(16, m_Mask);
    r.Addr(20, m_Gate);
    r.Byte(24, m_State);
    r.Addr(25, m_DHCP);
    // PPPoE has no mask or gateway of its own; only DHCP has a server.
    if (m_Type == 2) m_Mask = m_Gate = 0;
    if (m_Type != 0) m_DHCP = 0;
    if (reply.m_Len > 54) r.Addr(37, m_DNS);
    m_Seen = true;
}

// ---------------------------------------------------------------- askSystem

void CStatusSys::Decode(const CPackV7& reply)
{
    Reader r(reply);
    r.Byte(1, m_Zone);
    r.Le32(2, m_NTP);
    r.Byte(6, m_Quality);
    r.Byte(7, m_Source);
}

// ---------------------------------------------------------------- askWiFi

void CStatusWiFi::Decode(const CPackV7& reply)
{
    Reader r(reply);
    r.Byte(1, m_Module);
    if (r.Has(6, 2)) m_Word6 = r.At(6)[0] | r.At(6)[1] << 8;
    r.Byte(8, m_Byte8);
    r.Byte(16, m_State16);
    r.Byte(19, m_State19);
    for (int i = 0; i < 4; ++i) r.Le32(20 + 4 * i, m_Value[i]);
    if (r.Has(36, 2)) m_Word36 = r.At(36)[0] | r.At(36)[1] << 8;
    if (!r.Has(40)) return;
    const int n = *r.At(40);
    if (n >= 1 && n <= 32 && r.Has(41, n)) m_Name.assign(reinterpret_cast<const char*>(r.At(41)), n);
    else m_Name.clear();
    // A second string may follow, and one more state byte behind it.
    if (!r.Has(41 + n)) return;
    const int m = *r.At(41 + n);
    r.Byte(43 + n + m, m_Tail);
}

// ---------------------------------------------------------------- askMQTT

const char* CStatusMQTT::SocketText(int value)
{
    switch (value) {
    case 0x00: return "SOCK_CLOSED";
    case 0x13: return "SOCK_INIT";
    case 0x14: return "SOCK_LISTEN";
    case 0x15: return "SOCK_SYNSENT";
    case 0x16: return "SOCK_SYNRECV";
    case 0x17: return "SOCK_ESTABLISHED";
    case 0x18: return "SOCK_FIN_WAIT";
    case 0x1A: return "SOCK_CLOSING";
    case 0x1B: return "SOCK_TIME_WAIT";
    case 0x1C: return "SOCK_CLOSE_WAIT";
    case 0x1D: return "SOCK_LAST_ACK";
    case 0x22: return "SOCK_UDP";
    case 0x32: return "SOCK_IPRAW";
    case 0x42: return "SOCK_MACRAW";
    case 0x5F: return "SOCK_PPPOE";
    default: return nullptr;
    }
}

const char* CStatusMQTT::ConnectionText(int value)
{
    static const char* const kLow[] = {"MQTT_INIT",         "MQTT_CONNECT_TCP",       "MQTT_CONNECT_TCP_WAIT",
                                       "MQTT_CONNECT_MQTT", "MQTT_CONNECT_MQTT_WAIT", "MQTT_SUBSCRIBED",
                                       "MQTT_ESTABLISHED",  "MQTT_UNSUBSCRIBED",      "MQTT_DISCONNECTING"};
    static const char* const kHigh[] = {"MQTT_DISABLED", "MQTT_NOT_ETHERNET", "MQTT_DNS_REQUEST", "MQTT_DNS_ERROR",
                                        "MQTT_IP_ARPBAD"};
    if (value >= 0 && value <= 8) return kLow[value];
    if (value >= 128 && value <= 132) return kHigh[value - 128];
    return nullptr;
}

void CStatusMQTT::Decode(const CPackV7& reply)
{
    Reader r(reply);
    if (!r.Has(0) || *r.At(0) != 1) return;
    if (r.Has(1)) m_OnOff = _S_((*r.At(1) & 0x80) ? 10066 : 10065);
    r.Addr(2, m_Broker);
    r.Be16(6, m_PortBroker);
    r.Be16(8, m_PortClient);
    // An unknown code leaves the text it had.
    if (r.Has(10))
        if (const char* t = SocketText(*r.At(10))) m_Socket = DBString(t);
    if (r.Has(11))
        if (const char* t = ConnectionText(*r.At(11))) m_Connection = DBString(t);
    r.Byte(12, m_Reconnects);
    r.Byte(13, m_Queue);
    r.Be16(14, m_Sent);
    r.Be16(16, m_Received);
}

// ---------------------------------------------------------------- askG4

DBString CStatusG4::SignalText(int value)
{
    if (value == 99) return _S_(10284);
    DBString text;
    text.Format(L"%ddBm", 2 * value - 113);
    return text;
}

void CStatusG4::Decode(const CPackV7& reply)
{
    Reader r(reply);
    if (!r.Has(0) || *r.At(0) != 1) return;
    if (r.Has(2)) {
        static const int kModule[] = {10278, 10279, 10280, 10281, 10282};
        const int v = *r.At(2);
        if (v <= 4) m_Module = _S_(static_cast<unsigned short>(kModule[v]));
        else if (v == 9) m_Module = _S_(10283);
        // An unknown state keeps the text, which then grows by one number.
    }
    if (r.Has(3)) m_Module += Number(*r.At(3));
    r.Text(4, 32, m_Version);
    r.Text(36, 15, m_IMEI);
    r.Text(51, 14, m_SIM);
    if (r.Has(65) && *r.At(65) <= 5) m_Registration = _S_(static_cast<unsigned short>(10285 + *r.At(65)));
    r.Byte(66, m_Byte66);
    if (r.Has(67)) m_Signal = SignalText(*r.At(67));
    r.Text(68, 40, m_Info);
    if (r.Has(113) && static_cast<signed char>(*r.At(113)) > 0) {
        r.Text(113, 40, m_Address);
    } else if (r.Has(109, 4)) {
        char buf[INET_ADDRSTRLEN];
        m_Address = inet_ntop(AF_INET, r.At(109), buf, sizeof buf) ? buf : "?.?.?.?";
    }
}

// ---------------------------------------------------------------- askStatistic

void CStatCounters::Decode(const CPackV7& reply)
{
    for (uint32_t& c : m_Count) c = 0;
    Reader r(reply);
    // Pairs come out before in; they are kept in before out.
    for (int i = 0; i < kCount; ++i) r.Le32(4 * i, m_Count[i ^ 1]);
}

// ---------------------------------------------------------------- askDirect

bool CDirectOne::Decode(const CPackV7& reply, Effect& effect)
{
    Reader r(reply);
    if (!r.Has(0, 17)) return false;
    m_Num = *r.At(0);
    m_Count = *r.At(1);
    m_State = *r.At(2);
    m_Ident.SetValue(r.At(3));
    r.Addr(7, m_IP);
    r.Be16(11, m_PortData);
    r.Be16(13, m_PortVoice);
    m_Kind = (*r.At(15) >> 4) & 0x03;
    m_Last = *r.At(16);
    effect.store = !(m_State == 0 && m_Kind == 0);
    effect.askRest = m_Count > 1 && m_Num == 1;
    effect.last = m_Num == m_Count;
    return true;
}
