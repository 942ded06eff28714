#include "disp/CMesDisp.h"

#include <cstring>
#include <string>
#include <type_traits>

std::atomic<bool> CMesDisp::s_ConvertToUTC{false};
std::atomic<int> CMesDisp::s_Bias{0};

namespace {

// Integers travel little-endian whatever the host's order.
template <typename T>
void ToLE(T v, unsigned char* out)
{
    auto u = static_cast<std::make_unsigned_t<T>>(v);
    for (size_t i = 0; i < sizeof(T); ++i) out[i] = static_cast<unsigned char>(u >> (8 * i));
}

template <typename T>
T FromLE(const unsigned char* in)
{
    std::make_unsigned_t<T> u = 0;
    for (size_t i = 0; i < sizeof(T); ++i) u |= static_cast<std::make_unsigned_t<T>>(in[i]) << (8 * i);
    return static_cast<T>(u);
}

template <typename T>
bool AddLE(CMesDisp& m, T v)
{
    unsigned char b[sizeof(T)];
    ToLE(v, b);
    return m.Add(b, sizeof b);
}

template <typename T>
bool GetLE(CMesDisp& m, T& v)
{
    unsigned char b[sizeof(T)];
    bool ok = m.Get(b, sizeof b);
    v = FromLE<T>(b);   // all zero on failure
    return ok;
}

constexpr char16_t kSwappedMark = 0xFFFE;

}  // namespace

void CMesDisp::Clear()
{
    SetLen(2);
    m_Buf[2] = 0;
    m_Pos = BodyPos;
}

void CMesDisp::Create(typMes type)
{
    Clear();
    m_Buf[2] = type;
    SetLen(3);
}

bool CMesDisp::Set(const unsigned char* bytes, int len)
{
    if (len < 2 || len > MaxLen || !bytes) return false;
    std::memmove(m_Buf, bytes, static_cast<size_t>(len));
    SetLen(len);
    m_Pos = BodyPos;
    return true;
}

bool CMesDisp::Put(const void* bytes, int count)
{
    int len = Len();
    if (count < 0 || count > MaxLen - len || (count > 0 && !bytes)) return false;
    if (count > 0) std::memcpy(m_Buf + len, bytes, static_cast<size_t>(count));
    SetLen(len + count);
    return true;
}

bool CMesDisp::Take(void* bytes, int count)
{
    if (count < 0 || m_Pos < BodyPos || count > Len() - m_Pos) {
        if (count > 0 && bytes) std::memset(bytes, 0, static_cast<size_t>(count));
        return false;
    }
    if (count > 0) std::memcpy(bytes, m_Buf + m_Pos, static_cast<size_t>(count));
    m_Pos += count;
    return true;
}

bool CMesDisp::Add(unsigned char v) { return Put(&v, 1); }
bool CMesDisp::Add(short v) { return AddLE(*this, v); }
bool CMesDisp::Add(unsigned short v) { return AddLE(*this, v); }
bool CMesDisp::Add(int v) { return AddLE(*this, v); }
bool CMesDisp::Add(unsigned int v) { return AddLE(*this, v); }
bool CMesDisp::Add(const unsigned char* bytes, int count) { return Put(bytes, count); }
bool CMesDisp::Add(const DBGUID& g) { return Put(g.Data(), 16); }

bool CMesDisp::Add(const wchar_t* text)
{
    const std::u16string units = DBString(text).ToUtf16();
    if (units.size() > 255) return false;
    const int n = static_cast<int>(units.size());
    if (1 + 2 * n > MaxLen - Len()) return false;
    unsigned char buf[1 + 2 * 255];
    buf[0] = static_cast<unsigned char>(n);
    for (int i = 0; i < n; ++i) ToLE(static_cast<uint16_t>(units[i]), buf + 1 + 2 * i);
    return Put(buf, 1 + 2 * n);
}

bool CMesDisp::Add(const DBTime& t)
{
    double d = t.ToDATE(s_ConvertToUTC, s_Bias);
    uint64_t bits;
    static_assert(sizeof d == sizeof bits);
    std::memcpy(&bits, &d, sizeof bits);
    return AddLE(*this, bits);
}

bool CMesDisp::Get(unsigned char& v) { return Take(&v, 1); }
bool CMesDisp::Get(short& v) { return GetLE(*this, v); }
bool CMesDisp::Get(unsigned short& v) { return GetLE(*this, v); }
bool CMesDisp::Get(int& v) { return GetLE(*this, v); }
bool CMesDisp::Get(unsigned int& v) { return GetLE(*this, v); }
bool CMesDisp::Get(unsigned char* bytes, int count) { return Take(bytes, count); }

bool CMesDisp::Get(DBGUID& g)
{
    unsigned char b[16];
    bool ok = Take(b, sizeof b);
    g.Set(b);
    return ok;
}

bool CMesDisp::Get(DBString& text)
{
    text.clear();
    const int start = m_Pos;
    unsigned char n = 0;
    unsigned char raw[2 * 255];
    if (!Get(n) || !Take(raw, 2 * n)) {
        m_Pos = start;
        return false;
    }
    std::u16string units(n, u'\0');
    for (int i = 0; i < n; ++i) units[i] = FromLE<char16_t>(raw + 2 * i);
    size_t first = 0;
    if (n > 0 && units[0] == kSwappedMark) {
        for (auto& u : units) u = static_cast<char16_t>(u << 8 | u >> 8);
        first = 1;
    }
    text = DBString::FromUtf16(units.data() + first, units.size() - first);
    return true;
}

bool CMesDisp::Get(DBTime& t)
{
    uint64_t bits = 0;
    t = DBTime();
    if (!GetLE(*this, bits)) return false;
    double d;
    std::memcpy(&d, &bits, sizeof d);
    if (d == 0.0) return false;
    t = DBTime(d, s_ConvertToUTC, s_Bias);
    return !t.IsEmpty();
}

bool CMesDisp::ParseBegin(typMes type, int minLen)
{
    m_Pos = BodyPos;
    return TypMes() == type && Len() >= minLen;
}

// A counted block into a caller's buffer of `capacity` bytes.
bool CMesDisp::ParseBlock(int& len, unsigned char* data, int capacity)
{
    unsigned char n = 0;
    if (!Get(n) || n > capacity || n > Len() - m_Pos || (n > 0 && !data)) return false;
    len = n;
    return Get(data, n);
}

bool CMesDisp::Create_CloseLink()
{
    Create(CloseLink);
    return true;
}

bool CMesDisp::Parse_CloseLink() { return ParseBegin(CloseLink, 3); }

bool CMesDisp::Create_SendMsg(int unit, int tag, int len, const unsigned char* data)
{
    Create(SendMsg);
    Add(unit);
    Add(static_cast<unsigned char>(tag));
    Add(static_cast<unsigned char>(len));
    if (len < 0 || len > 255) return false;   // the count byte cannot say it
    return Add(data, len);
}

bool CMesDisp::Parse_SendMsg(int& unit, int& tag, int& len, unsigned char* data, int capacity)
{
    unit = tag = len = 0;
    unsigned char t = 0;
    int u = 0;
    if (!ParseBegin(SendMsg, 9) || !Get(u) || !Get(t) || !ParseBlock(len, data, capacity)) {
        len = 0;
        return false;
    }
    unit = u;
    tag = t;
    return true;
}

bool CMesDisp::Create_Msg(int unit, int len, const unsigned char* data)
{
    Create(Msg);
    Add(unit);
    // Only the low eight bits fit the count byte; the packs handed over are
    // far shorter than 256 bytes.
    Add(static_cast<unsigned char>(len));
    if (len < 0 || len > MaxLen - 8) return false;
    return Add(data, len);
}

bool CMesDisp::Parse_Msg(int& unit, int& len, unsigned char* data, int capacity)
{
    unit = len = 0;
    int u = 0;
    if (!ParseBegin(Msg, 8) || !Get(u) || !ParseBlock(len, data, capacity)) {
        len = 0;
        return false;
    }
    unit = u;
    return true;
}

bool CMesDisp::Create_OpenLinkEx()
{
    Create(OpenLinkEx);
    return true;
}

bool CMesDisp::Parse_OpenLinkEx() { return ParseBegin(OpenLinkEx, 3); }

bool CMesDisp::Create_TimeAndGUID(const DBTime& t, const DBGUID& g)
{
    Create(TimeAndGUID);
    const auto secs = static_cast<uint64_t>(t.Get());
    Add(static_cast<unsigned int>(secs));
    Add(static_cast<unsigned char>(secs >> 32));
    return Add(g);
}

bool CMesDisp::Parse_TimeAndGUID(DBTime& t, DBGUID& g)
{
    t = DBTime();
    g.Clear();
    unsigned int low = 0;
    unsigned char high = 0;
    if (!ParseBegin(TimeAndGUID, 24) || !Get(low) || !Get(high) || !Get(g)) {
        g.Clear();
        return false;
    }
    t = DBTime(static_cast<time_t>(static_cast<uint64_t>(high) << 32 | low));
    return true;
}
