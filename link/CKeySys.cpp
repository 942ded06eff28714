#include "link/CKeySys.h"

#include "base/Secrets.h"
#include "link/CIdeaCtx.h"
#include "link/CIdeaKey.h"
#include "link/CPackV7.h"

#include <cstring>
#include <cwchar>

namespace {

// One pair of the key text, read as "%X" reads it; unreadable gives 0.
unsigned char ReadPair(const wchar_t* pair)
{
    unsigned v = 0;
    if (std::swscanf(pair, L"%X", &v) != 1) return 0;
    return static_cast<unsigned char>(v);
}

// Fills key from a text of 32 hex digits, a pair per byte. Pairs that the
// text does not reach read as 0 (nothing beyond its end is looked at).
void ReadHexKey(const wchar_t* text, unsigned char key[16])
{
    size_t len = text ? std::wcslen(text) : 0;
    for (size_t i = 0; i < 16; ++i) {
        wchar_t pair[3] = {0, 0, 0};
        for (size_t k = 0; k < 2 && 2 * i + k < len; ++k) pair[k] = text[2 * i + k];
        key[i] = ReadPair(pair);
    }
}

}  // namespace

CKeySys::CKeySys() { std::memset(m_Key, 0, sizeof m_Key); }

void CKeySys::Create(const wchar_t* text)
{
    CIdeaCtx ctx;
    ctx.Key(CPackV7::ForKeySYS);
    const std::string cp = DBString(text).ToCP1251();
    size_t n = text ? std::wcslen(text) : 0;
    if (n > 16) n = 16;
    if (n > cp.size()) n = cp.size();   // a character without a CP1251 form ended it
    std::memset(m_Key, 0, sizeof m_Key);
    std::memcpy(m_Key, cp.data(), n);
    ctx.Encrypt(m_Key, m_Key, 2);
    for (int i = 0; i < 8; ++i) m_Key[8 + i] ^= m_Key[i];
}

void CKeySys::Set(const wchar_t* text)
{
    if (text && std::wcscmp(text, L"00000000000000000000000000000000") == 0) {
        SetDefault();
        return;
    }
    ReadHexKey(text, m_Key);
}

void CKeySys::Set(const unsigned char* bytes)
{
    if (bytes) std::memcpy(m_Key, bytes, sizeof m_Key);
}

void CKeySys::SetDefault()
{
    // Not through Set(text): a default of 32 zeros would loop there.
    ReadHexKey(DBString(Secrets::DefaultLinkKeyText).c_str(), m_Key);
}

DBString CKeySys::GetString() const
{
    DBString s;
    for (unsigned char b : m_Key) s.AppendFormat(L"%02X", b);
    return s;
}

bool CKeySys::IsEmpty() const
{
    for (unsigned char b : m_Key)
        if (b) return false;
    return true;
}

bool CKeySys::operator!=(const CKeySys& other) const { return std::memcmp(m_Key, other.m_Key, sizeof m_Key) != 0; }

CKeySys GuestKeySys()
{
    CKeySys key;
    key.Set(GuestIdeaKey().Data());
    return key;
}
