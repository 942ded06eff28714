#include "link/CWindV7.h"

#include "base/BasePoolThread.h"
#include "base/StringRes.h"
#include "link/CReceivV7.h"
#include "link/CSendV7.h"

CPackWindV7::CPackWindV7(const CPackV7& pack, CWindV7* wind, int timeMs)
    : CPackV7(pack), m_TimeMs(timeMs), m_Wind(wind)
{
}

CWindV7::CWindV7(CSendV7* send) : m_Send(send) {}

CWindV7::~CWindV7() { Stop(); }

void CWindV7::Start(BasePoolThread* pool)
{
    if (m_Start) return;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_List.clear();
        m_Saved.Clear();
    }
    m_Fail = 0;
    m_Drop = 0;
    m_LinkOk = false;
    m_Pool = pool;
    m_Start = true;
    const int period = m_Send->m_Timing.timerMs;
    pool->StartProc("CWindV7::TimerProc", TimerProc, this, period, period);
}

void CWindV7::Stop()
{
    m_Start = false;
    if (m_Pool) m_Pool->StopProc(TimerProc, this);
    Clear();
}

void CWindV7::Clear()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_List.clear();
    }
    m_Cond.notify_all();
}

int CWindV7::Count() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return static_cast<int>(m_List.size());
}

bool CWindV7::SpanAllows() const
{
    if (m_List.empty()) return true;
    const int next = m_Send->PeekNextIdent();
    const int behind = ((next - m_List.front().m_Ident) % 127 + 127) % 127;
    return behind < kSize;
}

bool CWindV7::Put(CPackV7& pack)
{
    CReceivV7* receiv = m_Send->GetReceiv();
    const bool relayed = !receiv || pack.m_Src != receiv->m_Ident;
    const bool sequenced = pack.IsInIdent() && !relayed;

    std::unique_lock<std::mutex> lock(m_Mutex);
    // Besides the count of five, a new ident waits while the oldest packet in
    // flight is five idents behind it: the peer remembers the last ten idents,
    // and a packet passed by more of them than that would be taken for new
    // when it is sent again, and delivered twice.
    m_Cond.wait(lock, [&] {
        return (m_List.size() < static_cast<size_t>(kSize) && (!sequenced || SpanAllows())) || !m_Send->m_Run;
    });
    if (!m_Send->m_Run) return false;

    bool ok;
    if (!pack.IsInIdent()) {
        pack.DelIdent();
        ok = m_Send->SendSocket(pack);
    } else if (relayed) {
        // Relayed: the ident is the originator's, and so is the retransmission.
        ok = m_Send->SendSocket(pack);
    } else {
        pack.SetIdent(m_Send->NextIdent());
        // Kept as it was before SendSocket wrote an owed acknowledgement into
        // it, so that each retransmission carries a current one instead of
        // repeating a stale repl.
        CPackWindV7 kept(pack, this, m_Send->m_TimeTry);
        ok = m_Send->SendSocket(pack);
        if (ok)
            m_List.push_back(kept);
        else if (pack.m_Resend)
            m_Saved = kept;   // not kept in the window, but offered again once the peer is heard
    }
    if (!ok) ++m_Fail;
    return ok;
}

void CWindV7::Tick()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        for (auto it = m_List.begin(); it != m_List.end();) {
            CPackWindV7& p = *it;
            if (p.m_Try < m_Send->m_MaxTry) {
                p.m_TimeMs -= kTickMs;
                if (p.m_TimeMs <= 0) {
                    CPackV7 copy(p);
                    if (!m_Send->SendSocket(copy)) ++m_Fail;
                    ++p.m_Try;
                    p.m_TimeMs = m_Send->m_TimeTry;
                }
                ++it;
                continue;
            }
            ++m_Fail;
            ++m_GivenUp;
            if (++m_Drop > kDropReport) {
                if (m_LinkOk) {
                    const DBString text = _S_(41020) + m_Send->m_Ident.GetString() + _S_(41021);
                    m_Send->BadPut(text.c_str());
                }
                m_Drop = 0;
                m_LinkOk = false;
            }
            if (p.m_Resend) m_Saved = p;
            it = m_List.erase(it);
        }
    }
    m_Cond.notify_all();
}

bool CWindV7::TimerProc(void* wind)
{
    auto* self = static_cast<CWindV7*>(wind);
    if (!self->m_Start) return false;
    self->Tick();
    return true;
}

void CWindV7::MngReply(int repl)
{
    m_Fail = 0;
    m_LinkOk = true;
    CPackV7 saved;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_Saved.m_Resend) {
            saved = m_Saved;
            m_Saved.Clear();
        }
    }
    if (saved.m_Resend) m_Send->Put(saved);
    if (repl == 0) return;

    bool room;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        for (auto it = m_List.begin(); it != m_List.end();) {
            if (it->m_Ident != repl) {
                ++it;
                continue;
            }
            // Whatever is older than an acknowledged packet was probably lost:
            // due at the next tick.
            for (auto older = m_List.begin(); older != it; ++older) older->m_TimeMs = 0;
            it = m_List.erase(it);
        }
        room = m_List.size() < static_cast<size_t>(kSize);
    }
    if (room) m_Cond.notify_all();
}

bool CWindV7::IsNoLink()
{
    int fail = m_Fail;
    while (fail > 1) {
        if (m_Fail.compare_exchange_weak(fail, 0)) return true;
    }
    return false;
}
