#pragma once
// Test doubles for the dispatcher exchange: a quiet pool, a session that
// records what it sends and receives and can lose datagrams on the way out,
// and a receiver that routes to the sessions it is given.
#include "base/BasePoolThread.h"
#include "base/IPv6.h"
#include "disp/CReceivDisp.h"
#include "disp/CSendDisp.h"
#include "link/CIdeaKey.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace disptest {

using Bytes = std::vector<unsigned char>;

// Polls for a condition with a deadline far beyond any normal wait.
inline bool WaitUntil(const std::function<bool()>& done, int seconds = 30)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

class QuietPool : public BasePoolThread {
public:
    QuietPool() : BasePoolThread("disptest", false) {}
    ~QuietPool() override { Stop(); }
    void PutLog(const std::string&) override {}
};

// Shortens the exchange's times for the sessions built while it lives.
class FastTiming {
public:
    FastTiming(int tickMs, int retryMs)
    {
        CSendDisp::Timing().tickMs = tickMs;
        CSendDisp::Timing().retryMs = retryMs;
    }
    ~FastTiming()
    {
        CSendDisp::Timing().tickMs = 500;
        CSendDisp::Timing().retryMs = 2000;
    }
};

// A Msg carrying `index` in its first four bytes, padded to `size` data bytes.
inline CMesDisp IndexMes(int index, int size = 4)
{
    Bytes data(static_cast<size_t>(size), 0x5A);
    std::memcpy(data.data(), &index, sizeof index);
    CMesDisp m;
    m.Create_Msg(1, size, data.data());
    return m;
}

// The datagram a peer with the protocol's key would send.
inline Bytes Datagram(int ident, std::initializer_list<CMesDisp> messages)
{
    CPackDisp p;
    for (const CMesDisp& m : messages) p.AddMes(m);
    p.SetIdent(ident);
    CIdeaCtx key;
    key.Key(CSendDisp::DefaultKey().Data());
    unsigned char out[CPackDisp::BufSize];
    const int n = p.Encoding(out, sizeof out, &key);
    return Bytes(out, out + n);
}

struct SentRecord {
    int ident;
    Bytes replies;
    bool dropped;
    std::chrono::steady_clock::time_point at;
};

// A session whose Send goes to a receiver's socket (or nowhere), through an
// optional loss model. Everything it records is read under Lock().
class TestSession : public CSendDisp {
public:
    TestSession(BasePoolThread* pool, CReceivDisp* socket, int peerPort)
        : CSendDisp(pool, LocalHostIPv6(), peerPort, 1, nullptr), m_Socket(socket)
    {
    }
    ~TestSession() override { Stop(); }

    // Outgoing datagrams are lost: all of them, or `percent` at random with a
    // fixed seed. The random loss leaves each numbered packet at least one of
    // its five sends; losing all five is the give-up path, tested on its own.
    void LoseAll(bool on)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_LoseAll = on;
    }
    void LoseRandomly(int percent, unsigned seed)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Percent = percent;
        m_Rng.seed(seed);
    }
    // Loses the first send of each of these idents.
    void LoseFirstSendOf(std::vector<int> idents)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_LoseFirst = std::move(idents);
    }

    std::unique_lock<std::mutex> Lock() { return std::unique_lock<std::mutex>(m_Mutex); }
    std::vector<int> received;        // indexes of the Msg messages delivered
    std::vector<SentRecord> sent;
    std::vector<DBString> badLines;
    int disconnects = 0;
    std::chrono::steady_clock::time_point disconnectAt;

    int Received()
    {
        auto lock = Lock();
        return static_cast<int>(received.size());
    }
    int SendsOf(int ident)
    {
        auto lock = Lock();
        return static_cast<int>(std::count_if(sent.begin(), sent.end(), [&](const SentRecord& r) { return r.ident == ident; }));
    }

    void LogSend(const in6_addr&, int, const CPackDisp& pack) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Pending = pack;   // Send follows at once, under the same send mutex
    }
    int Send(const unsigned char* data, int length, const in6_addr& peer, int port) override
    {
        {
            std::lock_guard<std::mutex> lock(m_Mutex);
            int count = 0;
            const unsigned char* r = m_Pending.GetReply(count);
            const int ident = m_Pending.Ident();
            const bool drop = Lose(ident);
            sent.push_back({ident, Bytes(r, r + count), drop, std::chrono::steady_clock::now()});
            if (drop) return length;
        }
        return m_Socket ? m_Socket->Send(data, length, peer, port) : length;
    }
    void HandlingData(CPackDisp& pack) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        pack.BegGet();
        for (CMesDisp m; pack.GetMes(m);) {
            int unit = 0, len = 0, index = -1;
            unsigned char data[CMesDisp::MaxLen];
            if (m.Parse_Msg(unit, len, data, sizeof data) && len >= 4) std::memcpy(&index, data, sizeof index);
            received.push_back(index);
        }
    }
    void Disconnect(const in6_addr&, int) override
    {
        {
            std::lock_guard<std::mutex> lock(m_Mutex);
            ++disconnects;
            disconnectAt = std::chrono::steady_clock::now();
        }
        StopSendOnly();
    }
    void BadPut(const wchar_t* text) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        badLines.emplace_back(text);
    }

private:
    bool Lose(int ident)
    {
        if (m_LoseAll) return true;
        for (int& id : m_LoseFirst) {
            if (id == ident) {
                id = -1;
                return true;
            }
        }
        if (m_Percent == 0) return false;
        const bool drop = static_cast<int>(m_Rng() % 100) < m_Percent;
        if (ident == 0) return drop;
        int& row = m_LostInARow[ident];
        row = drop && row < CDispWind::MaxTries - 1 ? row + 1 : 0;
        return row > 0;
    }

    CReceivDisp* m_Socket;
    std::mutex m_Mutex;
    CPackDisp m_Pending;
    bool m_LoseAll = false;
    std::vector<int> m_LoseFirst;
    int m_Percent = 0;
    std::mt19937 m_Rng;
    std::map<int, int> m_LostInARow;   // ident -> sends lost one after the other
};

// A receiver on ::1 that gives each datagram to the session registered for
// the sender's port, and records what it saw.
class TestReceiver : public CReceivDisp {
public:
    explicit TestReceiver(BasePoolThread* pool, int port = 0) : CReceivDisp(pool, false)
    {
        SetBind(LocalHostIPv6(), port);
    }
    ~TestReceiver() override { Stop(); }

    void Route(int port, CSendDisp* session)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Sessions[port] = session;
    }
    // What the receiver has seen so far.
    struct Seen {
        int datagrams = 0;
        int connects = 0;
        std::vector<int> errors;
    };
    Seen Get()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Seen;
    }
    int Fd() { return SocketFd(); }
    int SendTo(int port, const Bytes& data) { return Send(data.data(), static_cast<int>(data.size()), LocalHostIPv6(), port); }

    void LogPut(const in6_addr&, int, const unsigned char*, int) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        ++m_Seen.datagrams;
    }
    CSendDisp* Connect(const in6_addr&, int, const unsigned char*, int) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        ++m_Seen.connects;
        return nullptr;
    }
    CSendDisp* GetSendRemote(const in6_addr&, int port) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        const auto it = m_Sessions.find(port);
        return it == m_Sessions.end() ? nullptr : it->second;
    }
    void BadPutErr(const wchar_t*, int code) override
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Seen.errors.push_back(code);
    }

private:
    std::mutex m_Mutex;
    std::map<int, CSendDisp*> m_Sessions;
    Seen m_Seen;
};

// Two sessions talking over two real sockets on ::1.
class LoopbackPair {
public:
    LoopbackPair() : sockA(&pool), sockB(&pool)
    {
        sockA.Start();
        sockB.Start();
        a = std::make_unique<TestSession>(&pool, &sockA, sockB.Port());
        b = std::make_unique<TestSession>(&pool, &sockB, sockA.Port());
        sockA.Route(sockB.Port(), a.get());
        sockB.Route(sockA.Port(), b.get());
        a->Start();
        b->Start();
    }
    ~LoopbackPair()
    {
        // Readers first, so that no datagram reaches a session being destroyed.
        sockA.Stop();
        sockB.Stop();
        a->Stop();
        b->Stop();
    }

    QuietPool pool;
    TestReceiver sockA, sockB;
    std::unique_ptr<TestSession> a, b;
};

}  // namespace disptest
