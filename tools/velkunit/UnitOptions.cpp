#include "tools/velkunit/UnitOptions.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <functional>

namespace velkunit {

namespace {

// Whole text as a number in [lo, hi]; decimal, or hexadecimal after "0x".
bool Int(const std::string& text, long lo, long hi, long& out)
{
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* begin = text.data() + (hex ? 2 : 0);
    const char* end = text.data() + text.size();
    long value = 0;
    const auto [ptr, ec] = std::from_chars(begin, end, value, hex ? 16 : 10);
    if (ec != std::errc() || ptr != end || begin == end || value < lo || value > hi) return false;
    out = value;
    return true;
}

bool Real(const std::string& text, double lo, double hi, double& out)
{
    if (text.empty() || text.find_first_not_of("+-0123456789.eE") != std::string::npos) return false;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(value) || value < lo || value > hi) return false;
    out = value;
    return true;
}

// "a,b" or "a.b.c": `count` numbers in [0, 255].
bool Bytes(const std::string& text, char sep, size_t count, std::vector<int>& out)
{
    out.clear();
    size_t from = 0;
    for (;;) {
        const size_t at = text.find(sep, from);
        long v;
        if (!Int(text.substr(from, at == std::string::npos ? std::string::npos : at - from), 0, 255, v)) return false;
        out.push_back(static_cast<int>(v));
        if (at == std::string::npos) break;
        from = at + 1;
    }
    return out.size() == count;
}

struct OptionDef {
    const char* name;
    const char* arg;    // null: a switch
    const char* help;
    // Takes the argument; false when it is not acceptable.
    std::function<bool(Options&, const std::string&)> set;
};

template <typename T>
std::function<bool(Options&, const std::string&)> Number(T Options::*field, long lo, long hi)
{
    return [=](Options& o, const std::string& v) {
        long n;
        if (!Int(v, lo, hi, n)) return false;
        o.*field = static_cast<T>(n);
        return true;
    };
}

std::function<bool(Options&, const std::string&)> Decimal(double Options::*field, double lo, double hi)
{
    return [=](Options& o, const std::string& v) { return Real(v, lo, hi, o.*field); };
}

std::function<bool(Options&, const std::string&)> Text(std::string Options::*field)
{
    return [=](Options& o, const std::string& v) {
        o.*field = v;
        return !v.empty();
    };
}

std::function<bool(Options&, const std::string&)> Switch(bool Options::*field)
{
    return [=](Options& o, const std::string&) {
        o.*field = true;
        return true;
    };
}

const std::vector<OptionDef>& Table()
{
    static const std::vector<OptionDef> table = {
        {"help", nullptr, "Show this text and stop.", Switch(&Options::help)},
        // The unit.
        {"ident", "N", "The unit's identifier, 1..9999899 (default: the one in the image, else 2).",
         Number(&Options::ident, 1, 9999899)},
        {"units", "N",
         "Play N units, 1..1000 (default 1), each with its own state: identifiers from --ident up, UDP ports "
         "from --udp-port up (0: the first chosen by the system), state files FILE.<ident>. UDP only.",
         Number(&Options::units, 1, 1000)},
        {"type", "N", "Unit type: 14 generation 7 (default), 12 CM3 with --subtype 2, anything else an older unit.",
         Number(&Options::type, 0, 255)},
        {"subtype", "N", "Sub-type shown in the title (default: 3 for type 14, 2 for type 12, else 1).",
         Number(&Options::subtype, 0, 255)},
        {"hw-subtype", "N", "Hardware sub-type, byte 10 of askInfo (default: 2 on CM3 and generation 7, else 1).",
         Number(&Options::hwSubtype, 1, 255)},
        {"version", "A.B.C", "Firmware version (default: by type).",
         [](Options& o, const std::string& v) {
             std::vector<int> n;
             if (!Bytes(v, '.', 3, n)) return false;
             o.version = {n[0], n[1], n[2]};
             return true;
         }},
        {"features", "B15,B16",
         "The two feature bytes of askInfo, decimal or 0x.. (default: domains, time zone, MQTT, and 4G on "
         "sub-types 2 and 3, for types 14 and 12; none for older units).",
         [](Options& o, const std::string& v) {
             std::vector<int> n;
             if (!Bytes(v, ',', 2, n)) return false;
             o.features = {n[0], n[1]};
             return true;
         }},
        {"image", "FILE", "Start from this NVRAM image (2048 bytes, or a state file) instead of a fresh one.",
         Text(&Options::image)},
        {"state", "FILE",
         "Keep the image in FILE across runs: read at start if it exists (it then wins over --image), written "
         "atomically after each accepted write. A malformed FILE stops the program and is left alone.",
         Text(&Options::state)},
        {"key", "TEXT",
         "Set the unit's link key from this password at start (default: the key in the image, else the "
         "default key).",
         [](Options& o, const std::string& v) {
             o.key = v;
             o.keySet = true;
             return true;
         }},
        // Carriers.
        {"udp-port", "N", "UDP port of the unit (default 46000; 0: chosen by the system).",
         Number(&Options::udpPort, 0, 65535)},
        {"bind", "ADDR", "Listen on this address only (default: every address).", Text(&Options::bind)},
        {"serial", nullptr, "Also serve a pseudo-terminal as the unit's USB serial line.", Switch(&Options::serial)},
        {"cloud", nullptr, "Also play the cloud server for the buttons and key methods.", Switch(&Options::cloud)},
        {"cloud-port", "N", "UDP port of the buttons method (default 4998; 0: chosen by the system).",
         Number(&Options::cloudPort, 0, 65535)},
        {"cloud-key-port", "N", "UDP port of the key method (default 4997; 0: chosen by the system).",
         Number(&Options::cloudKeyPort, 0, 65535)},
        {"buttons-after", "SECONDS",
         "The unit's buttons are pressed this long after a configurator first asks (default 2; negative: never).",
         Decimal(&Options::buttonsAfter, -1e9, 86400)},
        // Behaviour and faults.
        {"restart-delay", "SECONDS", "Silence after askRestart before the unit is back (default 7).",
         Decimal(&Options::restartDelay, 0, 3600)},
        {"refuse", "busy|ident", "Refuse every request: busy (reason 1) or bad identifier (reason 7).",
         [](Options& o, const std::string& v) {
             o.refuse = v == "busy" ? 1 : v == "ident" ? 7 : 0;
             return o.refuse != 0;
         }},
        {"drop", "FRACTION", "Drop this share (0..0.9) of the datagrams the simulator sends.",
         Decimal(&Options::drop, 0, 0.9)},
        {"seed", "N", "Seed of the drops (default 1).", Number(&Options::seed, 0, 4294967295L)},
        {"delay", "MS", "Hold every answer this many milliseconds (0..60000).", Number(&Options::delayMs, 0, 60000)},
        {"baud", "N",
         "Pace the serial line as a line of N baud would (8N1: 10 bits a byte), both ways (default 0: not paced).",
         Number(&Options::baud, 0, 4000000)},
        {"silent-after", "N", "Answer N requests, then nothing at all, not even acknowledgements.",
         Number(&Options::silentAfter, 1, 1000000000)},
        {"counters", "N0,...,N9",
         "The ten askStatistic counters as the unit sends them, in pairs of (out, in): Ethernet data, Ethernet "
         "voice, Wi-Fi data, Wi-Fi voice, 4G data; fixed for the run (default: the live Ethernet data counts).",
         [](Options& o, const std::string& v) {
             std::vector<uint32_t> n;
             size_t at = 0;
             while (at <= v.size()) {
                 const size_t end = std::min(v.find(',', at), v.size());
                 long x;
                 if (!Int(v.substr(at, end - at), 0, 0xFFFFFFFFL, x)) return false;
                 n.push_back(static_cast<uint32_t>(x));
                 at = end + 1;
             }
             if (n.size() != o.counters.size()) return false;
             std::copy(n.begin(), n.end(), o.counters.begin());
             o.countersSet = true;
             return true;
         }},
        {"nvram-status", "N", "Answer every askNVRAM with this non-zero status and no data; write nothing.",
         Number(&Options::nvramStatus, 1, 255)},
        {"forget-write", "ADDR", "Acknowledge a write of the block at ADDR (e.g. 0x400) as done and keep none of it.",
         Number(&Options::forgetWrite, 0, 2047)},
        {"wrong-key", "N", "Before the answer to the N-th request, send a copy coded under a wrong key (UDP).",
         Number(&Options::wrongKey, 1, 1000000000)},
        {"max-try", "N", "Transmissions of an answer over UDP before it is given up (default 5).",
         Number(&Options::maxTry, 1, 20)},
        {"retry-ms", "MS", "Milliseconds between transmissions of an answer over UDP (default 2000).",
         Number(&Options::retryMs, 100, 60000)},
        {"reply", "ASK:HEX",
         "Answer request kind ASK (its number, e.g. 9 for askWiFi) with these data bytes instead of the "
         "simulated ones. Given again for the same ASK, the answers come in turn and the last one repeats.",
         [](Options& o, const std::string& v) {
             const size_t colon = v.find(':');
             long ask;
             if (colon == std::string::npos || !Int(v.substr(0, colon), 0, 127, ask)) return false;
             const std::string hex = v.substr(colon + 1);
             if (hex.size() % 2 != 0 || hex.size() > 2 * 1000) return false;
             std::vector<unsigned char> data;
             for (size_t i = 0; i < hex.size(); i += 2) {
                 long b;
                 if (!Int("0x" + hex.substr(i, 2), 0, 255, b)) return false;
                 data.push_back(static_cast<unsigned char>(b));
             }
             o.replies.emplace_back(static_cast<int>(ask), std::move(data));
             return true;
         }},
        {"json", nullptr, "Log one JSON object per line instead of readable lines.", Switch(&Options::json)},
    };
    return table;
}

}  // namespace

bool ParseOptions(const std::vector<std::string>& args, Options& out, std::string& error)
{
    Options o;
    for (size_t i = 0; i < args.size(); ++i) {
        std::string name = args[i], value;
        const bool hasValue = name.find('=') != std::string::npos;
        if (name == "-h") name = "--help";
        if (name.rfind("--", 0) != 0 || name.size() == 2) {
            error = "unexpected argument '" + name + "'";
            return false;
        }
        if (hasValue) {
            value = name.substr(name.find('=') + 1);
            name.resize(name.find('='));
        }
        name.erase(0, 2);
        const OptionDef* def = nullptr;
        for (const OptionDef& s : Table())
            if (name == s.name) def = &s;
        if (!def) {
            error = "unknown option --" + name;
            return false;
        }
        if (def->arg && !hasValue) {
            if (i + 1 >= args.size()) {
                error = "--" + name + " needs " + def->arg;
                return false;
            }
            value = args[++i];
        } else if (!def->arg && hasValue) {
            error = "--" + name + " takes no value";
            return false;
        }
        if (!def->set(o, value)) {
            error = "--" + name + ": '" + value + "' is not acceptable (" + def->help + ")";
            return false;
        }
    }
    if (o.units > 1 && (o.serial || o.cloud)) {
        error = "--units serves UDP only: not with --serial or --cloud";
        return false;
    }
    out = o;
    return true;
}

std::string HelpText()
{
    std::string text =
        "Usage: velkunit [OPTION]...\n"
        "Simulates one lift unit for the configurator: over UDP (the IP method), optionally over a\n"
        "pseudo-terminal (the USB method) and as the cloud server (the two cloud methods).\n"
        "Prints 'udp <port>' (then 'serial <path>', 'cloud <port>' and 'cloud-key <port>' when asked for)\n"
        "before anything else, then one log line per request. SIGINT or SIGTERM stops it.\n\n";
    constexpr size_t kIndent = 26, kWidth = 100;
    for (const OptionDef& s : Table()) {
        std::string line = std::string("  --") + s.name + (s.arg ? std::string(" ") + s.arg : "");
        line += line.size() < kIndent ? std::string(kIndent - line.size(), ' ') : "\n" + std::string(kIndent, ' ');
        // The help, wrapped at word boundaries under its own column.
        size_t column = kIndent;
        bool first = true;
        const std::string help = s.help;
        for (size_t from = 0; from < help.size();) {
            size_t to = help.find(' ', from);
            if (to == std::string::npos) to = help.size();
            const std::string word = help.substr(from, to - from);
            if (!first && column + 1 + word.size() > kWidth) {
                line += "\n" + std::string(kIndent, ' ');
                column = kIndent;
                first = true;
            }
            if (!first) {
                line += ' ';
                ++column;
            }
            line += word;
            column += word.size();
            first = false;
            from = to + 1;
        }
        text += line + "\n";
    }
    text +=
        "\nExit status: 0 after a stop by signal, 1 when a carrier cannot start, 2 for a bad command line,\n"
        "3 for an image or state file that cannot be used.\n";
    return text;
}

UnitConfig ConfigFrom(const Options& o, int imageIdent)
{
    UnitConfig c;
    c.ident = o.ident != 0 ? o.ident : imageIdent != 0 ? imageIdent : 2;
    c.type = o.type;
    const bool v7 = o.type == 14;
    c.subtype = o.subtype >= 0 ? o.subtype : v7 ? 3 : o.type == 12 ? 2 : 1;
    c.hwSubtype = o.hwSubtype > 0 ? o.hwSubtype : (v7 || (o.type == 12 && c.subtype == 2)) ? 2 : 1;
    const bool cm3 = o.type == 12 && c.hwSubtype == 2;
    if (o.version[0] >= 0)
        c.version = o.version;
    else
        c.version = v7 ? std::array<int, 3>{7, 2, 5} : cm3 ? std::array<int, 3>{3, 4, 1} : std::array<int, 3>{2, 9, 0};
    if (o.features[0] >= 0) {
        c.features = {static_cast<unsigned char>(o.features[0]), static_cast<unsigned char>(o.features[1])};
    } else if (v7 || cm3) {
        // Domains and the time service; MQTT; 4G on the variants that have the modem.
        const bool g4 = v7 && (c.subtype == 2 || c.subtype == 3);
        c.features = {0x03, static_cast<unsigned char>(0x01 | (g4 ? 0x20 : 0))};
    } else {
        c.features = {0, 0};
    }
    c.nvramStatus = o.nvramStatus;
    c.forgetWrite = o.forgetWrite;
    c.counters = o.counters;
    c.countersSet = o.countersSet;
    c.refuse = o.refuse;
    for (const auto& [ask, data] : o.replies) c.replies[ask].push_back(data);
    return c;
}

}  // namespace velkunit
