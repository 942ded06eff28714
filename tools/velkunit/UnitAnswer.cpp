#include "tools/velkunit/UnitAnswer.h"

#include "link/CMes.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace velkunit {

namespace {

// The data bytes of one reply, filled by position.
class Data {
public:
    explicit Data(size_t len) : m_Bytes(len, 0) {}

    void U8(size_t at, unsigned value) { m_Bytes.at(at) = static_cast<unsigned char>(value); }
    void Le32(size_t at, uint32_t value)
    {
        for (size_t i = 0; i < 4; ++i) U8(at + i, value >> (8 * i));
    }
    void Be16(size_t at, unsigned value)
    {
        U8(at, value >> 8);
        U8(at + 1, value);
    }
    void Bytes(size_t at, const unsigned char* from, size_t len)
    {
        std::copy_n(from, len, m_Bytes.begin() + static_cast<ptrdiff_t>(at));
    }
    void Bytes(size_t at, std::initializer_list<unsigned char> bytes) { Bytes(at, bytes.begin(), bytes.size()); }
    void Text(size_t at, size_t max, const std::string& text)
    {
        Bytes(at, reinterpret_cast<const unsigned char*>(text.data()), std::min(text.size(), max));
    }
    const std::vector<unsigned char>& Get() const { return m_Bytes; }

private:
    std::vector<unsigned char> m_Bytes;
};

// The NTP era boundary: seconds from 1900 to 1970.
constexpr uint64_t kNtpFromUnix = 2208988800ULL;

constexpr int kLinkRecords = kEth + 0x200;
constexpr int kRecordSize = 32;

CPackV7 Reply(const CPackV7& request, int ask, const Data& data)
{
    CPackV7 reply;
    reply.SetID(request.m_Dst, request.m_Src);
    reply.SetAsk(CPackV7::packAsk, ask, CPackV7::dirAnswer, data.Get().data(), static_cast<int>(data.Get().size()));
    return reply;
}

// The first data byte of a request, or -1.
int Arg(const CPackV7& request) { return request.m_Len > 14 ? request.m_Buf[14] : -1; }

const unsigned char* At(const Image& image, int adr) { return image.data() + adr; }

bool Erased(const Image& image, int adr, int len)
{
    return std::all_of(At(image, adr), At(image, adr + len), [](unsigned char b) { return b == 0xFF; });
}

// An address field, with an erased one reading as 0.0.0.0.
void Address(Data& d, size_t at, const Image& image, int adr)
{
    if (!Erased(image, adr, 4)) d.Bytes(at, At(image, adr), 4);
}

unsigned Port(const Image& image, int adr, unsigned erased)
{
    const unsigned port = BigEndian16(image, adr);
    return port == 0xFFFF ? erased : port;
}

// The unit's MAC address: the System page's field, or its factory copy.
const unsigned char* Mac(const Image& image)
{
    return Erased(image, kEth + 0x05, 6) ? At(image, kEth + 0x3A) : At(image, kEth + 0x05);
}

void Info(UnitOutcome& out, const CPackV7& req)
{
    const UnitConfig& c = out.state.config;
    Data d(17);
    d.U8(0, c.type);
    d.U8(1, c.subtype);
    d.U8(10, c.hwSubtype);
    for (size_t i = 0; i < 3; ++i) d.U8(12 + i, c.version[i]);
    d.U8(15, c.features[0]);
    d.U8(16, c.features[1]);
    out.replies.push_back(Reply(req, CPackV7::askInfo, d));
}

void Nvram(UnitOutcome& out, const CPackV7& req)
{
    UnitState& s = out.state;
    const bool complete = req.m_Len >= 18;
    const int adr = complete ? req.m_Buf[14] | req.m_Buf[15] << 8 : 0;
    const int word = complete ? req.m_Buf[16] | req.m_Buf[17] << 8 : 0;
    // Bit 8 of the length word marks a write; the count is then its low byte.
    const bool write = (word & 0x100) != 0;
    const int len = write ? word & 0xFF : word;
    int status = 0;
    if (s.config.nvramStatus != 0)
        status = s.config.nvramStatus;
    else if (!complete || (write && req.m_Len < 18 + len))
        status = kStatusMalformed;
    else if ((word & ~0x1FF) != 0 || len == 0 || adr + len > kImageSize)
        status = kStatusOutside;

    Data d(4 + (!write && status == 0 ? static_cast<size_t>(len) : 0));
    d.U8(0, adr);
    d.U8(1, adr >> 8);
    d.U8(2, len);
    d.U8(3, status);
    if (status == 0 && write) {
        if (!s.config.forgetWrites) {
            std::copy_n(req.m_Buf + 18, len, s.image.begin() + adr);
            out.written = true;
        }
    } else if (status == 0) {
        d.Bytes(4, At(s.image, adr), static_cast<size_t>(len));
    }
    out.note.op = write ? "write" : "read";
    out.note.addr = adr;
    out.note.len = len;
    out.note.status = status;
    out.replies.push_back(Reply(req, CPackV7::askNVRAM, d));
}

void Status(UnitOutcome& out, const CPackV7& req)
{
    const Image& run = out.state.running;
    const int host = 100 + out.state.config.ident % 100;
    Data d(41);
    d.Bytes(0, Mac(run), 6);
    d.U8(6, 5);   // cable on, 100BASE-T2 full duplex
    const int type = run[kEth + 0x100] < 3 ? run[kEth + 0x100] : 0;
    d.U8(7, type);
    d.Be16(8, Port(run, kEth + 0x101, V7Net::kUnitPort));
    d.Be16(10, Port(run, kEth + 0x103, 46001));
    switch (type) {
    case 0:   // a lease from the office router
        d.Bytes(12, {192, 168, 1, static_cast<unsigned char>(host)});
        d.Bytes(16, {255, 255, 255, 0});
        d.Bytes(20, {192, 168, 1, 1});
        d.U8(24, 4);   // LEASED
        d.Bytes(25, {192, 168, 1, 1});
        d.Bytes(37, {192, 168, 1, 1});
        break;
    case 1:   // what the Ethernet page set
        Address(d, 12, run, kEth + 0x105);
        Address(d, 16, run, kEth + 0x109);
        Address(d, 20, run, kEth + 0x10D);
        d.U8(24, 32);   // STATIC CONNECT
        Address(d, 37, run, kEth + 0x111);
        break;
    default:   // PPPoE: the provider's address, no mask or gateway
        d.Bytes(12, {10, 64, 17, static_cast<unsigned char>(host)});
        d.U8(24, 26);   // CONNECT ESTABLISHED
        d.Bytes(37, {10, 64, 0, 1});
        break;
    }
    out.replies.push_back(Reply(req, CPackV7::askStatus, d));
}

// One live link per slot of the link records: a record in use is a link
// kept for the "Links lifetime" of the link timing page.
void Direct(UnitOutcome& out, const CPackV7& req)
{
    const Image& run = out.state.running;
    const int n = Arg(req);
    const int count = LinkSlots(out.state.config);
    Data d(17);
    d.U8(0, n);
    d.U8(1, count);
    const int rec = kLinkRecords + kRecordSize * (n - 1);
    if (n >= 1 && n <= count && (run[static_cast<size_t>(rec)] == 1 || run[static_cast<size_t>(rec)] == 2)) {
        d.U8(2, run[kEth + 0x82] == 0xFF ? 20 : run[kEth + 0x82]);
        d.Bytes(3, At(run, rec + 1), 4);
        Address(d, 7, run, rec + 10);
        d.Be16(11, Port(run, rec + 6, 48000));
        d.Be16(13, Port(run, rec + 8, 48001));
        d.U8(15, 0);   // on the basic address
        d.U8(16, run[static_cast<size_t>(rec) + 5] == 0xFF ? 5 : run[static_cast<size_t>(rec) + 5]);
    }
    out.note.arg = n;
    out.replies.push_back(Reply(req, CPackV7::askDirect, d));
}

// Ten counters in pairs: Ethernet data, Ethernet voice, Wi-Fi data, Wi-Fi
// voice, 4G data; each pair as (transferred, accepted). Only Ethernet data
// moves: the simulator has no voice and no radio. --counters fixes all ten.
void Statistic(UnitOutcome& out, const CPackV7& req)
{
    Data d(40);
    const UnitConfig& c = out.state.config;
    if (c.countersSet) {
        for (size_t i = 0; i < c.counters.size(); ++i) d.Le32(4 * i, c.counters[i]);
    } else {
        d.Le32(0, out.state.transferred);
        d.Le32(4, out.state.accepted);
    }
    out.replies.push_back(Reply(req, CPackV7::askStatistic, d));
}

// Byte 1 zone, 2..5 NTP seconds, 6 state (quality), 7 time source: the
// order in which the configurator's dispatch stores them.
void System(UnitOutcome& out, const CPackV7& req, time_t now)
{
    const Image& run = out.state.running;
    Data d(8);
    d.U8(0, Arg(req));
    d.U8(1, run[kEth + 0x1D]);
    d.Le32(2, NtpSeconds(now));
    d.U8(6, 96);   // a good lock
    // No NTP server of its own: the time comes from the service.
    d.U8(7, run[kEth + 0x160] == 0xFF ? 2 : 0);
    out.note.arg = Arg(req);
    out.replies.push_back(Reply(req, CPackV7::askSystem, d));
}

void WiFi(UnitOutcome& out, const CPackV7& req)
{
    const Image& run = out.state.running;
    const unsigned flags = run[kEth + 0x380];
    const unsigned channel = run[kEth + 0x381];
    // An invalid channel means an unconfigured module, as the page reads it.
    const bool valid = channel >= 1 && channel <= 14;
    const bool external = valid && (flags & 0x01) != 0;
    const bool internal = valid && (flags & 0x02) != 0;
    const bool fixed = (flags & 0x80) != 0 && (flags & 0x40) == 0;
    const std::string name = external ? ImageText(run, kEth + 0x300, 32) : "";
    const std::string ap = internal ? ImageText(run, kEth + 0x340, 32) : "";
    const size_t n = name.size(), m = ap.size();

    Data d(44 + n + m);
    d.U8(0, Arg(req));
    d.U8(1, 0);   // the embedded module
    d.Bytes(6, {1, 7, 4});
    if (external) {
        d.U8(16, 1);
        d.U8(19, fixed ? 6 : 5);   // GOT_IP_STATIC, GOT_IP
        if (fixed) {
            for (size_t i = 0; i < 3; ++i) Address(d, 20 + 4 * i, run, kEth + 0x388 + 4 * static_cast<int>(i));
        } else {
            d.Bytes(20, {192, 168, 0, static_cast<unsigned char>(100 + out.state.config.ident % 100)});
            d.Bytes(24, {255, 255, 255, 0});
            d.Bytes(28, {192, 168, 0, 1});
        }
    }
    d.Bytes(32, Mac(run), 6);
    d.U8(37, Mac(run)[5] ^ 0x01);   // the module's own address, one off the unit's
    d.U8(40, n);
    d.Text(41, n, name);
    d.U8(41 + n, m);
    d.Text(42 + n, m, ap);
    d.U8(43 + n + m, external ? 256 - 58 : 0);   // -58 dB
    out.note.arg = Arg(req);
    out.replies.push_back(Reply(req, CPackV7::askWiFi, d));
}

void Mqtt(UnitOutcome& out, const CPackV7& req, time_t now)
{
    UnitState& s = out.state;
    if (Arg(req) == 0x80) {
        ++s.mqttReconnects;
        s.mqttReconnectAt = now;
        out.note.op = "reconnect";
    }
    const Image& run = s.running;
    const bool enabled = (run[kEth + 0x115] & 0x80) == 0;
    const bool connecting = s.mqttReconnectAt != 0 && now - s.mqttReconnectAt < 3;
    const auto minutes = static_cast<unsigned>((now - s.bootTime) / 60);
    Data d(18);
    d.U8(0, 1);
    d.U8(1, enabled ? 0 : 0x80);
    d.Be16(6, Port(run, kEth + 0x116, 1883));
    if (enabled) {
        d.Bytes(2, {198, 51, 100, 20});
        d.Be16(8, 49152 + static_cast<unsigned>(s.config.ident % 1000));
        d.U8(10, connecting ? 0x15 : 0x17);   // SOCK_SYNSENT, SOCK_ESTABLISHED
        d.U8(11, connecting ? 1 : 6);         // MQTT_CONNECT_TCP, MQTT_ESTABLISHED
        d.Be16(14, minutes);                  // one publication a minute
        d.Be16(16, minutes / 2);
    } else {
        d.U8(11, 128);   // MQTT_DISABLED
    }
    d.U8(12, static_cast<unsigned>(s.mqttReconnects));
    out.note.arg = Arg(req);
    out.replies.push_back(Reply(req, CPackV7::askMQTT, d));
}

// The modem walks through its states in the ten seconds after a start of
// the unit or a restart of its own.
void G4(UnitOutcome& out, const CPackV7& req, time_t now)
{
    UnitState& s = out.state;
    if (Arg(req) == 0x80) {
        s.g4RestartAt = now;
        out.note.op = "restart";
    }
    const time_t since = now - std::max(s.bootTime, s.g4RestartAt);
    const int status = since < 10 ? static_cast<int>(since / 2) : 9;
    const bool up = status == 9;
    const std::string imei = "35" + std::string(13 - std::min<size_t>(13, std::to_string(s.config.ident).size()), '0') +
                             std::to_string(s.config.ident);
    Data d(153);
    d.U8(0, 1);
    d.U8(2, status);
    d.Text(4, 32, "EC25EUGAR06A07M4G");
    d.Text(36, 15, imei);
    d.Text(51, 14, "READY");
    d.U8(65, up ? 1 : 2);    // home network, or still searching
    d.U8(67, up ? 20 : 99);  // -73 dBm, or unknown
    if (up) {
        d.Text(68, 40, "LTE FDD B20");
        d.Bytes(109, {10, 120, 7, static_cast<unsigned char>(20 + s.config.ident % 200)});
    }
    out.note.arg = Arg(req);
    out.replies.push_back(Reply(req, CPackV7::askG4, d));
}

void Request(UnitOutcome& out, const CPackV7& req, time_t now)
{
    out.note.ask = req.m_Ask;
    ++out.state.accepted;
    if (out.state.config.refuse != 0) {
        out.note.refused = out.state.config.refuse;
        out.replies.push_back(Refusal(req.m_Dst, req.m_Src, out.state.config.refuse));
        return;
    }
    const auto set = out.state.config.replies.find(req.m_Ask);
    if (set != out.state.config.replies.end() && !set->second.empty()) {
        size_t& next = out.state.replyNext[req.m_Ask];
        const std::vector<unsigned char>& bytes = set->second[std::min(next, set->second.size() - 1)];
        ++next;
        Data d(bytes.size());
        d.Bytes(0, bytes.data(), bytes.size());
        out.note.arg = Arg(req);
        out.note.kind = "set answer";
        out.replies.push_back(Reply(req, req.m_Ask, d));
        return;
    }
    switch (req.m_Ask) {
    case CPackV7::askInfo: Info(out, req); break;
    case CPackV7::askNVRAM: Nvram(out, req); break;
    case CPackV7::askRestart: out.restart = true; break;
    case CPackV7::askStatus: Status(out, req); break;
    case CPackV7::askDirect: Direct(out, req); break;
    case CPackV7::askStatistic: Statistic(out, req); break;
    case CPackV7::askSystem: System(out, req, now); break;
    case CPackV7::askWiFi: WiFi(out, req); break;
    case CPackV7::askMQTT: Mqtt(out, req, now); break;
    case CPackV7::askG4: G4(out, req, now); break;
    default: out.note.kind = "not simulated"; break;
    }
}

}  // namespace

UnitOutcome UnitAnswer(const UnitState& state, const CPackV7& req, time_t now)
{
    UnitOutcome out{state, {}, {}, false, false};
    if (req.m_Class != CPackV7::classData || req.m_Typ == CPackV7::packEmpty) return out;   // link traffic
    out.note.request = true;
    if (req.m_Typ == CPackV7::packAsk && req.m_DirAsk == CPackV7::dirAsk && req.m_Ask >= 0) {
        Request(out, req, now);
    } else if (req.m_Typ == CPackV7::packAsk) {
        out.note.kind = "answer sent to the unit";
    } else if (req.m_Typ == CPackV7::packAskTest) {
        // The SD card test: the configurator awaits no answer.
        out.note.kind = "SD card test, typAsk " + std::to_string(req.m_Len > 13 ? req.m_Buf[13] & 0x7F : -1);
    } else if (req.m_Typ == CPackV7::packMes) {
        out.note.kind = "lift-network message";
        // The lift network's station answers: the message comes back with
        // origin and destination swapped and one hop more.
        CMes mes;
        if (req.GetMes(mes) && mes.m_Len >= 6) {
            std::swap_ranges(mes.m_Buf, mes.m_Buf + 2, mes.m_Buf + 2);
            mes.m_Buf[4] = static_cast<unsigned char>(mes.m_Buf[4] + 1);
            CPackV7 echo(mes);
            echo.SetID(req.m_Dst, req.m_Src);
            out.replies.push_back(echo);
        }
    } else {
        out.note.kind = "data packet of type " + std::to_string(req.m_Typ);
    }
    out.state.transferred += static_cast<uint32_t>(out.replies.size());
    return out;
}

CPackV7 Refusal(const CIdentV7& from, const CIdentV7& to, int reason)
{
    CPackV7 pack(from, to);
    const auto body = static_cast<unsigned char>(reason);
    pack.SetLink(CPackV7::packLinkNoSender, &body, 1);
    return pack;
}

std::string AskName(int ask)
{
    switch (ask) {
    case CPackV7::askInfo: return "askInfo";
    case CPackV7::askNVRAM: return "askNVRAM";
    case CPackV7::askRestart: return "askRestart";
    case CPackV7::askStatus: return "askStatus";
    case CPackV7::askDirect: return "askDirect";
    case CPackV7::askStatistic: return "askStatistic";
    case CPackV7::askSystem: return "askSystem";
    case CPackV7::askWiFi: return "askWiFi";
    case CPackV7::askMQTT: return "askMQTT";
    case CPackV7::askG4: return "askG4";
    default: return "ask" + std::to_string(ask);
    }
}

uint32_t NtpSeconds(time_t now) { return static_cast<uint32_t>(static_cast<uint64_t>(now) + kNtpFromUnix); }

}  // namespace velkunit
