#pragma once
// CSendNet and CReceivNet: the UDP link to the one unit the configurator
// talks to, directly or through the cloud server. The receiver delivers the
// unit's packets to the host; the sender's give-up and a cloud peer's close
// tell the host that the link is lost.
//
// Threads and locks as CSendV7 and CReceivV7: the host's thread starts and
// stops them; "CReceivV7::WinSockProc" runs HandlingData, which only queues
// and wakes; IsNoLink runs under the send mutex and only posts.
#include "link/CReceivV7.h"
#include "link/CSendV7.h"

class CLinkHost;
class CReceivNet;

class CSendNet : public CSendV7 {
public:
    CSendNet(CLinkHost& host, BasePoolThread* pool, CReceivNet& receiv);
    ~CSendNet() override;

    void IsNoLink() override;
    void BadPut(const wchar_t* text) override;
    void BadPutErr(const wchar_t* text, int code) override;
    void BadPutMes(const wchar_t* text, const unsigned char* data, int len) override;
    CReceivV7* GetReceiv() override;
    void LogPut(const CIdentV7& ident, const in6_addr& addr, int port, const unsigned char* data, int len) override;
    // On an IP link and a cloud link by key the unit hears the close three
    // times: to its identifier, to 0.0 naming it, and the base's own.
    void Stop() override;
    // A packet of the unit for a sibling tool goes to the tool's relay.
    bool Retransmission(CReceivV7* receiv, CPackV7& pack, const in6_addr& addr, int port) override;

private:
    CLinkHost& m_Host;
    CReceivNet& m_Receiv;
};

class CReceivNet : public CReceivV7 {
public:
    CReceivNet(CLinkHost& host, BasePoolThread* pool);
    ~CReceivNet() override;

    // Set once, before Start.
    void SetSend(CSendNet* send) { m_Send = send; }

    CSendV7* NewSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key,
                       const CReceivV7* receiv) override;
    bool UnknownSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key) override;
    void LogPut(const CSendV7* send, const in6_addr& addr, int port, const unsigned char* data, int len) override;
    void BadPut(const wchar_t* text, bool isError) override;
    void BadPutErr(const wchar_t* text, int code) override;
    void BadPutMes(const wchar_t* text, const unsigned char* data, int len, bool isError) override;
    void HandlingData(const CPackV7& pack, const CSendV7* send) override;
    CSendV7* GetSend(const CIdentV7& ident) override;
    bool ChanDecod(const unsigned char* data, int len, CPackV7& pack, CKeySys& key, bool& byCloud) override;

private:
    CLinkHost& m_Host;
    CSendNet* m_Send = nullptr;
};
