#pragma once
// Two ends of the V7 UDP link for tests and the benchmark: small subclasses
// of CReceivV7 and CSendV7 that record what the application would log and
// deliver, and a raw UDP peer that the test drives byte by byte.
#include "base/BasePoolThread.h"
#include "base/IPv6.h"
#include "base/StringRes.h"
#include "link/CReceivV7.h"
#include "link/CSendV7.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
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

inline CKeySys LinkKey()
{
    CKeySys key;
    key.SetDefault();
    return key;
}

// Waits until `done` holds, checking every millisecond; false after `limit`.
inline bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = 20s)
{
    for (const auto end = Clock::now() + limit; !done();) {
        if (Clock::now() > end) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

// A sequenced request carrying a number.
inline CPackV7 Numbered(uint32_t n, int ask = CPackV7::askNVRAM)
{
    CPackV7 p;
    p.SetAsk(CPackV7::packAsk, ask, 1, reinterpret_cast<const unsigned char*>(&n), 4);
    return p;
}

inline uint32_t NumberOf(const CPackV7& p)
{
    uint32_t n;
    std::memcpy(&n, p.m_Buf + 14, 4);
    return n;
}

// The reports in English for the time of a test.
struct English {
    English() : m_Old(g_StringENU) { g_StringENU = true; }
    ~English() { g_StringENU = m_Old; }
    bool m_Old;
};

// Lines that the derived classes of the application would write to the bad log.
class Reports {
public:
    void Add(const std::wstring& line)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Lines.push_back(line);
    }
    int Count(const std::wstring& part)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        int n = 0;
        for (const auto& l : m_Lines) n += l.find(part) != std::wstring::npos;
        return n;
    }
    bool WaitFor(const std::wstring& part) { return WaitUntil([&] { return Count(part) > 0; }); }
    std::vector<std::wstring> All()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Lines;
    }

private:
    std::mutex m_Mutex;
    std::vector<std::wstring> m_Lines;
};

class TestReceiv;

class TestSend : public CSendV7 {
public:
    TestSend(BasePoolThread* pool, TestReceiv* receiv, const CIdentV7& peer, int port)
        : CSendV7(pool), m_Receiv(receiv)
    {
        m_Ident = peer;
        m_Addr = LocalHostIPv6();
        m_Port = port;
    }
    ~TestSend() override { StopOnly(); }

    void IsNoLink() override { ++m_NoLink; }
    void BadPut(const wchar_t* text) override;
    void BadPutErr(const wchar_t* text, int) override;
    void BadPutMes(const wchar_t* text, const unsigned char*, int) override;
    CReceivV7* GetReceiv() override;

    std::atomic<int> m_NoLink{0};

private:
    TestReceiv* m_Receiv;
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
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Senders.clear();
    }

    // A sender for `peer` at [::1]:port, started.
    TestSend* AddSender(const CIdentV7& peer, int port, const CSendV7::Timing& timing = {})
    {
        auto send = std::make_unique<TestSend>(m_Pool, this, peer, port);
        send->m_Timing = timing;
        TestSend* raw = send.get();
        {
            std::lock_guard<std::mutex> lock(m_Mutex);
            m_Senders[peer.GetNode()] = std::move(send);
        }
        raw->Start();
        return raw;
    }

    CSendV7* GetSend(const CIdentV7& ident) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        auto it = m_Senders.find(ident.GetNode());
        return it == m_Senders.end() ? nullptr : it->second.get();
    }
    CSendV7* NewSender(const CIdentV7& ident, const in6_addr&, int port, const CKeySys&, const CReceivV7*) override
    {
        ++m_NewSenders;
        return m_AllowNew ? AddSender(ident, port) : nullptr;
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
        if (m_AltKey.IsEmpty() || !pack.ChanDecod(data, len, m_AltKey.Data())) return false;
        key = m_AltKey;
        return true;
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

    // Drops this share of outgoing datagrams, drawn from a seeded engine.
    void SetLoss(double share, unsigned seed)
    {
        m_Loss = share;
        m_Rng.seed(seed);
    }
    std::atomic<bool> m_FailSends{false};   // every sendto fails (ENETUNREACH)

    Reports m_Reports;
    std::atomic<bool> m_AllowNew{false};
    std::atomic<int> m_NewSenders{0};
    CKeySys m_AltKey;   // a second key that ChanDecod tries; set before Start
    // Set before Start: whether delivered packets are kept, and what else to do with them.
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
    std::map<int, std::unique_ptr<TestSend>> m_Senders;
    std::vector<CPackV7> m_Delivered;
    std::atomic<size_t> m_Count{0};
    double m_Loss = 0;
    std::mt19937 m_Rng;
};

inline void TestSend::BadPut(const wchar_t* text) { m_Receiv->m_Reports.Add(text); }
inline void TestSend::BadPutErr(const wchar_t* text, int) { m_Receiv->m_Reports.Add(text); }
inline void TestSend::BadPutMes(const wchar_t* text, const unsigned char*, int) { m_Receiv->m_Reports.Add(text); }
inline CReceivV7* TestSend::GetReceiv() { return m_Receiv; }

// A bare UDP socket on [::1] that codes and decodes by hand.
class RawPeer {
public:
    RawPeer()
    {
        m_Fd = socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in6 sa{};
        sa.sin6_family = AF_INET6;
        sa.sin6_addr = LocalHostIPv6();
        bind(m_Fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa);
        socklen_t len = sizeof sa;
        getsockname(m_Fd, reinterpret_cast<sockaddr*>(&sa), &len);
        m_Port = ntohs(sa.sin6_port);
    }
    ~RawPeer() { close(m_Fd); }
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    int Port() const { return m_Port; }

    void SendBytes(const unsigned char* data, int len, int port)
    {
        sockaddr_in6 to{};
        to.sin6_family = AF_INET6;
        to.sin6_addr = LocalHostIPv6();
        to.sin6_port = htons(static_cast<uint16_t>(port));
        sendto(m_Fd, data, static_cast<size_t>(len), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
    }
    void Send(CPackV7 pack, int port, const CKeySys& key = LinkKey())
    {
        unsigned char buf[CPackV7::kBufSize];
        SendBytes(buf, pack.ChanCod(buf, sizeof buf, key.Data()), port);
    }
    // A packet from `src` to `dst` with ident and repl, sent to `port`.
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
