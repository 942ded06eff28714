#include "tools/velkunit/UnitNet.h"

#include "base/BasePoolThread.h"
#include "base/IPv6.h"
#include "link/CSendV7.h"
#include "tools/velkunit/CUnit.h"
#include "tools/velkunit/UnitAnswer.h"
#include "tools/velkunit/UnitLog.h"
#include "tools/velkunit/UnitTimer.h"

#include <cstring>

namespace velkunit {

namespace {

constexpr int kLastService = 9999999;   // nodes above it are programs
constexpr size_t kMaxSessions = 64;
constexpr int kSweepMs = 1000;
// A configurator that has said nothing for this long is gone (it never
// sends a keep-alive on the IP method).
constexpr time_t kIdleSeconds = 600;

std::string Text(const wchar_t* text) { return DBString(text).ToStr(); }

// A link packet from `from` with the time, seconds since 1900, as body.
CPackV7 Alive(const CIdentV7& from, const CIdentV7& to)
{
    CPackV7 pack(from, to);
    const uint32_t ntp = NtpSeconds(std::time(nullptr));
    const unsigned char body[4] = {static_cast<unsigned char>(ntp), static_cast<unsigned char>(ntp >> 8),
                                   static_cast<unsigned char>(ntp >> 16), static_cast<unsigned char>(ntp >> 24)};
    pack.SetLink(CPackV7::packLinkAlive, body, 4);
    return pack;
}

AnswerNote NoteFor(const CPackV7& pack, const std::string& kind)
{
    AnswerNote note;
    note.request = true;
    if (pack.m_Typ == CPackV7::packAsk) note.ask = pack.m_Ask;
    note.kind = kind;
    return note;
}

}  // namespace

// One configurator on this port: the unit's end of its link.
class UnitNet::Session : public CSendV7 {
public:
    Session(UnitNet* net, BasePoolThread* pool) : CSendV7(pool), m_Net(net) {}
    ~Session() override { StopOnly(); }

    bool Retransmission(CReceivV7*, CPackV7& pack, const in6_addr&, int) override { return m_Net->ForOther(*this, pack); }
    // Called with the link's locks held: only a mark for the sweep.
    void IsNoLink() override { m_Lost = true; }
    void BadPut(const wchar_t* text) override { m_Net->m_Log.Event("link", Text(text)); }
    void BadPutErr(const wchar_t* text, int code) override
    {
        m_Net->m_Log.Event("error", Text(text) + ": " + std::strerror(code));
    }
    void BadPutMes(const wchar_t* text, const unsigned char*, int) override { m_Net->m_Log.Event("link", Text(text)); }
    CReceivV7* GetReceiv() override { return m_Net; }

    std::string m_Peer;                    // "[address]:port" when it first wrote
    std::atomic<time_t> m_Heard{0};
    std::atomic<bool> m_Lost{false};
    std::atomic<bool> m_Closed{false};
    // The cloud roles: on the receive thread only,
    bool m_Greeted = false;
    // and under the net's session mutex.
    bool m_Pressed = false;
    bool m_Authorised = false;
    bool m_KeyRefused = false;
    std::optional<CPackV7> m_Pending;      // askInfo held until the buttons are pressed

private:
    UnitNet* m_Net;
};

UnitNet::UnitNet(BasePoolThread* pool, CUnit& unit, UnitTimer& timer, UnitLog& log, const Setup& setup)
    : CReceivV7(pool), m_Pool(pool), m_Unit(unit), m_Timer(timer), m_Log(log), m_Setup(setup), m_Rng(setup.seed)
{
}

UnitNet::~UnitNet() { Down(); }

const char* UnitNet::Carrier() const
{
    switch (m_Setup.role) {
    case Role::cloudButtons: return "cloud";
    case Role::cloudKey: return "cloud-key";
    default: return "udp";
    }
}


// ---------------------------------------------------------------- up and down

void UnitNet::Up()
{
    m_Ident = m_Unit.Ident();
    // The key port decodes in the cloud coding; its plain key only has to
    // be one that a cloud packet does not satisfy.
    m_Key = m_Setup.role == Role::cloudButtons ? GuestKeySys() : m_Unit.Key();
    SetBind(m_Setup.bind, m_Bound != 0 ? m_Bound.load() : m_Setup.port);
    Start();
    m_Bound = GetPort();
    const unsigned generation = ++m_Generation;
    m_Timer.After(kSweepMs, [this, generation] { Sweep(generation); });
}

void UnitNet::Down()
{
    ++m_Generation;
    Stop();
    std::map<int, std::unique_ptr<Session>> sessions;
    std::vector<std::unique_ptr<Session>> stopped;
    {
        std::lock_guard<std::mutex> lock(m_SessMutex);
        sessions.swap(m_Sessions);
        stopped.swap(m_Stopped);
    }
    // The receive procedure has ended: nothing holds these any more.
    for (auto& [node, s] : sessions) s->StopOnly();
}

void UnitNet::Sweep(unsigned generation)
{
    if (generation != m_Generation) return;
    const time_t now = Now();
    std::vector<std::unique_ptr<Session>> ended;
    {
        std::lock_guard<std::mutex> lock(m_SessMutex);
        for (auto it = m_Sessions.begin(); it != m_Sessions.end();) {
            Session& s = *it->second;
            if (s.m_Closed || s.m_Lost || now - s.m_Heard > kIdleSeconds) {
                ended.push_back(std::move(it->second));
                it = m_Sessions.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (auto& s : ended) {
        const char* why = s->m_Closed ? "closed by the configurator" : s->m_Lost ? "no answer" : "idle";
        m_Log.Event("link", std::string(Carrier()) + " link to " + DBString(s->m_Ident.GetString()).ToStr() + " at " +
                                s->m_Peer + " ended: " + why);
        s->StopOnly();
    }
    if (!ended.empty()) {
        std::lock_guard<std::mutex> lock(m_SessMutex);
        for (auto& s : ended) m_Stopped.push_back(std::move(s));
    }
    m_Timer.After(kSweepMs, [this, generation] { Sweep(generation); });
}

UnitNet::Session* UnitNet::Find(int node)
{
    std::lock_guard<std::mutex> lock(m_SessMutex);
    const auto it = m_Sessions.find(node);
    return it == m_Sessions.end() ? nullptr : it->second.get();
}

void UnitNet::FreeStopped(const Session* current)
{
    std::vector<std::unique_ptr<Session>> gone;
    {
        std::lock_guard<std::mutex> lock(m_SessMutex);
        for (auto it = m_Stopped.begin(); it != m_Stopped.end();) {
            if (it->get() == current) {
                ++it;
                continue;
            }
            gone.push_back(std::move(*it));
            it = m_Stopped.erase(it);
        }
    }
}

// ---------------------------------------------------------------- the receive side

CSendV7* UnitNet::NewSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key,
                            const CReceivV7*)
{
    // Only programs open a link to a unit; while the unit is off or silent
    // nobody gets one.
    if (ident.GetNode() <= kLastService || m_Unit.IsMute()) return nullptr;
    auto s = std::make_unique<Session>(this, m_Pool);
    s->m_Ident = ident;
    s->m_Addr = addr;
    s->m_Port = port;
    s->m_Key = key;
    s->m_MaxTry = m_Setup.maxTry;
    s->m_TimeTry = m_Setup.retryMs;
    if (m_Setup.role == Role::cloudKey) {
        s->m_ByCloud = true;
        s->m_AddrCloud = addr;
        s->m_PortCloud = port;
    }
    s->m_Peer = IPv6PortToStr(addr, port);
    s->m_Heard = Now();
    Session* raw = s.get();
    {
        std::lock_guard<std::mutex> lock(m_SessMutex);
        if (m_Sessions.size() >= kMaxSessions) return nullptr;
        raw->Start();
        m_Sessions[ident.GetNode()] = std::move(s);
    }
    m_Log.Event("link", std::string(Carrier()) + " link from " + DBString(ident.GetString()).ToStr() + " at " +
                            raw->m_Peer);
    if (m_Setup.role == Role::cloudButtons && m_Setup.buttonsAfter >= 0) {
        const int node = ident.GetNode();
        m_Timer.After(static_cast<int>(m_Setup.buttonsAfter * 1000), [this, node] { Press(node); });
    }
    return raw;
}

bool UnitNet::UnknownSender(const CIdentV7&, const in6_addr&, int, const CKeySys&) { return !m_Unit.IsMute(); }

void UnitNet::BadPut(const wchar_t* text, bool isError) { m_Log.Event(isError ? "refused" : "link", Text(text)); }

void UnitNet::BadPutErr(const wchar_t* text, int code) { m_Log.Event("error", Text(text) + ": " + std::strerror(code)); }

void UnitNet::BadPutMes(const wchar_t* text, const unsigned char*, int, bool isError) { BadPut(text, isError); }

CSendV7* UnitNet::GetSend(const CIdentV7& ident) { return Find(ident.GetNode()); }

bool UnitNet::ChanDecod(const unsigned char* data, int len, CPackV7& pack, CKeySys& key, bool& byCloud)
{
    byCloud = false;
    if (m_Setup.role != Role::cloudKey) return false;
    unsigned char carried[16];
    if (!pack.ChanCloudProDecod(data, len, carried)) return false;
    key.Set(carried);
    byCloud = true;
    return true;
}

int UnitNet::SendDatagram(int socket, const unsigned char* data, int len, const sockaddr_in6& to)
{
    if (m_Unit.IsMute()) return len;
    if (m_Setup.drop > 0 && std::uniform_real_distribution<double>(0, 1)(m_Rng) < m_Setup.drop) return len;
    return CReceivV7::SendDatagram(socket, data, len, to);
}

void UnitNet::HandlingData(const CPackV7& pack, const CSendV7*)
{
    Session* s = Find(pack.m_Src.GetNode());
    if (!s) return;   // swept meanwhile
    FreeStopped(s);
    s->m_Heard = Now();
    if (pack.IsCloseLink()) {
        s->m_Closed = true;
        return;
    }
    if (pack.m_Class != CPackV7::classData || pack.m_Typ == CPackV7::packEmpty) return;   // keep-alive, acknowledgement
    if (m_Setup.role == Role::direct)
        Ask(*s, pack);
    else
        Cloud(*s, pack);
}

// ---------------------------------------------------------------- answers

void UnitNet::Ask(Session& s, const CPackV7& pack)
{
    CUnit::Answer answer = m_Unit.Handle(pack, Carrier(), s.m_Peer);
    if (answer.replies.empty()) return;
    const int node = s.m_Ident.GetNode();
    if (m_Setup.delayMs > 0)
        m_Timer.After(m_Setup.delayMs, [this, node, answer] { Deliver(node, answer.replies, answer.wrongKey); });
    else
        Deliver(node, answer.replies, answer.wrongKey);
}

void UnitNet::Deliver(int node, const std::vector<CPackV7>& replies, bool wrongKey)
{
    std::lock_guard<std::mutex> lock(m_SessMutex);
    const auto it = m_Sessions.find(node);
    if (it == m_Sessions.end()) return;
    if (wrongKey) SendWrongKey(*it->second, replies.front());
    for (CPackV7 reply : replies) it->second->Put(reply);
}

void UnitNet::SendWrongKey(Session& s, const CPackV7& reply)
{
    CKeySys wrong;
    wrong.Create(L"velkunit: not the link key");
    CPackV7 copy = reply;
    copy.SetID(m_Ident, s.m_Ident);
    unsigned char buf[CPackV7::kBufSize];
    const int len = copy.ChanCod(buf, sizeof buf, wrong.Data());
    in6_addr addr;
    int port;
    s.GetAddr(addr, port);
    if (s.m_ByCloud) {
        addr = s.m_AddrCloud;
        port = s.m_PortCloud;
    }
    Send(buf, len, addr, port);
    m_Log.Event("fault", "a copy of the answer went to " + s.m_Peer + " under a wrong key");
}

// ---------------------------------------------------------------- the cloud server

bool UnitNet::Hello(Session& s)
{
    if (s.m_Greeted) return false;
    s.m_Greeted = true;
    const int server = m_Setup.role == Role::cloudButtons ? V7Net::kNodeCloud : V7Net::kNodeServer;
    CPackV7 hello = Alive(CIdentV7(server, 0), s.m_Ident);
    s.SendSocket(hello);
    return true;
}

void UnitNet::Cloud(Session& s, const CPackV7& pack)
{
    const bool first = Hello(s);
    if (m_Unit.Refuse() != 0) {
        Ask(s, pack);   // the unit's refusal, from the unit
        return;
    }
    if (first) {
        // The server has the unit on its list.
        CPackV7 present = Alive(m_Ident, s.m_Ident);
        s.SendSocket(present);
    }
    bool authorised;
    bool keyRefused = false;
    {
        std::lock_guard<std::mutex> lock(m_SessMutex);
        if (!s.m_Authorised) {
            if (m_Setup.role == Role::cloudButtons) {
                s.m_Authorised = s.m_Pressed;
                if (!s.m_Authorised && pack.m_Typ == CPackV7::packAsk && pack.m_Ask == CPackV7::askInfo)
                    s.m_Pending = pack;
            } else {
                s.m_Authorised = s.GetKey() == m_Unit.Key();
                keyRefused = !s.m_Authorised && !s.m_KeyRefused;
                s.m_KeyRefused = s.m_KeyRefused || keyRefused;
            }
        }
        authorised = s.m_Authorised;
    }
    if (keyRefused) m_Log.Event("refused", "the key of " + s.m_Peer + " is not the unit's link key");
    if (authorised)
        Ask(s, pack);
    else
        Held(s, pack,
             m_Setup.role == Role::cloudButtons ? "held until the unit's buttons are pressed" : "not authorised");
}

void UnitNet::Held(const Session& s, const CPackV7& pack, const std::string& why)
{
    m_Log.Request(Carrier(), s.m_Peer, pack, NoteFor(pack, why), 0);
}

bool UnitNet::ForOther(Session& s, CPackV7& pack)
{
    if (m_Setup.role == Role::direct) return false;   // reported by the receiver
    if (pack.m_Class != CPackV7::classData || pack.m_Typ == CPackV7::packEmpty) return true;
    Hello(s);
    CPackV7 refusal = Refusal(CIdentV7(pack.m_Dst.GetNode(), 0), s.m_Ident, 7);
    s.SendSocket(refusal);
    AnswerNote note = NoteFor(pack, "");
    note.refused = 7;
    m_Log.Request(Carrier(), s.m_Peer, pack, note, 1);
    return true;
}

void UnitNet::Press(int node)
{
    std::optional<CPackV7> pending;
    std::string peer;
    {
        std::lock_guard<std::mutex> lock(m_SessMutex);
        const auto it = m_Sessions.find(node);
        if (it == m_Sessions.end()) return;
        Session& s = *it->second;
        s.m_Pressed = true;
        pending.swap(s.m_Pending);
        if (pending) s.m_Authorised = true;
        peer = s.m_Peer;
    }
    m_Log.Event("buttons", "the unit's buttons are pressed for " + peer);
    if (!pending) return;
    CUnit::Answer answer = m_Unit.Handle(*pending, Carrier(), peer);
    if (!answer.replies.empty()) Deliver(node, answer.replies, answer.wrongKey);
}

}  // namespace velkunit
