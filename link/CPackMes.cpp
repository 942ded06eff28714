#include "link/CPackMes.h"

#include "link/CPackV7.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr unsigned char kMarkMask = 0xC0;
constexpr unsigned char kMarkIdent = 0x80;
constexpr unsigned char kMarkRepl = 0x40;
}  // namespace

CPackMes::CPackMes()
{
    Init(255);
    m_Len = 1;
    SetCheck();
}

CPackMes::CPackMes(int len, const unsigned char* data, int prior)
{
    Init(prior);
    m_Len = data ? std::clamp(len, 0, kMaxLen) : 0;
    if (m_Len > 0) std::memcpy(m_Buf, data, static_cast<size_t>(m_Len));
    // The check byte covers the image as it came, acknowledgements included.
    SetCheck();

    m_Pos = 1;
    if (m_Len > 1 && (m_Buf[1] & kMarkMask) == kMarkIdent) {
        m_Ident = m_Buf[1] & 0x3F;
        m_Pos = 2;
    }
    for (int i = m_Pos; i < m_Len;) {
        if ((m_Buf[i] & kMarkMask) != kMarkRepl) {
            ++i;
            continue;
        }
        m_Repl[m_NRepl++] = m_Buf[i] & 0x3F;
        // The check byte moves along and stays behind the image.
        std::memmove(m_Buf + i, m_Buf + i + 1, static_cast<size_t>(m_Len - i));
        --m_Len;
    }
}

void CPackMes::Init(int prior)
{
    std::memset(m_Buf, 0, sizeof m_Buf);
    std::memset(m_Repl, 0, sizeof m_Repl);
    m_Len = 0;
    m_Prior = prior;
    m_Ident = -1;
    m_NRepl = 0;
    m_Pos = 1;
}

void CPackMes::SetCheck()
{
    m_Buf[m_Len] = static_cast<unsigned char>(CPackV7::CRC8(m_Buf, m_Len) & 0x7F);
}

bool CPackMes::AddMes(const CMes& mes)
{
    if (mes.m_Len < 0 || m_Len + mes.m_Len > kMaxFill) return false;
    m_Buf[m_Len] = static_cast<unsigned char>(mes.m_Len + 1);
    std::memcpy(m_Buf + m_Len + 1, mes.m_Buf, static_cast<size_t>(mes.m_Len));
    m_Len += mes.m_Len + 1;
    SetCheck();
    return true;
}

void CPackMes::BegGet() { m_Pos = m_Ident >= 0 ? 2 : 1; }

bool CPackMes::GetMes(CMes& mes)
{
    mes.Clear();
    if (m_Pos < 0 || m_Pos >= m_Len) return false;
    const int l = m_Buf[m_Pos];
    if (m_Pos + l > m_Len || l < 6 || l > kMaxFill) return false;
    mes.SetDann(l - 1, m_Buf + m_Pos + 1);
    mes.m_Prior = m_Prior;
    m_Pos += l;
    return true;
}
