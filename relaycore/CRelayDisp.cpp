#include "relaycore/CRelayDisp.h"

#include "base/BasePoolThread.h"
#include "base/CBadLog.h"
#include "base/CDispLog.h"
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "link/CIdeaKey.h"
#include "link/CPackMes.h"
#include "link/CPackV7.h"
#include "relaycore/CRelayHost.h"

#include <vector>

// ---------------------------------------------------------------- CSendUtil

CSendUtil::CSendUtil(CRelayHost& host, CListSendUtil& list, CReceivDisp& receiv, const in6_addr& peer, int port)
    : CSendDisp(&host.RelayPool(), peer, port, 1, nullptr), m_Host(host), m_List(list), m_Receiv(receiv)
{
}

CSendUtil::~CSendUtil() { Stop(); }

void CSendUtil::LogSend(const in6_addr& peer, int port, const CPackDisp& pack)
{
    m_Host.DispLog().Put(recOut, peer, port, pack.Data(), pack.Len());
}

void CSendUtil::LogReceive(const in6_addr& peer, int port, const CPackDisp& pack)
{
    m_Host.DispLog().Put(recInp, peer, port, pack.Data(), pack.Len());
}

void CSendUtil::BadPut(const wchar_t* text) { m_Host.BadLog().Put(text); }

void CSendUtil::BadPutErr(const wchar_t* text, int errorCode) { m_Host.BadLog().PutErr(text, errorCode); }

void CSendUtil::BadPutMes(const wchar_t* text, const unsigned char* bytes, int length)
{
    m_Host.BadLog().PutMes(text, bytes, length);
}

int CSendUtil::Send(const unsigned char* data, int length, const in6_addr& peer, int port)
{
    return m_Receiv.Send(data, length, peer, port);
}

void CSendUtil::Disconnect(const in6_addr&, int)
{
    StopSendOnly();
    m_Host.ClrUtil();
}

void CSendUtil::SendMsgToUnit(CMesDisp& mes)
{
    int unit = 0, tag = 0, len = 0;
    unsigned char data[255];
    if (!mes.Parse_SendMsg(unit, tag, len, data, sizeof data)) return;
    try {
        CPackMes packMes(len, data, tag);
        packMes.BegGet();
        for (CMes one; packMes.GetMes(one);) {
            CPackV7 pack(one);
            pack.SetID(m_Host.OwnIdent(), m_Host.UnitIdent());
            m_Host.Put(pack);
        }
    } catch (const ErrorXML& e) {
        m_Host.BadLog().PutErr(e.GetText().c_str(), e.GetCode(), true);
    }
}

void CSendUtil::HandlingData(CPackDisp& pack)
{
    for (CMesDisp mes; pack.GetMes(mes);) {
        if (mes.TypMes() == CMesDisp::SendMsg) {
            SendMsgToUnit(mes);
        } else if (mes.TypMes() == CMesDisp::CloseLink) {
            DBString text;
            text.Format(L"Util disconnect Port=%d", Port());
            m_Host.BadLog().Put(text.c_str(), false);
            {
                std::lock_guard<std::mutex> lock(m_List.Mutex());
                Stop();
            }
            m_Host.ClrUtil();
            return;
        }
    }
}

// ---------------------------------------------------------------- CListSendUtil

CListSendUtil::~CListSendUtil() { Clear(); }

CSendUtil* CListSendUtil::Find(int port)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto it = m_Map.find(port);
    return it == m_Map.end() ? nullptr : it->second;
}

bool CListSendUtil::Insert(int port, CSendUtil* send)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Map.emplace(port, send).second;
}

void CListSendUtil::Clear()
{
    std::lock_guard<std::mutex> use(m_UseMutex);
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (auto& [port, send] : m_Map) {
        send->Stop();
        delete send;
    }
    m_Map.clear();
}

void CListSendUtil::DeleteClose()
{
    std::vector<CSendUtil*> dead;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        for (auto it = m_Map.begin(); it != m_Map.end();) {
            if (it->second->IsActive()) {
                ++it;
                continue;
            }
            dead.push_back(it->second);
            it = m_Map.erase(it);
        }
    }
    if (dead.empty()) return;
    // The listener may hold one of them from GetSendRemote: wait for its datagram.
    std::lock_guard<std::mutex> use(m_UseMutex);
    for (CSendUtil* send : dead) delete send;
}

void CListSendUtil::MngPack(const CPackMes& pack)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Map.empty()) return;
    CMesDisp mes;
    if (!mes.Create_Msg(1, pack.m_Len, pack.m_Buf)) return;
    for (auto& [port, send] : m_Map) send->SendMes(mes);
}

size_t CListSendUtil::Size()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Map.size();
}

// ---------------------------------------------------------------- CReceivUtil

CReceivUtil::CReceivUtil(CRelayHost& host, CListSendUtil& list)
    : CReceivDisp(&host.RelayPool(), false), m_Host(host), m_List(list)
{
}

CReceivUtil::~CReceivUtil() { Stop(); }

void CReceivUtil::Start()
{
    SetBind(LocalHostIPv6(), 0);
    m_Ctx.Key(CSendDisp::DefaultKey().Data());
    try {
        CReceivDisp::Start();
    } catch (const ErrorXML& e) {
        m_Host.BadLog().PutErr(e.GetText().c_str(), e.GetCode());
    }
}

void CReceivUtil::Dispatch(const sockaddr_in6& from, const unsigned char* data, int length)
{
    if (!IsLocalHost(from.sin6_addr)) {
        ReportNotLocal(m_Host.BadLog(), L"Util", from.sin6_addr, ntohs(from.sin6_port));
        return;
    }
    std::lock_guard<std::mutex> use(m_List.UseMutex());
    CReceivDisp::Dispatch(from, data, length);
}

CSendDisp* CReceivUtil::Connect(const in6_addr& from, int port, const unsigned char* data, int length)
{
    CPackDisp pack;
    pack.Decoding(data, length, &m_Ctx);
    // A late CloseLink must not open a session.
    if (!pack.valid() || pack.IsExistClose()) return nullptr;
    auto* send = new CSendUtil(m_Host, m_List, *this, from, port);
    DBString text;
    text.Format(L"Util connect Port=%d", port);
    m_Host.BadLog().Put(text.c_str(), false);
    send->Start();
    if (!m_List.Insert(port, send)) {
        delete send;
        return m_List.Find(port);
    }
    return send;
}

CSendDisp* CReceivUtil::GetSendRemote(const in6_addr&, int port) { return m_List.Find(port); }

void CReceivUtil::BadPut(const wchar_t* text) { m_Host.BadLog().Put(text); }

void CReceivUtil::BadPutErr(const wchar_t* text, int errorCode) { m_Host.BadLog().PutErr(text, errorCode); }

void CReceivUtil::BadPutMes(const wchar_t* text, const unsigned char* bytes, int length)
{
    m_Host.BadLog().PutMes(text, bytes, length);
}
