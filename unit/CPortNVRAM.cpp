#include "unit/CPortNVRAM.h"

#include "base/CBadLog.h"
#include "base/CPortLog.h"
#include "unit/CLinkHost.h"

CPortNVRAM::CPortNVRAM(CLinkHost& host, BasePoolThread* pool) : CPortV7(pool), m_Host(host) {}

CPortNVRAM::~CPortNVRAM() { Close(); }

void CPortNVRAM::PutLog(const std::string& text) { m_Host.BadLog().PutUtf8(text); }

void CPortNVRAM::PutErr(const wchar_t* text, int code) { m_Host.BadLog().PutErr(text, code, true); }

void CPortNVRAM::PutLogInp(const unsigned char* data, int len)
{
    m_Host.PortLog().Put(recInp, in6_addr{}, 0, data, len);
}

void CPortNVRAM::PutLogOut(const unsigned char* data, int len)
{
    m_Host.PortLog().Put(recOut, in6_addr{}, 0, data, len);
}

void CPortNVRAM::MngPack(CPackV7& pack)
{
    if (!m_Host.IsTaking()) return;
    // The connect procedure may be waiting for the unit's first answer.
    if (pack.m_Class == CPackV7::classData && pack.m_Typ == CPackV7::packAsk && pack.m_Ask == CPackV7::askInfo &&
        pack.m_DirAsk == 0)
        m_Host.SetEventWaitWho();
    m_Host.TakePack(pack);
}

void CPortNVRAM::LineLost() { m_Host.LostLink(); }

bool CPortNVRAM::Put(CPackV7& pack)
{
    pack.SetID(CIdentV7(0, 1), CIdentV7(0, 0));
    bool sent = PutPort(pack);
    WaitResponse();
    return sent;
}
