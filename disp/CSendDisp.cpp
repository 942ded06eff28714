#include "disp/CSendDisp.h"

#include "base/BasePoolThread.h"
#include "base/DBTime.h"
#include "base/IPv6.h"
#include "link/CIdeaKey.h"

#include <algorithm>
#include <cerrno>

const Secrets::Key16& CSendDisp::m_Maska = Secrets::DispMask;

// ---------------------------------------------------------------- CReplyForSend

bool CSendDisp::CReplyForSend::Add(int ident)
{
    const auto id = static_cast<unsigned char>(ident);
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (Entry& e : m_List) {
        if (e.ident == id) {
            e.sent = false;   // the peer missed our acknowledgement: owe it again
            return false;
        }
    }
    if (static_cast<int>(m_List.size()) >= Remembered) m_List.pop_front();
    m_List.push_back({id, false});
    return true;
}

void CSendDisp::CReplyForSend::Clear()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_List.clear();
}

bool CSendDisp::CReplyForSend::HasUnsent()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return std::any_of(m_List.begin(), m_List.end(), [](const Entry& e) { return !e.sent; });
}

void CSendDisp::CReplyForSend::Fill(CPackDisp& pack)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (Entry& e : m_List) {
        if (e.sent) continue;
        if (!pack.AddReply(&e.ident, 1)) break;   // the rest rides on the next packet
        e.sent = true;
    }
}

// ---------------------------------------------------------------- CDispWind

CDispWind::CDispWind(CSendDisp* owner, BasePoolThread* pool) : m_Pool(pool), m_Owner(owner) {}

CDispWind::~CDispWind() { EndTimer(); }

bool CDispWind::HasRoomLocked() const
{
    if (m_List.empty()) return true;
    if (static_cast<int>(m_List.size()) >= MaxInFlight) return false;
    // Idents run 1..255: the distance from the oldest packet in flight to the
    // ident the next one will get.
    const int next = static_cast<int>(m_Owner->m_OutIdent % 255 + 1);
    return (next - m_List.front().Ident() + 255) % 255 < MaxInFlight;
}

bool CDispWind::Put(CPackDisp& pack)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    // The owner's `active` is part of the wait, so that a session stopped
    // while PutProc waits here neither hangs nor sends after its end.
    m_Cond.wait(lock, [this] { return HasRoomLocked() || !m_Started || !m_Owner->m_Active; });
    if (!m_Started || !m_Owner->m_Active) return true;
    if (pack.IsEmpty() || pack.isVoice()) {
        pack.DelIdent();
        m_Owner->SendSocket(pack);
        return true;
    }
    pack.SetIdent(m_Owner->NextIdent());
    if (!m_Owner->SendSocket(pack)) return false;
    m_List.emplace_back(pack, kRetryMs);
    return true;
}

void CDispWind::MngReply(int count, const unsigned char* idents)
{
    if (count <= 0 || !idents) return;
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (auto it = m_List.begin(); it != m_List.end();) {
        if (std::find(idents, idents + count, it->Ident()) == idents + count) {
            ++it;
            continue;
        }
        m_Owner->m_LostCount = 0;
        // The peer has a later packet but not these: a gap, resend them now.
        for (auto older = m_List.begin(); older != it; ++older) older->timerMs = 0;
        it = m_List.erase(it);
    }
    m_Cond.notify_all();
}

void CDispWind::Start()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_Started) return;
        m_Started = true;
    }
    const int period = std::max(1, m_Owner->m_Timing.timerMs);
    m_Pool->StartProc(m_Name, TimerProc, this, period, period);
}

void CDispWind::Stop()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Started = false;
    }
    m_Cond.notify_all();
    CMesDisp close;
    close.Create_CloseLink();
    m_Owner->SendSocket(CPackDisp(close));
    EndTimer();
}

void CDispWind::EndTimer()
{
    m_Pool->StopProc(TimerProc, this);
    Clear();
}

void CDispWind::Clear()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_List.clear();
    }
    m_Cond.notify_all();
}

int CDispWind::InFlight() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return static_cast<int>(m_List.size());
}

bool CDispWind::TimerProc(void* wind) { return static_cast<CDispWind*>(wind)->Tick(); }

bool CDispWind::Tick()
{
    CSendDisp& owner = *m_Owner;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        for (auto it = m_List.begin(); it != m_List.end();) {
            if (it->tries < MaxTries) {
                it->timerMs -= kTickMs;
                if (it->timerMs < 1) {
                    owner.SendSocket(*it);   // a failure is logged there, and retried next time
                    ++it->tries;
                    it->timerMs = kRetryMs;
                }
            }
            if (it->tries < MaxTries) {
                ++it;
                continue;
            }
            if (!it->IsEmpty() && !it->isVoice()) ++owner.m_LostCount;
            it = m_List.erase(it);
        }
        m_Cond.notify_all();
    }
    if (owner.m_LostCount < MaxLost || !owner.m_Active) return true;

    owner.BadPut((DBString(L"CDispWind::TimerProc - Disconnect ") + owner.ToStr()).c_str());
    owner.m_LostCount = 0;
    owner.Disconnect(owner.m_Peer, owner.m_Port);
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Started = false;
        m_List.clear();
    }
    m_Cond.notify_all();
    return false;
}

// ---------------------------------------------------------------- CSendDisp

CSendDisp::CSendDisp(BasePoolThread* pool, const in6_addr& peer, int port, int mode, const DBGUID* guid)
    : m_Mode(mode),
      m_Pool(pool),
      m_Peer(peer),
      m_Port(port),
      m_Guid(guid ? *guid : DBGUID()),
      m_Wind(this, pool)
{
    m_Key.Key(DefaultKey().Data());
}

CSendDisp::~CSendDisp()
{
    // Only the procedures: a CloseLink would go through a Send that is no
    // longer the derived class's.
    StopSending();
    m_Pool->StopProc(PutProc, this);
    m_Wind.EndTimer();
}

CIdeaKey CSendDisp::DefaultKey()
{
    CIdeaKey key;
    key.Set2(L"", L"", L"", m_Maska.data());
    return key;
}

void CSendDisp::SetKey(const CIdeaKey& key)
{
    std::lock_guard<std::mutex> lock(m_KeyMutex);
    m_Key.Key(key.Data());
}

void CSendDisp::LogSend(const in6_addr&, int, const CPackDisp&) {}
void CSendDisp::LogReceive(const in6_addr&, int, const CPackDisp&) {}
void CSendDisp::BadPut(const wchar_t*) {}
void CSendDisp::BadPutErr(const wchar_t*, int) {}
void CSendDisp::BadPutMes(const wchar_t*, const unsigned char*, int) {}
void CSendDisp::HandlingData(CPackDisp&) {}
void CSendDisp::FragConfig(int, int) {}
void CSendDisp::PartNodeConfig() {}
void CSendDisp::DispatchEventLoop() {}

int CSendDisp::Send(const unsigned char*, int, const in6_addr&, int)
{
    errno = ENOTCONN;
    return -1;
}

void CSendDisp::Disconnect(const in6_addr&, int) { StopSendOnly(); }

DBString CSendDisp::ToStr() const { return IPv6PortToStrW(m_Peer, m_Port); }

int CSendDisp::NextIdent()
{
    m_OutIdent = (m_OutIdent + 1) & 0xFF;
    if (m_OutIdent == 0) m_OutIdent = 1;
    return static_cast<int>(m_OutIdent);
}

void CSendDisp::Start()
{
    if (m_Active) return;
    m_LastIdent = 0;
    m_Reply.Clear();
    m_Active = true;
    m_Pool->StartProc(m_Name, PutProc, this, 0, 0);
    m_Wind.Start();
}

bool CSendDisp::StopSending()
{
    if (!m_Active.exchange(false)) return false;
    Clear();   // also wakes PutProc if it waits for room in the window
    {
        // Under the queue lock, so that PutProc cannot miss the wake-up
        // between its look at `active` and its wait.
        std::lock_guard<std::mutex> lock(m_QueueMutex);
    }
    m_QueueCond.notify_all();
    m_Pool->StopProc(PutProc, this);
    return true;
}

void CSendDisp::Stop()
{
    if (StopSending()) {
        m_Wind.Stop();
        return;
    }
    // Stopped already (StopSendOnly, or never started): wait for whatever
    // procedure is still on its way out, so that the owner may destroy us.
    m_Pool->StopProc(PutProc, this);
    m_Wind.EndTimer();
}

void CSendDisp::StopSendOnly() { StopSending(); }

void CSendDisp::Clear()
{
    m_Wind.Clear();
    m_Reply.Clear();
    std::lock_guard<std::mutex> lock(m_QueueMutex);
    m_Queue.clear();
}

void CSendDisp::Put(CPackDisp& pack)
{
    if (!m_Active) return;
    if (pack.IsEmpty() || pack.isVoice()) {
        // Nothing to acknowledge, or too late to be worth a resend.
        pack.DelIdent();
        SendSocket(pack);
        return;
    }
    {
        // `active` is looked at again under the lock, so that nothing is
        // queued behind the Clear of a Stop.
        std::lock_guard<std::mutex> lock(m_QueueMutex);
        if (!m_Active) return;
        m_Queue.push_back(pack);
    }
    m_QueueCond.notify_one();
}

void CSendDisp::SendMes(const CMesDisp& mes)
{
    CPackDisp pack(mes);
    Put(pack);
}

bool CSendDisp::PutProc(void* self)
{
    auto* send = static_cast<CSendDisp*>(self);
    while (send->m_Active) send->Send();
    return false;
}

void CSendDisp::Send()
{
    CPackDisp pack;
    {
        std::unique_lock<std::mutex> lock(m_QueueMutex);
        m_QueueCond.wait(lock, [this] { return !m_Queue.empty() || !m_Active; });
        if (!m_Active) return;
        pack = m_Queue.front();
        m_Queue.pop_front();
        // Small packets behind the first ride in it, as far as they fit.
        while (!m_Queue.empty()) {
            CPackDisp& next = m_Queue.front();
            if (!pack.Link(next)) break;
            if (!next.IsEmpty()) break;   // the remainder keeps its place
            m_Queue.pop_front();
        }
    }
    m_Wind.Put(pack);
}

bool CSendDisp::SendSocket(const CPackDisp& pack)
{
    CPackDisp copy(pack);
    std::lock_guard<std::mutex> send(m_SendMutex);
    m_Reply.Fill(copy);
    if (copy.Ident() == 0 && copy.IsEmpty() && copy.ReplyCount() == 0) return true;
    if (m_Mode == 2) {
        CMesDisp stamp;
        stamp.Create_TimeAndGUID(DBTime::CurDateTime(), m_Guid);
        copy.AddMes(stamp);
    }
    unsigned char out[CPackDisp::BufSize];
    int length = 0;
    {
        std::lock_guard<std::mutex> key(m_KeyMutex);
        length = copy.Encoding(out, sizeof out, &m_Key);
    }
    if (length <= 0) {
        BadPutMes(L"CSendDisp::SendSocket: Encoding()", copy.Data(), copy.PlainLen());
        return false;
    }
    LogSend(m_Peer, m_Port, copy);
    if (Send(out, length, m_Peer, m_Port) == -1) {
        BadPutErr(L"CSendDisp::SendSocket: Send()", errno);
        return false;
    }
    return true;
}

void CSendDisp::SendReplies()
{
    if (m_Reply.HasUnsent()) SendSocket(CPackDisp());
}

void CSendDisp::Handling(const unsigned char* data, int length)
{
    CPackDisp pack;
    {
        std::lock_guard<std::mutex> key(m_KeyMutex);
        pack.Decoding(data, length, &m_Key);
    }
    if (!pack.valid()) return;
    LogReceive(m_Peer, m_Port, pack);
    m_LostCount = 0;   // any valid packet proves the peer is alive

    int count = 0;
    const unsigned char* replies = pack.GetReply(count);
    m_Wind.MngReply(count, replies);

    const int ident = pack.Ident();
    if (ident != 0 && ident == m_LastIdent) {
        // Our acknowledgement of it was lost: say it again, deliver nothing.
        m_Reply.Add(ident);
        SendReplies();
        return;
    }
    if (ident != 0) m_LastIdent = ident;
    if (ident == 1) {
        // The peer started counting again: its new idents are no repeats.
        pack.BegGet();
        for (CMesDisp mes; pack.GetMes(mes);) {
            if (mes.TypMes() == CMesDisp::OpenLinkEx) {
                m_Reply.Clear();
                break;
            }
        }
    }
    if (ident > 0 && !m_Reply.Add(ident)) {
        SendReplies();
        return;
    }
    pack.BegGet();
    HandlingData(pack);
    if (ident != 0) SendReplies();
}
