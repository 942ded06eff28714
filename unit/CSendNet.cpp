#include "unit/CSendNet.h"

#include "base/CBadLog.h"
#include "base/CPortLog.h"
#include "unit/CLinkHost.h"

// ---------------------------------------------------------------- CSendNet

CSendNet::CSendNet(CLinkHost& host, BasePoolThread* pool, CReceivNet& receiv)
    : CSendV7(pool), m_Host(host), m_Receiv(receiv)
{
}

CSendNet::~CSendNet() { StopOnly(); }

void CSendNet::IsNoLink() { m_Host.LostLink(); }

void CSendNet::BadPut(const wchar_t* text) { m_Host.BadLog().Put(text); }

void CSendNet::BadPutErr(const wchar_t* text, int code) { m_Host.BadLog().PutErr(text, code); }

void CSendNet::BadPutMes(const wchar_t* text, const unsigned char* data, int len)
{
    m_Host.BadLog().PutMes(text, data, len);
}

CReceivV7* CSendNet::GetReceiv() { return &m_Receiv; }

void CSendNet::LogPut(const CIdentV7&, const in6_addr& addr, int port, const unsigned char* data, int len)
{
    m_Host.PortLog().Put(recOut, addr, port, data, len);
}

void CSendNet::Stop()
{
    if (m_Host.m_TypConnect == typConnectIP || m_Host.m_TypConnect == typConnectCloudKey) {
        unsigned char body[4];
        m_Ident.GetValue(body);
        CPackV7 close(m_Receiv.m_Ident, m_Ident);
        close.SetLink(CPackV7::packLinkClose, body, 4);
        SendSocket(close);
        CPackV7 named(m_Receiv.m_Ident, CIdentV7(0, 0));
        named.SetLink(CPackV7::packLinkClose, body, 4);
        SendSocket(named);
    }
    CSendV7::Stop();
}

bool CSendNet::Retransmission(CReceivV7*, CPackV7& pack, const in6_addr&, int) { return m_Host.ToTool(pack); }

// ---------------------------------------------------------------- CReceivNet

CReceivNet::CReceivNet(CLinkHost& host, BasePoolThread* pool) : CReceivV7(pool), m_Host(host) {}

CReceivNet::~CReceivNet() { Stop(); }

CSendV7* CReceivNet::NewSender(const CIdentV7& ident, const in6_addr&, int, const CKeySys&, const CReceivV7*)
{
    if (ident.GetNode() == V7Net::kNodeCloud) m_Host.m_CloudFound = true;
    return nullptr;
}

bool CReceivNet::UnknownSender(const CIdentV7& ident, const in6_addr&, int, const CKeySys&)
{
    if (ident.GetNode() != V7Net::kNodeCloud) return true;
    m_Host.m_CloudFound = true;
    return false;
}

void CReceivNet::LogPut(const CSendV7*, const in6_addr& addr, int port, const unsigned char* data, int len)
{
    m_Host.PortLog().Put(recInp, addr, port, data, len);
}

void CReceivNet::BadPut(const wchar_t* text, bool) { m_Host.BadLog().Put(text); }

void CReceivNet::BadPutErr(const wchar_t* text, int code) { m_Host.BadLog().PutErr(text, code); }

void CReceivNet::BadPutMes(const wchar_t* text, const unsigned char* data, int len, bool)
{
    m_Host.BadLog().PutMes(text, data, len);
}

CSendV7* CReceivNet::GetSend(const CIdentV7& ident)
{
    if (!m_Send) return nullptr;
    if (ident == m_Send->m_Ident || (ident.GetNode() == 0 && ident.GetDev() == 0)) return m_Send;
    return nullptr;
}

bool CReceivNet::ChanDecod(const unsigned char* data, int len, CPackV7& pack, CKeySys& key, bool& byCloud)
{
    byCloud = false;
    if (!m_Host.m_CloudPro) return false;
    unsigned char carried[16];
    if (!pack.ChanCloudProDecod(data, len, carried)) return false;
    key.Set(carried);
    byCloud = true;
    return true;
}

void CReceivNet::HandlingData(const CPackV7& pack, const CSendV7* send)
{
    if (!m_Host.IsTaking() || !send) return;
    // Only what the unit says to this program; anything else is not ours.
    if (!pack.m_Dst.FullEQ(m_Ident) || !pack.m_Src.FullEQ(send->m_Ident)) return;
    const bool cloud = m_Host.m_TypConnect == typConnectCloud || m_Host.m_TypConnect == typConnectCloudKey;
    if (cloud && pack.IsCloseLink()) {
        m_Host.LostLink();
        return;
    }
    if (pack.m_Class == CPackV7::classData && pack.m_Typ == CPackV7::packAsk && pack.m_Ask == CPackV7::askInfo &&
        pack.m_DirAsk == 0)
        m_Host.SetEventWaitWho();
    m_Host.TakePack(pack);
}
