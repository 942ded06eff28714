#include "unit/SystemFields.h"

#include "base/StringRes.h"
#include "link/CIdentV7.h"
#include "link/CKeySys.h"
#include "link/CLBNVRAM.h"

#include <algorithm>
#include <cstring>
#include <string>

const TimeZoneName NameTimeZone[kTimeZones] = {
    {10068, -43200}, {10069, -39600}, {10070, -36000}, {10071, -34200}, {10072, -32400},
    {10073, -28800}, {10074, -28800}, {10075, -25200}, {10076, -25200}, {10077, -21600},
    {10078, -21600}, {10079, -18000}, {10080, -18000}, {10081, -18000}, {10082, -16200},
    {10083, -14400}, {10084, -14400}, {10085, -12600}, {10086, -10800}, {10087, -7200},
    {10088, -3600},  {10089, 0},      {10090, 0},      {10091, 3600},   {10092, 3600},
    {10093, 3600},   {10094, 7200},   {10095, 7200},   {10096, 10800},  {10097, 10800},
    {10098, 12600},  {10099, 14400},  {10100, 16200},  {10101, 18000},  {10102, 19800},
    {10103, 20700},  {10104, 21600},  {10105, 23400},  {10106, 25200},  {10107, 28800},
    {10108, 32400},  {10109, 34200},  {10110, 36000},  {10111, 37800},  {10112, 39600},
    {10113, 41400},  {10114, 43200},  {10115, 45900},  {10116, 46800},  {10117, 50400},
};

const unsigned short NameTimeSource[kTimeSources] = {10245, 10246, 10247, 10248};

namespace {

constexpr int kIdent = 0x01;
constexpr int kMAC = 0x05;
constexpr int kKey = 0x0B;
constexpr int kPing = 0x1C;
constexpr int kZone = 0x1D;
constexpr int kIdentFallback = 0x36;
constexpr int kMACFallback = 0x3A;
constexpr int kNTP = 0x160;
constexpr int kNTPWidth = 32;

bool Erased(const unsigned char* bytes, int len)
{
    for (int i = 0; i < len; ++i)
        if (bytes[i] != 0xFF) return false;
    return true;
}

bool IsLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

constexpr int kEth = CLBNVRAM::kEthBase;
const FieldDef kMap[] = {
    {"System.Ident", kEth + kIdent, 4, FieldKind::Ident, 10145},
    {"System.MAC", kEth + kMAC, 6, FieldKind::MAC, 10014},
    {"System.Key", kEth + kKey, 16, FieldKind::LinkKey, 10148},
    {"System.PingOff", kEth + kPing, 1, FieldKind::Byte, 10012},
    {"System.TimeZone", kEth + kZone, 1, FieldKind::Byte, 10017},
    {"System.NTP", kEth + kNTP, kNTPWidth, FieldKind::Text, 10016},
};

}  // namespace

std::span<const FieldDef> SystemFields::Map() { return kMap; }

void SystemFields::Read(const CLBNVRAM& nvram)
{
    unsigned char id[4];
    nvram.GetEth(kIdent, id, 4);
    m_IdentFallback = Erased(id, 4);
    if (m_IdentFallback) nvram.GetEth(kIdentFallback, id, 4);
    if (!Erased(id, 4)) {
        CIdentV7 ident;
        ident.SetValue(id);
        m_Node = ident.GetNode();
    }
    if (m_Node == 0) m_Node = 1;

    unsigned char mac[6];
    nvram.GetEth(kMAC, mac, 6);
    m_MACFallback = Erased(mac, 6);
    if (m_MACFallback) nvram.GetEth(kMACFallback, mac, 6);
    m_MAC.Format(L"%02X%02X%02X%02X%02X%02X", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);

    // Only 0x00 and 0xFF bytes: an empty or erased key, nothing to hide.
    unsigned char key[16];
    nvram.GetEth(kKey, key, 16);
    m_Key.clear();
    for (unsigned char b : key)
        if (b >= 1 && b <= 254) m_Key = L"********";
    m_Key2 = m_Key;

    m_PingOff = nvram.GetEth(kPing) != 0;
    m_Zone = nvram.GetEth(kZone);
    if (m_Zone > kTimeZones) m_Zone = kTimeZones;

    char ntp[kNTPWidth + 1] = {};
    nvram.GetEth(kNTP, ntp, kNTPWidth);
    if (static_cast<unsigned char>(ntp[0]) != 0xFF) m_NTP.FromCP1251(ntp).Trim();
}

SystemFields::Result SystemFields::Write(CLBNVRAM& nvram, bool editIdent) const
{
    Result r;
    auto refuse = [&r](unsigned short id, const DBString& head = DBString()) {
        r.m_Refused = id;
        r.m_Message = head.empty() ? _S_(id) : head + L" - " + _S_(id);
        return r;
    };

    if (m_KeyChanged) {
        if (m_Key != m_Key2) return refuse(kIdKeyDiffers);
        DBString bad = m_Key.NotASCII();
        if (!bad.empty()) return refuse(kIdKeyNotASCII, bad);
        CKeySys key;
        key.Create(m_Key.c_str());
        nvram.SetEth(kKey, key.Data(), 16);
        r.m_KeyWritten = true;
    }

    if (editIdent) {
        if (m_MAC.size() != 12) return refuse(kIdMACLength);
        // Only the low byte of each character is looked at, so a non-Latin
        // character whose low byte is a hex digit passes; this stays so.
        for (wchar_t c : m_MAC)
            if (!std::strchr("0123456789abcdefABCDEF", static_cast<char>(c & 0xFF))) return refuse(kIdMACSymbol);
        unsigned char id[4];
        CIdentV7(m_Node, 0).GetValue(id);
        nvram.SetEth(kIdent, id, 4);
        const unsigned char zeros[6] = {};
        nvram.SetEth(kMAC, zeros, 6);
    }

    nvram.SetEth(kPing, static_cast<unsigned char>(m_PingOff ? 1 : 0));
    nvram.SetEth(kZone, static_cast<unsigned char>(m_Zone >= 0 && m_Zone < kTimeZones ? m_Zone : 0xFF));
    // A name that fills the field has no terminator in the image.
    char ntp[kNTPWidth] = {};
    const std::string cp = m_NTP.ToCP1251();
    std::memcpy(ntp, cp.data(), std::min<size_t>(cp.size(), kNTPWidth));
    nvram.SetEth(kNTP, ntp, kNTPWidth);
    return r;
}

typQuality QualityBand(uint32_t quality)
{
    if (quality < 160) return qualityGreen;
    if (quality < 208) return qualityYellow;
    if (quality < 240) return qualityOrange;
    return qualityRed;
}

DBString NtpDateText(uint64_t seconds)
{
    int year = 1900;
    for (;;) {
        uint64_t len = IsLeap(year) ? 31622400 : 31536000;
        if (seconds < len) break;
        seconds -= len;
        ++year;
    }
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int month = 0;
    for (;; ++month) {
        uint64_t len = uint64_t(kDays[month] + (month == 1 && IsLeap(year) ? 1 : 0)) * 86400;
        if (seconds < len || month == 11) break;
        seconds -= len;
    }
    const int day = static_cast<int>(seconds / 86400) + 1;
    const int s = static_cast<int>(seconds % 86400);
    DBString text;
    text.Format(L"%02d.%02d.%04d %02d:%02d:%02d", day, month + 1, year, s / 3600, s / 60 % 60, s % 60);
    return text;
}

SystemStatusText DecodeSystemStatus(uint32_t zone, uint64_t ntp, uint32_t source, uint32_t quality)
{
    SystemStatusText t;
    const bool known = zone < kTimeZones;
    if (source >= kTimeSources || ntp == 0) {
        t.m_Zone = _S_(known ? NameTimeZone[zone].m_Id : kIdNotDefined);
        t.m_LocalTime = t.m_Source = _S_(kIdNotDefined);
    } else {
        if (known) t.m_Zone = _S_(NameTimeZone[zone].m_Id);
        int64_t local = static_cast<int64_t>(ntp) + (known ? NameTimeZone[zone].m_Offset : 0);
        if (local <= 0x7FFFFFFF) local += 0x100000000LL;
        t.m_LocalTime = NtpDateText(static_cast<uint64_t>(local));
        t.m_Source = _S_(NameTimeSource[source]);
    }
    if (ntp != 0) {
        t.m_Coloured = true;
        t.m_Quality = QualityBand(quality);
    }
    return t;
}
