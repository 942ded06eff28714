#include "relaycore/CRelayV7.h"

#include "base/BasePoolThread.h"
#include "base/CBadLog.h"
#include "base/CPortLog.h"
#include "link/V7Net.h"
#include "relaycore/CRelayHost.h"
#include "unit/CSendNet.h"

#include <vector>

// ---------------------------------------------------------------- CSendUtilV7

CSendUtilV7::CSendUtilV7(CRelayHost& host, CReceivUtilV7& receiv)
    : CSendV7(&host.RelayPool()), m_Host(host), m_Receiv(receiv)
{
}

CSendUtilV7::~CSendUtilV7() { StopOnly(); }

void CSendUtilV7::AckAndStrip(CPackV7& pack)
{
    if (pack.m_Ident == 0) return;
    CPackV7 ack(pack.m_Dst, pack.m_Src);
    ack.AddRepl(static_cast<unsigned char>(pack.m_Ident));
    SendSocket(ack);
    pack.DelIdent();
}

bool CSendUtilV7::Retransmission(CReceivV7*, CPackV7& pack, const in6_addr& addr, int port)
{
    SetAddr(addr, port);
    const int typ = m_Host.RelayTypConnect();
    if (typ == typConnectUSB) {
        AckAndStrip(pack);
        pack.SetID(m_Host.RelayReceivNet().m_Ident, m_Host.UnitIdent());
        m_Host.PutSerial(pack);
        return true;
    }
    if (pack.m_Dst.GetNode() != m_Host.UnitIdent().GetNode()) return false;
    if (typ == typConnectCloud) {
        if (pack.IsCloseLink()) {
            // The link to the unit is shared: only this relay ends.
            StopOnly();
            m_Host.ClrUtil();
            return true;
        }
        AckAndStrip(pack);
        pack.SetID(m_Host.RelayReceivNet().m_Ident, m_Host.UnitIdent());
        m_Host.RelaySendNet().Put(pack);
        return true;
    }
    m_Host.RelaySendNet().SendSocket(pack);
    return true;
}

void CSendUtilV7::LogPut(const CIdentV7&, const in6_addr& addr, int port, const unsigned char* data, int len)
{
    m_Host.PortLog().Put(recOut, addr, port, data, len);
}

void CSendUtilV7::IsNoLink() { m_Host.LostLink(); }

void CSendUtilV7::BadPut(const wchar_t* text) { m_Host.BadLog().Put(text); }

void CSendUtilV7::BadPutErr(const wchar_t* text, int code) { m_Host.BadLog().PutErr(text, code); }

void CSendUtilV7::BadPutMes(const wchar_t* text, const unsigned char* data, int len)
{
    m_Host.BadLog().PutMes(text, data, len);
}

CReceivV7* CSendUtilV7::GetReceiv() { return &m_Receiv; }

void CSendUtilV7::Stop()
{
    const int typ = m_Host.RelayTypConnect();
    if (typ == typConnectIP || typ == typConnectCloudKey) {
        const CIdentV7 unit = m_Host.UnitIdent();
        unsigned char body[4];
        unit.GetValue(body);
        CPackV7 close(unit, m_Ident);
        close.SetLink(CPackV7::packLinkClose, body, 4);
        SendSocket(close);
    }
    CSendV7::Stop();
}

// ---------------------------------------------------------------- CListSendUtilV7

CListSendUtilV7::~CListSendUtilV7() { Clear(); }

bool CListSendUtilV7::Insert(int node, CSendUtilV7* send)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Map.emplace(node, send).second;
}

CSendUtilV7* CListSendUtilV7::Find(const CIdentV7& ident)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto it = m_Map.find(ident.GetNode());
    return it == m_Map.end() ? nullptr : it->second;
}

void CListSendUtilV7::MngPack(const CPackV7& pack, int typConnect, const CIdentV7& unit)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Map.empty()) return;
    CPackV7 copy = pack;
    copy.DelIdent();
    copy.AddRepl(0);
    const CIdentV7 src = typConnect == typConnectUSB ? CIdentV7(1, 0) : unit;
    for (auto& [node, send] : m_Map) {
        copy.SetID(src, send->m_Ident);
        send->SendSocket(copy);
    }
}

bool CListSendUtilV7::SendTo(CPackV7& pack)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto it = m_Map.find(pack.m_Dst.GetNode());
    if (it == m_Map.end()) return false;
    it->second->SendSocket(pack);
    return true;
}

void CListSendUtilV7::DeleteClose()
{
    std::vector<CSendUtilV7*> dead;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        for (auto it = m_Map.begin(); it != m_Map.end();) {
            if (it->second->IsRun()) {
                ++it;
                continue;
            }
            dead.push_back(it->second);
            it = m_Map.erase(it);
        }
    }
    if (dead.empty()) return;
    // The receiver may hold one of them from GetSend: wait for its datagram.
    std::lock_guard<std::mutex> use(m_UseMutex);
    for (CSendUtilV7* send : dead) delete send;
}

void CListSendUtilV7::Clear()
{
    std::lock_guard<std::mutex> use(m_UseMutex);
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (auto& [node, send] : m_Map) {
        send->Stop();
        delete send;
    }
    m_Map.clear();
}

size_t CListSendUtilV7::Size()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Map.size();
}

// ---------------------------------------------------------------- CReceivUtilV7

CReceivUtilV7::CReceivUtilV7(CRelayHost& host, CListSendUtilV7& list)
    : CReceivV7(&host.RelayPool()), m_Host(host), m_List(list)
{
}

CReceivUtilV7::~CReceivUtilV7() { Stop(); }

void CReceivUtilV7::Start()
{
    m_Key = m_Host.RelayReceivNet().m_Key;
    if (m_Key.IsEmpty()) m_Key.SetDefault();
    m_Ident.SetUnique();
    CReceivV7::Start();
}

void CReceivUtilV7::Receive(const unsigned char* data, int len, const in6_addr& addr, int port)
{
    if (!IsLocalHost(addr)) {
        ReportNotLocal(m_Host.BadLog(), L"UtilV7", addr, port);
        return;
    }
    std::lock_guard<std::mutex> use(m_List.UseMutex());
    MngDatagram(data, len, addr, port);
}

CSendV7* CReceivUtilV7::NewSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key,
                                  const CReceivV7*)
{
    auto* send = new CSendUtilV7(m_Host, *this);
    send->m_Ident = ident;
    send->m_Addr = addr;
    send->m_Port = port;
    send->m_Key = key;
    DBString text;
    text.Format(L"UtilV7 connect Port=%d, Ident=%d", port, ident.GetNode());
    BadPut(text.c_str(), false);
    send->Start();
    if (!m_List.Insert(ident.GetNode(), send)) {
        delete send;
        return m_List.Find(ident);
    }
    return send;
}

bool CReceivUtilV7::UnknownSender(const CIdentV7&, const in6_addr&, int, const CKeySys&) { return true; }

void CReceivUtilV7::LogPut(const CSendV7*, const in6_addr& addr, int port, const unsigned char* data, int len)
{
    m_Host.PortLog().Put(recInp, addr, port, data, len);
}

void CReceivUtilV7::BadPut(const wchar_t* text, bool) { m_Host.BadLog().Put(text); }

void CReceivUtilV7::BadPutErr(const wchar_t* text, int code) { m_Host.BadLog().PutErr(text, code); }

void CReceivUtilV7::BadPutMes(const wchar_t* text, const unsigned char* data, int len, bool)
{
    m_Host.BadLog().PutMes(text, data, len);
}

void CReceivUtilV7::HandlingData(const CPackV7&, const CSendV7*) {}

CSendV7* CReceivUtilV7::GetSend(const CIdentV7& ident) { return m_List.Find(ident); }

DBString CReceivUtilV7::NameApp() { return L"CReceivUtilV7"; }
