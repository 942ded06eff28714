#pragma once
// The simulated unit as data: what it says about itself, its NVRAM image and
// the little it keeps while running. Plain values, copied freely; the answers
// (UnitAnswer.h) are a function of this and a request, and the carriers hold
// one instance under a lock (CUnit.h).
#include "catalogue/CDev.h"
#include "link/CIdentV7.h"
#include "link/CKeySys.h"
#include "link/CLBNVRAM.h"
#include "link/V7Net.h"

#include <array>
#include <cstdint>
#include <ctime>
#include <map>
#include <vector>
#include <string>

namespace velkunit {

// The image as the configurator lays it out (CLBNVRAM), kept as plain bytes:
// a unit knows every byte of its own memory.
constexpr int kImageSize = CLBNVRAM::kSize;
constexpr int kEth = CLBNVRAM::kEthBase;   // the main parameter area, which the pages address from here
using Image = std::array<unsigned char, kImageSize>;

// What the unit reports about itself; fixed for a run.
struct UnitConfig {
    int ident = 2;
    int type = CDev::kindLU7;   // device kind: 14 generation 7, 12 CM3 (sub-type 2) or an older unit
    int subtype = 3;       // the code shown in the configurator's title
    int hwSubtype = 2;     // byte 10 of askInfo: 2 on CM3 and generation 7, 1 on older units
    std::array<int, 3> version{7, 2, 5};
    std::array<unsigned char, 2> features{0x03, 0x21};   // bytes 15 and 16 of askInfo
    // Faults and refusals asked for on the command line.
    int nvramStatus = 0;   // non-zero: every askNVRAM reply carries it, and nothing is written
    bool forgetWrites = false;   // writes are acknowledged as done and not kept
    std::array<uint32_t, 10> counters{};   // askStatistic as sent, when countersSet
    bool countersSet = false;              // else the live Ethernet data counts
    int refuse = 0;        // non-zero: every request is refused with this reason (1 busy, 7 bad identifier)
    // Answers set on the command line: per request kind, the data bytes of
    // each answer in turn; the last one repeats.
    std::map<int, std::vector<std::vector<unsigned char>>> replies;
};

// The unit's generation decides where its description lies and how many
// link records it has; the configurator goes by the same test.
inline bool IsCM3OrV7(const UnitConfig& c) { return CDev::IsCM3OrV7(c.type, c.hwSubtype); }
int DescrAddress(const UnitConfig& c);   // CLBNVRAM::kDescrCM3V7 on CM3 and generation 7, else kDescrOld
int LinkSlots(const UnitConfig& c);      // 8 on CM3 and generation 7, else 4

struct UnitState {
    UnitConfig config;
    Image image{};     // the NVRAM: what reads return and writes change
    Image running{};   // the image at the last start: what the unit runs on (status, key)
    time_t bootTime = 0;
    uint32_t accepted = 0;      // requests taken since the start
    uint32_t transferred = 0;   // answers given since the start
    int mqttReconnects = 0;
    time_t mqttReconnectAt = 0;
    time_t g4RestartAt = 0;
    std::map<int, size_t> replyNext;   // per request kind: the set answer that comes next
};

// A fresh start: the written image becomes the running one, counters clear.
UnitState Boot(UnitState state, time_t now);

// An image as a freshly installed unit of this kind holds it: identifier,
// MAC address, DHCP with the usual ports, a time zone and an NTP server, the
// description; key, link timing, links, domains, Wi-Fi and MQTT erased.
Image DefaultImage(const UnitConfig& config);

// The link key in the image: bytes 0x40B..0x41A, taken when any of them lies
// in 1..254 (as the System page judges it); otherwise the default key.
bool ImageHasKey(const Image& image);
CKeySys ImageKey(const Image& image);
void PutImageKey(Image& image, const CKeySys& key);
// The identifier at 0x401, if it is set and names a unit; else 0.
int ImageIdent(const Image& image);

// Reading fields the way the pages lay them out.
unsigned BigEndian16(const Image& image, int adr);
// A text field: up to `max` bytes, ended by the first byte below 0x20 or 0xFF.
std::string ImageText(const Image& image, int adr, int max);
void PutImageText(Image& image, int adr, int max, const std::string& text);

}  // namespace velkunit
