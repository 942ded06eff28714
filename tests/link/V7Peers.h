#pragma once
// Two ends of the V7 UDP link for tests and the benchmark: small subclasses
// of CReceivV7 and CSendV7 that record what the application would log and
// deliver, and a raw UDP peer that the test drives byte by byte.
#include "base/BasePoolThread.h"
#include "base/IPv6.h"
#include "base/StringRes.h"
#include "support/WaitUntil.h"
#include "link/CReceivV7.h"
#include "link/CSendV7.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <list>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace v7test {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

inline const CIdentV7 kUnit(1234, 0);        // an LU
inline const CIdentV7 kProg(10000001, 0);    // a configurator

inline CKeySys LinkKey() { CKeySys key; key.SetDefault(); return key; }

// A sequenced request carrying a number.
inline CPackV7 Numbered(uint32_t n, int ask = CPackV7::askNVRAM)
{
    CPackV7 p;
    p.SetAsk(CPackV7::packAsk, ask, 1, reinterpret_cast<const unsigned char*>(&n), 4);
    return p;
}

// Queues the numbers from..to as sequenced packets; false if one was refused.
inline bool PutNumbered(CSendV7& send, uint32_t from, uint32_t to, int ask = CPackV7::askNVRAM)
{
    bool ok = true;
    for (uint32_t n = from; n <= to; ++n) {
        CPackV7 p = Numbered(n, ask);
        ok = send.Put(p) && ok;
    }
    return ok;
}

inline uint32_t NumberOf(const CPackV7& p) { uint32_t n; std::memcpy(&n, p.m_Buf + 14, 4); return n; }

// The reports in English for the time of a test.
struct English {
    English() : m_Old(g_StringENU) { g_StringENU = true; }
    ~English() { g_StringENU = m_Old; }
    bool m_Old;
};

// Lines that the derived classes of the application would write to a log.
struct Reports {
    void Add(const wchar_t* line) { std::lock_guard<std::mutex> lock(m_Mutex); m_Lines.emplace_back(line); }
    // The lines that contain `part`; all of them for "".
    int Count(const std::wstring& part = L"")
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return static_cast<int>(std::count_if(m_Lines.begin(), m_Lines.end(),
                                              [&](const std::wstring& l) { return l.find(part) != l.npos; }));
    }
    bool WaitFor(const std::wstring& part) { return WaitUntil([&] { return Count(part) > 0; }); }

    std::mutex m_Mutex;
    std::vector<std::wstring> m_Lines;
};

class TestSend : public CSendV7 {
public:
    TestSend(BasePoolThread* pool, CReceivV7* receiv, Reports& reports, const CIdentV7& peer, int port)
        : CSendV7(pool), m_Receiv(receiv), m_Reports(reports)
    {
        m_Ident = peer;
        m_Addr = LocalHostIPv6();
        m_Port = port;
    }
    ~TestSend() override { StopOnly(); }

    void IsNoLink() override { ++m_NoLink; }
    void BadPut(const wchar_t* text) override { m_Reports.Add(text); }
    void BadPutErr(const wchar_t* text, int) override { m_Reports.Add(text); }
    void BadPutMes(const wchar_t* text, const unsigned char*, int) override { m_Reports.Add(text); }
    CReceivV7* GetReceiv() override { return m_Receiv; }

    std::atomic<int> m_NoLink{0};

private:
    CReceivV7* m_Receiv;
    Reports& m_Reports;
};

class TestReceiv : public CReceivV7 {
public:
    TestReceiv(BasePoolThread* pool, const CIdentV7& own) : CReceivV7(pool), m_Pool(pool)
    {
        m_Ident = own;
        m_Key = LinkKey();
    }
    ~TestReceiv() override
    {
        Stop();
        m_Senders.clear();   // the receive procedure, their other user, has ended
    }

    // A sender for `peer` at [::1]:port, started.
    TestSend* AddSender(const CIdentV7& peer, int port, const CSendV7::Timing& timing = {})
    {
        TestSend* send;
        {
            std::lock_guard<std::mutex> lock(m_Mutex);
            send = &m_Senders.emplace_back(m_Pool, this, m_Reports, peer, port);
            send->m_Timing = timing;
        }
        send->Start();
        return send;
    }

    CSendV7* GetSend(const CIdentV7& ident) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        for (TestSend& send : m_Senders)
            if (send.m_Ident == ident) return &send;
        return nullptr;
    }
    // Any peer that the receiver accepts gets a sender, as on a serving side.
    CSendV7* NewSender(const CIdentV7& ident, const in6_addr&, int port, const CKeySys&, const CReceivV7*) override
    {
        ++m_NewSenders;
        return AddSender(ident, port);
    }
    void HandlingData(const CPackV7& pack, const CSendV7* send) override
    {
        // Bare acknowledgements and link packets are not the test's data.
        if (pack.m_Class != CPackV7::classData || pack.m_Typ == CPackV7::packEmpty) return;
        if (m_Record) {
            std::lock_guard<std::mutex> lock(m_Mutex);
            m_Delivered.push_back(pack);
        }
        ++m_Count;
        if (m_OnData) m_OnData(pack, send);
    }
    bool ChanDecod(const unsigned char* data, int len, CPackV7& pack, CKeySys& key, bool& byCloud) override
    {
        byCloud = false;
        key = m_AltKey;
        return !m_AltKey.IsEmpty() && pack.ChanDecod(data, len, m_AltKey.Data());
    }
    void BadPut(const wchar_t* text, bool) override { m_Reports.Add(text); }
    void BadPutErr(const wchar_t* text, int) override { m_Reports.Add(text); }
    void BadPutMes(const wchar_t* text, const unsigned char*, int, bool) override { m_Reports.Add(text); }

    std::vector<CPackV7> Delivered()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Delivered;
    }
    size_t DeliveredCount() const { return m_Count; }
    bool WaitDelivered(size_t n, std::chrono::milliseconds limit = 60s)
    {
        return WaitUntil([&] { return DeliveredCount() >= n; }, limit);
    }

    Reports m_Reports;
    std::atomic<int> m_NewSenders{0};
    std::atomic<bool> m_FailSends{false};   // every sendto fails (ENETUNREACH)
    // Set before Start: a second key that ChanDecod tries; the share of
    // outgoing datagrams dropped, drawn from m_Rng; whether delivered packets
    // are kept, and what else to do with them.
    CKeySys m_AltKey;
    double m_Loss = 0;
    std::mt19937 m_Rng;
    bool m_Record = true;
    std::function<void(const CPackV7&, const CSendV7*)> m_OnData;

protected:
    int SendDatagram(int socket, const unsigned char* data, int len, const sockaddr_in6& to) override
    {
        if (m_FailSends) {
            errno = ENETUNREACH;
            return -1;
        }
        // Under the socket mutex: the engine needs no lock of its own.
        if (m_Loss > 0 && std::uniform_real_distribution<double>(0, 1)(m_Rng) < m_Loss) return len;
        return CReceivV7::SendDatagram(socket, data, len, to);
    }

private:
    BasePoolThread* m_Pool;
    std::mutex m_Mutex;
    std::list<TestSend> m_Senders;
    std::vector<CPackV7> m_Delivered;
    std::atomic<size_t> m_Count{0};
};

// [::1]:port.
inline sockaddr_in6 LocalHost(int port) { return {AF_INET6, htons(static_cast<uint16_t>(port)), 0, LocalHostIPv6(), 0}; }

// A bare UDP socket on [::1] that codes and decodes by hand.
class RawPeer {
public:
    RawPeer() : m_Fd(socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in6 sa = LocalHost(0);
        socklen_t len = sizeof sa;
        bind(m_Fd, reinterpret_cast<sockaddr*>(&sa), len);
        getsockname(m_Fd, reinterpret_cast<sockaddr*>(&sa), &len);
        m_Port = ntohs(sa.sin6_port);
    }
    ~RawPeer() { close(m_Fd); }
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    int Port() const { return m_Port; }
    std::wstring Name() const { return L"[::1]:" + std::to_wstring(m_Port); }

    void SendBytes(const unsigned char* data, int len, int port)
    {
        const sockaddr_in6 to = LocalHost(port);
        sendto(m_Fd, data, static_cast<size_t>(len), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
    void Send(CPackV7 pack, int port, const CKeySys& key = LinkKey())
    {
        unsigned char buf[CPackV7::kBufSize];
        SendBytes(buf, pack.ChanCod(buf, sizeof buf, key.Data()), port);
    }
    // A numbered packet from `src` to `dst` with ident and repl, sent to `port`.
    void SendFrom(const CIdentV7& src, const CIdentV7& dst, int port, int ident, int repl, uint32_t n = 0)
    {
        CPackV7 p = Numbered(n);
        p.SetID(src, dst);
        p.SetIdent(ident);
        p.AddRepl(static_cast<unsigned char>(repl));
        Send(p, port);
    }
    // The next datagram within `ms`, decoded with the link key.
    bool Recv(CPackV7& pack, int ms = 10000)
    {
        pollfd p{m_Fd, POLLIN, 0};
        if (poll(&p, 1, ms) != 1) return false;
        unsigned char buf[CPackV7::kBufSize];
        const ssize_t n = recv(m_Fd, buf, sizeof buf, 0);
        return n > 0 && pack.ChanDecod(buf, static_cast<int>(n), LinkKey().Data());
    }

private:
    int m_Fd;
    int m_Port = 0;
};

// A configurator (kProg) whose sender for kUnit talks to a raw peer, which
// plays the unit. `setup` configures the receiver before it starts.
struct ToRawPeer {
    explicit ToRawPeer(const CSendV7::Timing& timing = {}, int timeTry = 2000,
                       const std::function<void(TestReceiv&)>& setup = {})
    {
        if (setup) setup(me);
        me.Start();
        send = me.AddSender(kUnit, peer.Port(), timing);
        send->m_TimeTry = timeTry;
    }
    // The next datagram that carries an ident or a body (not a bare acknowledgement).
    bool Next(CPackV7& p, int ms = 10000)
    {
        while (peer.Recv(p, ms))
            if (p.m_Ident != 0 || p.m_Class != CPackV7::classData || p.m_Typ != CPackV7::packEmpty) return true;
        return false;
    }
    // A bare acknowledgement from the unit (repl 0: just a sign of life).
    void Ack(int ident)
    {
        CPackV7 p(kUnit, kProg);
        p.AddRepl(static_cast<unsigned char>(ident));
        peer.Send(p, me.GetPort());
    }

    English english;
    BasePoolThread pool{"test", false};
    RawPeer peer;
    TestReceiv me{&pool, kProg};
    TestSend* send = nullptr;
};

}  // namespace v7test
