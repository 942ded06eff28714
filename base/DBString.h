#pragma once
// DBString: the system's text, a wide string of 32-bit code points, with the
// conversions used at its borders: UTF-8 (files, logs, console), CP1251 (the
// unit's image) and UTF-16 (dispatcher messages).
//
// Conversions never fail visibly: text that cannot be converted becomes the
// marker "?utf-8?" (towards UTF-8) or "?utf-32?" (from 8-bit text), so that
// the damage shows in the log and the program goes on.
#include <string>

static_assert(sizeof(wchar_t) == 4, "DBString needs a 32-bit wchar_t");

class DBString : public std::wstring {
public:
    DBString() = default;
    DBString(const wchar_t* text) : std::wstring(text ? text : L"") {}
    DBString(const wchar_t* text, size_t count) : std::wstring(text, count) {}
    DBString(size_t count, wchar_t c) : std::wstring(count, c) {}
    DBString(const std::wstring& text) : std::wstring(text) {}
    DBString(std::wstring&& text) : std::wstring(std::move(text)) {}
    // From UTF-8.
    DBString(const char* utf8);
    DBString(const std::string& utf8);
    // From UTF-16 (native byte order), up to the first zero unit.
    DBString(const char16_t* utf16);

    std::string ToStr() const;           // UTF-8, or "?utf-8?"
    std::u16string ToUtf16() const;      // code points above 0xFFFF as surrogate pairs
    static DBString FromUtf16(const char16_t* units, size_t count);

    // CP1251 through iconv: at most 1024 bytes, up to the first zero byte;
    // a character with no CP1251 form ends the conversion there.
    std::string ToCP1251() const;
    // Replaces the content with the conversion of strlen(text) bytes; a text
    // whose conversion cannot even start leaves the content as it was.
    DBString& FromCP1251(const char* text);

    // vswprintf into a buffer of 32768 wide characters; longer results are cut.
    DBString& Format(const wchar_t* format, ...);
    DBString& AppendFormat(const wchar_t* format, ...);

    int Find(wchar_t c, int start = 0) const;   // index, or -1
    DBString Left(int count) const;
    DBString SubStr(int start, int count = -1) const;
    // Replaces every occurrence of `from`; returns the number replaced.
    int Replace(const wchar_t* from, const wchar_t* to);

    // Removes leading and trailing blanks (code 32 only).
    DBString& Trim();
    // The characters outside printable ASCII (0x20..0x7E), each once, in the
    // order they first occur: what a key may not contain.
    DBString NotASCII() const;
    // MD5 of the CP1251 form, as 32 upper-case hexadecimal digits.
    DBString Md5Hash() const;
};

DBString operator+(const DBString& a, const DBString& b);
DBString operator+(const DBString& a, const wchar_t* b);
DBString operator+(const wchar_t* a, const DBString& b);
DBString operator+(const DBString& a, const char* utf8);
DBString operator+(const char* utf8, const DBString& b);
DBString operator+(const DBString& a, wchar_t c);
DBString& operator+=(DBString& a, const char* utf8);
bool operator==(const DBString& a, const DBString& b);
bool operator==(const DBString& a, const char* utf8);
bool operator==(const DBString& a, const wchar_t* b);
