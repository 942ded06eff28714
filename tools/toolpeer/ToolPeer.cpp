#include "tools/toolpeer/ToolPeer.h"

#include "base/BasePoolThread.h"
#include "base/IPv6.h"
#include "disp/CMesDisp.h"

#include <cstdio>

// ---------------------------------------------------------------- ToolPeerV7

ToolPeerV7::Link::Link(ToolPeerV7& owner, BasePoolThread& pool) : CSendV7(&pool), m_Owner(owner) {}

ToolPeerV7::Link::~Link() { StopOnly(); }

void ToolPeerV7::Link::BadPut(const wchar_t* text) { m_Owner.BadPut(text, false); }

void ToolPeerV7::Link::BadPutErr(const wchar_t* text, int code) { m_Owner.BadPutErr(text, code); }

void ToolPeerV7::Link::BadPutMes(const wchar_t* text, const unsigned char* data, int len)
{
    m_Owner.BadPutMes(text, data, len, false);
}

void ToolPeerV7::Link::MngReply(int repl)
{
    m_Owner.m_Repls.Add(repl);
    CSendV7::MngReply(repl);
}

ToolPeerV7::ToolPeerV7(BasePoolThread& pool) : CReceivV7(&pool), m_Link(*this, pool) {}

ToolPeerV7::~ToolPeerV7()
{
    m_Link.StopOnly();
    Stop();
}

void ToolPeerV7::Open(const in6_addr& relay, int port, int node, const CKeySys& key)
{
    m_Ident.SetUnique();
    m_Key = key;
    m_Link.m_Ident = CIdentV7(node, 0);
    m_Link.SetAddr(relay, port);
    Start();
    m_Link.Start();
}

void ToolPeerV7::Close()
{
    m_Link.Stop();
    Stop();
}

CPackV7 ToolPeerV7::NewPack() const { return CPackV7(m_Ident, m_Link.m_Ident); }

bool ToolPeerV7::Request(CPackV7& pack) { return m_Link.Put(pack); }

bool ToolPeerV7::SendRaw(CPackV7& pack) { return m_Link.SendSocket(pack); }

CSendV7* ToolPeerV7::NewSender(const CIdentV7&, const in6_addr&, int, const CKeySys&, const CReceivV7*)
{
    return nullptr;
}

void ToolPeerV7::BadPut(const wchar_t* text, bool) { std::fprintf(stderr, "%ls\n", text); }

void ToolPeerV7::BadPutErr(const wchar_t* text, int code) { std::fprintf(stderr, "%ls: %d\n", text, code); }

void ToolPeerV7::BadPutMes(const wchar_t* text, const unsigned char*, int, bool)
{
    std::fprintf(stderr, "%ls\n", text);
}

void ToolPeerV7::HandlingData(const CPackV7& pack, const CSendV7*) { m_Got.Add(pack); }

CSendV7* ToolPeerV7::GetSend(const CIdentV7&) { return &m_Link; }

// ---------------------------------------------------------------- ToolPeerDisp

ToolPeerDisp::Session::Session(ToolPeerDisp& owner, BasePoolThread& pool, int port)
    : CSendDisp(&pool, LocalHostIPv6(), port, 1, nullptr), m_Owner(owner)
{
}

ToolPeerDisp::Session::~Session() { Stop(); }

int ToolPeerDisp::Session::Send(const unsigned char* data, int length, const in6_addr& peer, int port)
{
    return m_Owner.Send(data, length, peer, port);
}

void ToolPeerDisp::Session::HandlingData(CPackDisp& pack)
{
    for (CMesDisp mes; pack.GetMes(mes);) {
        if (mes.TypMes() != CMesDisp::Msg) continue;
        int unit = 0, len = 0;
        unsigned char data[255];
        if (mes.Parse_Msg(unit, len, data, sizeof data)) m_Owner.m_Msgs.Add(std::vector<unsigned char>(data, data + len));
    }
}

ToolPeerDisp::ToolPeerDisp(BasePoolThread& pool) : CReceivDisp(&pool, false), m_Pool(pool) {}

ToolPeerDisp::~ToolPeerDisp()
{
    // The receiver's thread reaches the session: it ends first.
    Stop();
    m_Session.reset();
}

void ToolPeerDisp::Open(int port)
{
    m_Session = std::make_unique<Session>(*this, m_Pool, port);
    SetBind(LocalHostIPv6(), 0);
    Start();
    m_Session->Start();
}

void ToolPeerDisp::Close()
{
    if (m_Session) m_Session->Stop();
}

void ToolPeerDisp::SendMsg(const std::vector<unsigned char>& data, int tag)
{
    CMesDisp mes;
    mes.Create_SendMsg(1, tag, static_cast<int>(data.size()), data.data());
    m_Session->SendMes(mes);
}

CSendDisp* ToolPeerDisp::GetSendRemote(const in6_addr&, int port)
{
    return m_Session && port == m_Session->Port() ? m_Session.get() : nullptr;
}

std::vector<unsigned char> MesImage(int orig, int dest, int type, const std::vector<unsigned char>& body)
{
    std::vector<unsigned char> image;
    image.reserve(8 + body.size());
    image.push_back(0);
    image.push_back(static_cast<unsigned char>(6 + body.size() + 1));   // the message's length + 1
    for (int a : {orig, dest}) {
        image.push_back(static_cast<unsigned char>((a >> 2) & 0x3F));
        image.push_back(static_cast<unsigned char>((a & 3) << 4));
    }
    image.push_back(0);   // hop count
    image.push_back(static_cast<unsigned char>(type));
    for (unsigned char b : body) image.push_back(b);
    return image;
}
