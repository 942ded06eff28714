#include "ctl/Targets.h"

#include "base/IPv6.h"
#include "base/Secrets.h"
#include "base/StringRes.h"
#include "link/V7Net.h"
#include "unit/ConnectRules.h"

#include <charconv>

namespace {

constexpr int kMaxNode = 16711678;

bool Number(const std::string& text, int lo, int hi, int& out)
{
    int v = 0;
    const char* end = text.data() + text.size();
    auto [p, ec] = std::from_chars(text.data(), end, v);
    if (text.empty() || ec != std::errc() || p != end || v < lo || v > hi) return false;
    out = v;
    return true;
}

bool IsHexKey(const std::string& text)
{
    if (text.size() != 32) return false;
    for (char c : text)
        if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
    return true;
}

// The key rules of the cloud method, on one line.
std::string KeyRules()
{
    std::string text;
    for (unsigned short id = 10127; id <= 10131; ++id) text += _S_(id).ToStr();
    std::string line;
    for (char c : text) {
        if (c != '\n') line += c;
        else if (!line.empty() && line.back() != ' ') line += ' ';
    }
    return line;
}

void TakeKey(const std::string& field, CtlTarget& t)
{
    t.keyHex = field.rfind("hex:", 0) == 0;
    t.key = t.keyHex ? field.substr(4) : field;
}

}  // namespace

std::string CtlTarget::Name() const
{
    if (!name.empty()) return name;
    switch (method) {
    case typConnectUSB: return serial + "#" + std::to_string(ident);
    case typConnectCloudKey: return "cloud:" + std::to_string(ident);
    default: return host + ":" + std::to_string(port ? port : V7Net::kUnitPort) + "#" + std::to_string(ident);
    }
}

bool SplitCsv(std::string_view line, std::vector<std::string>& fields)
{
    fields.assign(1, std::string());
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted) {
            if (c != '"') fields.back() += c;
            else if (i + 1 < line.size() && line[i + 1] == '"') fields.back() += '"', ++i;
            else quoted = false;
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            fields.emplace_back();
        } else if (c != '\r') {
            fields.back() += c;
        }
    }
    // Spaces around a field are for the eye, unless quoted.
    for (auto& f : fields) {
        const size_t a = f.find_first_not_of(" \t");
        const size_t b = f.find_last_not_of(" \t");
        f = a == std::string::npos ? std::string() : f.substr(a, b - a + 1);
    }
    return !quoted;
}

bool SplitHostPort(const std::string& text, std::string& host, int& port, std::string& why)
{
    // HOST:PORT, or [IPv6]:PORT; a bare IPv6 address has no port.
    std::string h = text;
    int p = 0;
    if (!h.empty() && h[0] == '[') {
        const size_t close = h.find(']');
        if (close == std::string::npos) return why = "no ']' in '" + text + "'", false;
        const std::string rest = h.substr(close + 1);
        if (!rest.empty() && (rest[0] != ':' || !Number(rest.substr(1), 1, 65535, p)))
            return why = "bad port in '" + text + "'", false;
        h = h.substr(1, close - 1);
    } else if (const size_t colon = h.rfind(':'); colon != std::string::npos && h.find(':') == colon) {
        if (!Number(h.substr(colon + 1), 1, 65535, p)) return why = "bad port in '" + text + "'", false;
        h.resize(colon);
    }
    if (h.empty()) return why = "no host in '" + text + "'", false;
    host = h;
    port = p;
    return true;
}

bool ParseTargetLine(std::string_view line, CtlTarget& out, std::string& why)
{
    std::vector<std::string> f;
    if (!SplitCsv(line, f)) {
        why = "a quote is not closed";
        return false;
    }
    CtlTarget t;
    const std::string& method = f[0];
    auto count = [&](size_t lo, size_t hi) {
        if (f.size() >= lo && f.size() <= hi) return true;
        why = method + " takes " + std::to_string(lo - 1) + (lo == hi ? "" : " or " + std::to_string(hi - 1)) +
              " fields after the method, not " + std::to_string(f.size() - 1);
        return false;
    };
    if (method == "ip") {
        if (!count(4, 5)) return false;
        t.method = typConnectIP;
        t.host = f[1];
        if (!Number(f[2], 1, 65535, t.port)) return why = "bad port '" + f[2] + "'", false;
        if (!Number(f[3], 1, kMaxNode, t.ident)) return why = "bad identifier '" + f[3] + "'", false;
        if (f.size() == 5) TakeKey(f[4], t);
    } else if (method == "serial") {
        if (!count(3, 3)) return false;
        t.method = typConnectUSB;
        t.serial = f[1];
        if (!Number(f[2], 1, kMaxNode, t.ident)) return why = "bad identifier '" + f[2] + "'", false;
    } else if (method == "cloud-key") {
        if (!count(4, 4)) return false;
        t.method = typConnectCloudKey;
        t.host = f[1];
        if (!SplitHostPort(f[1], t.host, t.port, why)) return false;
        if (!Number(f[2], 1, kMaxNode, t.ident)) return why = "bad identifier '" + f[2] + "'", false;
        TakeKey(f[3], t);
    } else {
        why = "unknown method '" + method + "' (ip, serial or cloud-key)";
        return false;
    }
    if (!CheckTarget(t, why)) return false;
    out = t;
    return true;
}

bool ParseTargets(std::string_view text, std::vector<CtlTarget>& out, std::string& why)
{
    std::vector<CtlTarget> all;
    size_t number = 0;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        ++number;
        const size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string_view::npos || line[first] == '#') continue;
        CtlTarget t;
        if (!ParseTargetLine(line, t, why)) {
            why = "line " + std::to_string(number) + ": " + why;
            return false;
        }
        all.push_back(t);
    }
    if (all.empty()) {
        why = "no unit in the list";
        return false;
    }
    out = std::move(all);
    return true;
}

bool CheckTarget(const CtlTarget& t, std::string& why)
{
    if (t.ident < 1 || t.ident > kMaxNode) return why = "the unit's identifier (--ident) must be 1..16711678", false;
    switch (t.method) {
    case typConnectUSB:
        if (t.serial.empty()) return why = "no serial device", false;
        if (!t.key.empty()) return why = "the serial line takes no key", false;
        return true;
    case typConnectIP:
        if (isNulIPv6(IP6FromStr(t.host))) return why = "'" + t.host + "' is not an IPv4 or IPv6 address", false;
        break;
    case typConnectCloudKey:
        if (t.key.empty()) return why = _S_(10055).ToStr(), false;
        if (!t.keyHex && !IsValidCloudKey(DBString(t.key))) return why = KeyRules(), false;
        break;
    default: return why = "unknown method", false;
    }
    if (t.keyHex && !IsHexKey(t.key)) return why = "a hex key is 32 hexadecimal digits", false;
    return true;
}

CTargetLU MakeTarget(const CtlTarget& t, CBaseLog& log)
{
    CTargetLU lu;
    lu.method = t.method;
    lu.ident = t.ident;
    lu.serial = t.serial;
    // An empty key is the default one (CClientLU sets it); a password is
    // derived, hex digits are the key itself, as on the Connection page.
    if (t.keyHex) lu.key.Set(DBString(t.key).c_str());
    else if (!t.key.empty()) lu.key.Create(DBString(t.key).c_str());
    if (t.method == typConnectIP) {
        lu.addr = IP6FromStr(t.host);
        lu.port = t.port ? t.port : V7Net::kUnitPort;
    } else if (t.method == typConnectCloudKey) {
        lu.port = t.port ? t.port : V7Net::kCloudKeyPort;
        lu.addr = ResolveHost(t.host.empty() ? Secrets::CloudHost : t.host, lu.port, log);
    }
    return lu;
}
