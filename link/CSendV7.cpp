#include "link/CSendV7.h"

#include "base/BasePoolThread.h"
#include "link/CReceivV7.h"

// ---------------------------------------------------------------- acknowledgements owed

bool CSendV7::CReplyForSend::MngIdentInp(unsigned char ident, time_t now)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    bool repeat = false;
    for (auto it = m_List.begin(); it != m_List.end();) {
        if (now - it->time > kAgeSeconds) {
            it = m_List.erase(it);
            continue;
        }
        if (it->ident == ident) {
            // The peer sent it again: it missed our acknowledgement.
            it->sent = false;
            it->time = now;
            repeat = true;
        }
        ++it;
    }
    if (repeat) return false;
    if (m_List.size() >= kLimit) m_List.pop_front();
    m_List.push_back({ident, false, now});
    return true;
}

void CSendV7::CReplyForSend::AddTo(CPackV7& pack)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (auto& e : m_List) {
        if (e.sent) continue;
        if (!pack.AddRepl(e.ident)) break;
        e.sent = true;
    }
}

bool CSendV7::CReplyForSend::IsOwed()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (const auto& e : m_List)
        if (!e.sent) return true;
    return false;
}

void CSendV7::CReplyForSend::Clear()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_List.clear();
}

size_t CSendV7::CReplyForSend::Size() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_List.size();
}

// ---------------------------------------------------------------- the sender

CSendV7::CSendV7(BasePoolThread* pool) : m_Pool(pool), m_Wind(this) {}

CSendV7::~CSendV7() { StopOnly(); }

bool CSendV7::Retransmission(CReceivV7*, CPackV7&, const in6_addr&, int) { return false; }

void CSendV7::LogPut(const CIdentV7&, const in6_addr&, int, const unsigned char*, int) {}

void CSendV7::MngReply(int repl) { m_Wind.MngReply(repl); }

CIdentV7 CSendV7::OwnIdent()
{
    CReceivV7* receiv = GetReceiv();
    return receiv ? receiv->m_Ident : CIdentV7();
}

CPackV7 CSendV7::EmptyToPeer() { return CPackV7(OwnIdent(), m_Ident); }

void CSendV7::Start()
{
    if (m_Disable) return;
    m_Run = true;
    m_TimeChangeIP = 0;
    {
        std::lock_guard<std::mutex> lock(m_QueueMutex);
        m_Queue.clear();
    }
    m_Reply.Clear();
    // The window first: its start empties it, which must not meet a packet
    // that PutProc has just put there.
    m_Wind.Start(m_Pool);
    m_Pool->StartProc("CSendV7::PutProc", PutProc, this, 0, 0);
}

void CSendV7::Stop()
{
    CPackV7 close = EmptyToPeer();
    unsigned char body[4];
    OwnIdent().GetValue(body);
    close.SetLink(CPackV7::packLinkClose, body, 4);
    SendSocket(close);
    StopOnly();
}

void CSendV7::StopOnly()
{
    m_Run = false;
    m_Wind.Clear();   // wakes PutProc if it waits for room in the window
    {
        // Wakes PutProc if it waits for a packet; it sees m_Run clear.
        std::lock_guard<std::mutex> lock(m_QueueMutex);
        m_QueueCond.notify_all();
    }
    m_Pool->StopProc(PutProc, this);
    m_Wind.Stop();
    {
        std::lock_guard<std::mutex> lock(m_QueueMutex);
        m_Queue.clear();
    }
    m_Reply.Clear();
}

bool CSendV7::Put(CPackV7& pack)
{
    if (m_Disable || !m_Run) return false;
    {
        std::lock_guard<std::mutex> lock(m_QueueMutex);
        while (m_Queue.size() > static_cast<size_t>(kQueueLimit) && !m_Queue.front().IsOnOffGGS())
            m_Queue.pop_front();
        if (pack.IsOnOffGGS())
            m_Queue.push_front(pack);
        else
            m_Queue.push_back(pack);
    }
    m_QueueCond.notify_one();
    return true;
}

bool CSendV7::PutProc(void* send)
{
    auto* self = static_cast<CSendV7*>(send);
    while (self->m_Run) self->Send();
    return false;
}

void CSendV7::Send()
{
    CPackV7 pack;
    {
        std::unique_lock<std::mutex> lock(m_QueueMutex);
        m_QueueCond.wait(lock, [this] { return !m_Queue.empty() || !m_Run; });
        if (!m_Run) return;
        pack = m_Queue.front();
        m_Queue.pop_front();
    }
    pack.UnPack();
    const CIdentV7 dst(m_Ident.GetNode(), pack.m_Dst.GetDev() != 0 ? pack.m_Dst.GetDev() : m_Ident.GetDev());
    pack.SetID(OwnIdent(), dst);
    m_Wind.Put(pack);
}

bool CSendV7::SendSocket(CPackV7& pack)
{
    if (m_Disable) return true;
    std::lock_guard<std::mutex> lock(m_SendMutex);
    CReceivV7* receiv = GetReceiv();
    const CIdentV7 own = receiv ? receiv->m_Ident : CIdentV7();
    if (pack.m_Src == own) m_Reply.AddTo(pack);
    if (pack.m_Class == CPackV7::classLink && pack.m_Dst.GetDev() != 0)
        pack.SetID(pack.m_Src, CIdentV7(pack.m_Dst.GetNode(), 0));
    // A packEmpty that acknowledges nothing has nothing to say.
    if (pack.m_Class == CPackV7::classData && pack.m_Ident == 0 && pack.m_Repl == 0 && pack.m_Len < 14) return true;
    if (!m_Run) return true;
    if (!receiv) return false;

    const CKeySys& key = m_Key.IsEmpty() ? receiv->m_Key : m_Key;
    unsigned char buf[CPackV7::kBufSize];
    int len;
    const in6_addr* addr;
    int port;
    if (!m_ByCloud) {
        len = pack.ChanCod(buf, sizeof buf, key.Data());
        addr = &m_Addr;
        port = m_Port;
    } else {
        len = pack.ChanCloudProCod(buf, sizeof buf, key.Data());
        addr = &m_AddrCloud;
        port = m_PortCloud;
    }
    const bool ok = receiv->Send(buf, len, *addr, port) != -1;
    LogPut(m_Ident, *addr, port, pack.m_Buf, pack.m_Len + 2);
    if (m_Wind.IsNoLink()) IsNoLink();
    return ok;
}

bool CSendV7::MngIdentInp(unsigned char ident) { return m_Reply.MngIdentInp(ident, Now()); }

void CSendV7::SendReply()
{
    if (!m_Reply.IsOwed()) return;
    CPackV7 pack = EmptyToPeer();
    SendSocket(pack);
}

int CSendV7::NextIdent()
{
    m_LastIdent = (m_LastIdent + 1) % 128;
    if (m_LastIdent == 0) m_LastIdent = 1;
    return m_LastIdent;
}

void CSendV7::SetAddr(const in6_addr& addr, int port)
{
    std::lock_guard<std::mutex> lock(m_SendMutex);
    m_Addr = addr;
    m_Port = port;
}

void CSendV7::GetAddr(in6_addr& addr, int& port)
{
    std::lock_guard<std::mutex> lock(m_SendMutex);
    addr = m_Addr;
    port = m_Port;
}

void CSendV7::SetKey(const CKeySys& key)
{
    std::lock_guard<std::mutex> lock(m_SendMutex);
    m_Key = key;
}

CKeySys CSendV7::GetKey()
{
    std::lock_guard<std::mutex> lock(m_SendMutex);
    return m_Key;
}

size_t CSendV7::QueueSize() const
{
    std::lock_guard<std::mutex> lock(m_QueueMutex);
    return m_Queue.size();
}
