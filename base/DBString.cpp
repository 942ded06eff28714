#include "base/DBString.h"

#include "base/md5.h"

#include <iconv.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <vector>

namespace {

const char kBadUtf8[] = "?utf-8?";
const wchar_t kBadUtf32[] = L"?utf-32?";

bool IsScalar(char32_t c) { return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

// Strict UTF-8 decoding: no overlong forms, no surrogates, nothing above
// U+10FFFF. Returns false on any fault.
bool DecodeUtf8(const char* s, size_t n, std::wstring& out)
{
    out.clear();
    out.reserve(n);
    const auto* p = reinterpret_cast<const unsigned char*>(s);
    for (size_t i = 0; i < n;) {
        unsigned char b = p[i];
        char32_t c;
        int extra;
        if (b < 0x80) { c = b; extra = 0; }
        else if ((b & 0xE0) == 0xC0) { c = b & 0x1F; extra = 1; }
        else if ((b & 0xF0) == 0xE0) { c = b & 0x0F; extra = 2; }
        else if ((b & 0xF8) == 0xF0) { c = b & 0x07; extra = 3; }
        else return false;
        if (i + extra >= n && extra > 0) return false;
        for (int k = 1; k <= extra; ++k) {
            unsigned char cb = p[i + k];
            if ((cb & 0xC0) != 0x80) return false;
            c = (c << 6) | (cb & 0x3F);
        }
        static const char32_t kMin[] = {0, 0x80, 0x800, 0x10000};
        if (c < kMin[extra] || !IsScalar(c)) return false;
        out.push_back(static_cast<wchar_t>(c));
        i += extra + 1;
    }
    return true;
}

bool EncodeUtf8(const std::wstring& in, std::string& out)
{
    out.clear();
    out.reserve(in.size());
    for (wchar_t wc : in) {
        auto c = static_cast<char32_t>(wc);
        if (!IsScalar(c)) return false;
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return true;
}

// A tiny owner of one iconv descriptor.
class Iconv {
public:
    Iconv(const char* to, const char* from) : m_Cd(iconv_open(to, from)) {}
    ~Iconv() { if (Ok()) iconv_close(m_Cd); }
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;
    bool Ok() const { return m_Cd != reinterpret_cast<iconv_t>(-1); }
    // Converts as far as it can; returns the number of output bytes.
    size_t Run(const char* in, size_t inLen, char* out, size_t outLen)
    {
        char* src = const_cast<char*>(in);
        char* dst = out;
        size_t left = outLen;
        iconv(m_Cd, &src, &inLen, &dst, &left);
        return outLen - left;
    }

private:
    iconv_t m_Cd;
};

// glibc's name for the wchar_t encoding; plain "UTF-32" would expect a BOM
// and big-endian order.
const char kWide[] = "WCHAR_T";

}  // namespace

DBString::DBString(const char* utf8)
{
    if (!utf8) return;
    if (!DecodeUtf8(utf8, std::strlen(utf8), *this)) assign(kBadUtf32);
}

DBString::DBString(const std::string& utf8)
{
    if (!DecodeUtf8(utf8.data(), utf8.size(), *this)) assign(kBadUtf32);
}

DBString::DBString(const char16_t* utf16)
{
    if (!utf16) return;
    size_t n = 0;
    while (utf16[n]) ++n;
    *this = FromUtf16(utf16, n);
}

DBString DBString::FromUtf16(const char16_t* units, size_t count)
{
    DBString out;
    out.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        char32_t u = units[i];
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < count && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
            u = 0x10000 + ((u - 0xD800) << 10) + (units[i + 1] - 0xDC00);
            ++i;
        } else if (u >= 0xD800 && u <= 0xDFFF) {
            u = 0xFFFD;  // a lone surrogate cannot stand in a wide string
        }
        out.push_back(static_cast<wchar_t>(u));
    }
    return out;
}

std::string DBString::ToStr() const
{
    std::string out;
    if (!EncodeUtf8(*this, out)) return kBadUtf8;
    return out;
}

std::u16string DBString::ToUtf16() const
{
    std::u16string out;
    out.reserve(size());
    for (wchar_t wc : *this) {
        auto c = static_cast<char32_t>(wc);
        if (c >= 0x10000 && c <= 0x10FFFF) {
            c -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
        } else {
            out.push_back(c > 0x10FFFF ? u'\xFFFD' : static_cast<char16_t>(c));
        }
    }
    return out;
}

std::string DBString::ToCP1251() const
{
    Iconv cd("CP1251", kWide);
    if (!cd.Ok()) return {};
    char buf[1024];
    size_t n = cd.Run(reinterpret_cast<const char*>(data()), size() * sizeof(wchar_t), buf, sizeof buf);
    return std::string(buf, strnlen(buf, n));
}

DBString& DBString::FromCP1251(const char* text)
{
    if (!text) return *this;
    Iconv cd(kWide, "CP1251");
    if (!cd.Ok()) return *this;
    size_t len = std::strlen(text);
    std::vector<wchar_t> buf(len + 1);
    size_t n = cd.Run(text, len, reinterpret_cast<char*>(buf.data()), len * sizeof(wchar_t));
    assign(buf.data(), n / sizeof(wchar_t));
    return *this;
}

namespace {
constexpr size_t kFormatMax = 0x8000;

DBString VFormat(const wchar_t* format, va_list ap)
{
    // One buffer per thread: 128 KiB is too much for every stack that logs.
    thread_local wchar_t buf[kFormatMax];
    buf[0] = 0;
    std::vswprintf(buf, kFormatMax, format, ap);
    buf[kFormatMax - 1] = 0;
    return DBString(buf);
}
}  // namespace

DBString& DBString::Format(const wchar_t* format, ...)
{
    va_list ap;
    va_start(ap, format);
    *this = VFormat(format, ap);
    va_end(ap);
    return *this;
}

DBString& DBString::AppendFormat(const wchar_t* format, ...)
{
    va_list ap;
    va_start(ap, format);
    append(VFormat(format, ap));
    va_end(ap);
    return *this;
}

int DBString::Find(wchar_t c, int start) const
{
    if (start < 0) start = 0;
    size_t pos = find(c, static_cast<size_t>(start));
    return pos == npos ? -1 : static_cast<int>(pos);
}

DBString DBString::Left(int count) const
{
    if (count <= 0) return {};
    return DBString(substr(0, static_cast<size_t>(count)));
}

DBString DBString::SubStr(int start, int count) const
{
    if (start < 0) start = 0;
    if (static_cast<size_t>(start) >= size()) return {};
    return DBString(substr(static_cast<size_t>(start), count < 0 ? npos : static_cast<size_t>(count)));
}

int DBString::Replace(const wchar_t* from, const wchar_t* to)
{
    if (!from || !*from) return 0;
    const std::wstring f(from), t(to ? to : L"");
    int n = 0;
    for (size_t pos = find(f); pos != npos; pos = find(f, pos + t.size())) {
        replace(pos, f.size(), t);
        ++n;
    }
    return n;
}

DBString& DBString::Trim()
{
    size_t first = find_first_not_of(L' ');
    if (first == npos) {
        clear();
        return *this;
    }
    size_t last = find_last_not_of(L' ');
    *this = DBString(substr(first, last - first + 1));
    return *this;
}

DBString DBString::NotASCII() const
{
    DBString out;
    for (wchar_t c : *this)
        if ((c < 0x20 || c > 0x7E) && out.find(c) == npos) out.push_back(c);
    return out;
}

DBString DBString::Md5Hash() const
{
    std::string bytes = ToCP1251();
    unsigned char digest[16];
    md5 ctx;
    md5_starts(ctx);
    md5_update(ctx, bytes.data(), bytes.size());
    md5_finish(ctx, digest);
    DBString out;
    for (unsigned char b : digest) out.AppendFormat(L"%02X", b);
    return out;
}

DBString operator+(const DBString& a, const DBString& b)
{
    DBString r(a);
    r.append(b);
    return r;
}
DBString operator+(const DBString& a, const wchar_t* b)
{
    DBString r(a);
    if (b) r.append(b);
    return r;
}
DBString operator+(const wchar_t* a, const DBString& b) { return DBString(a) + b; }
DBString operator+(const DBString& a, const char* utf8) { return a + DBString(utf8); }
DBString operator+(const char* utf8, const DBString& b) { return DBString(utf8) + b; }
DBString operator+(const DBString& a, wchar_t c)
{
    DBString r(a);
    r.push_back(c);
    return r;
}
DBString& operator+=(DBString& a, const char* utf8)
{
    a.append(DBString(utf8));
    return a;
}
bool operator==(const DBString& a, const DBString& b)
{
    return static_cast<const std::wstring&>(a) == static_cast<const std::wstring&>(b);
}
bool operator==(const DBString& a, const char* utf8) { return a == DBString(utf8); }
bool operator==(const DBString& a, const wchar_t* b) { return a == DBString(b); }
