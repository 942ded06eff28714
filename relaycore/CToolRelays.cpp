#include "relaycore/CToolRelays.h"

#include "base/CBadLog.h"
#include "base/ErrorXML.h"
#include "link/CMes.h"
#include "link/CPackMes.h"
#include "link/V7Net.h"
#include "relaycore/CRelayHost.h"

CToolRelays::CToolRelays(CRelayHost& host)
    : m_ReceivUtilV7(host, m_ListSendUtilV7), m_ReceivUtil(host, m_ListSendUtil), m_Host(host)
{
}

CToolRelays::~CToolRelays() { Stop(); }

void CToolRelays::Start()
{
    m_ReceivUtil.Start();
    try {
        m_ReceivUtilV7.Start();
    } catch (const ErrorXML& e) {
        // The unit's link goes on without the tools.
        m_Host.BadLog().PutErr(e.GetText().c_str(), e.GetCode());
    }
}

void CToolRelays::Stop()
{
    m_ListSendUtil.Clear();
    m_ReceivUtil.Stop();
    m_ListSendUtilV7.Clear();
    m_ReceivUtilV7.Stop();
}

void CToolRelays::MngPack(const CPackV7& pack)
{
    const int typ = m_Host.RelayTypConnect();
    if (typ == typConnectUSB || typ == typConnectCloud) m_ListSendUtilV7.MngPack(pack, typ, m_Host.UnitIdent());
    if (pack.m_Class != CPackV7::classData || pack.m_Typ != CPackV7::packMes) return;
    CMes mes;
    if (!pack.GetMes(mes)) return;
    CPackMes packMes;
    if (packMes.AddMes(mes)) m_ListSendUtil.MngPack(packMes);
}

void CToolRelays::DeleteClose()
{
    m_ListSendUtil.DeleteClose();
    m_ListSendUtilV7.DeleteClose();
}

CToolParams CToolRelays::Params(bool enu) const
{
    CToolParams p;
    p.enu = enu;
    p.portV7 = m_ReceivUtilV7.GetPort();
    p.node = m_Host.UnitIdent().GetNode();
    p.key = m_ReceivUtilV7.m_Key.GetString().ToStr();
    p.portDisp = m_ReceivUtil.Port();
    return p;
}
