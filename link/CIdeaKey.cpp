#include "link/CIdeaKey.h"

#include "base/DBString.h"
#include "base/Secrets.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>

CIdeaKey::CIdeaKey() { std::memset(m_Key, 0, sizeof m_Key); }

void CIdeaKey::Set2(const wchar_t* a, const wchar_t* b, const wchar_t* c, const unsigned char* mask)
{
    const std::string s = (DBString(a) + DBString(b)).ToCP1251();
    const std::string t = DBString(c).ToCP1251();
    std::memcpy(m_Key, mask, sizeof m_Key);
    for (size_t i = 0; i < s.size(); ++i) m_Key[i % 16] ^= static_cast<unsigned char>(s[i]);
    size_t n = c ? std::wcslen(c) : 0;
    if (n > 16) n = 16;
    if (n > t.size()) n = t.size();   // a character without a CP1251 form ended the text
    for (size_t k = 0; k < n; ++k) m_Key[16 - n + k] ^= static_cast<unsigned char>(t[k]);
}

int CIdeaKey::rand() { return std::rand(); }

CIdeaKey GuestIdeaKey()
{
    CIdeaKey guest;
    guest.Set2(L"", L"Guest", DBString().Md5Hash().c_str(), Secrets::GuestKey.data());
    return guest;
}
