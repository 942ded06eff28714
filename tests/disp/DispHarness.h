#pragma once
// Test doubles for the dispatcher exchange: sessions and receivers on ::1 that
// record what passes through them; a session can lose datagrams on the way out.
#include "base/BasePoolThread.h"
#include "base/IPv6.h"
#include "support/WaitUntil.h"
#include "disp/CReceivDisp.h"
#include "disp/CSendDisp.h"
#include "link/CIdeaKey.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace disptest {

using Bytes = std::vector<unsigned char>;

// A record written by the product's threads and read by the test. Lock()->
// holds the mutex to the end of the statement.
template <typename T>
class Guarded {
public:
    struct Locked {
        std::unique_lock<std::mutex> lock;
        T* value;
        T* operator->() const { return value; }
    };
    Locked Lock() { return {std::unique_lock<std::mutex>(m_Mutex), &m_Value}; }

private:
    std::mutex m_Mutex;
    T m_Value{};
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
    return Bytes(out, out + p.Encoding(out, sizeof out, &key));
}

struct SessionLog {
    std::vector<int> received;   // indexes of the Msg messages delivered (-1: another message)
    std::vector<int> packets;    // idents of the packets delivered
    std::vector<int> idents;     // ident of every datagram sent, lost ones included
    std::vector<Bytes> replies;  // and its reply bytes
    std::vector<DBString> bad;
    int disconnects = 0;
    int lost = 0;
    std::function<bool(int ident)> lose;   // whether a datagram goes astray; none: all arrive
};

// A session whose Send goes to a receiver's socket (or nowhere).
class TestSession : public CSendDisp {
public:
    TestSession(BasePoolThread* pool, CReceivDisp* socket, int peerPort)
        : CSendDisp(pool, LocalHostIPv6(), peerPort, 1, nullptr), m_Socket(socket) {}
    ~TestSession() override { Stop(); }

    Guarded<SessionLog> log;
    void Lose(std::function<bool(int)> lose) { log.Lock()->lose = std::move(lose); }
    int Received() { return static_cast<int>(log.Lock()->received.size()); }
    int SendsOf(int ident)
    {
        auto l = log.Lock();
        return static_cast<int>(std::count(l->idents.begin(), l->idents.end(), ident));
    }

    // LogSend and then Send run under the session's send mutex.
    void LogSend(const in6_addr&, int, const CPackDisp& pack) override
    {
        int count = 0;
        const unsigned char* r = pack.GetReply(count);
        auto l = log.Lock();
        l->idents.push_back(pack.Ident());
        l->replies.emplace_back(r, r + count);
        m_Lost = l->lose && l->lose(pack.Ident());
        l->lost += m_Lost;
    }
    int Send(const unsigned char* data, int length, const in6_addr& peer, int port) override
    {
        return m_Lost || !m_Socket ? length : m_Socket->Send(data, length, peer, port);
    }
    // No BegGet here: a session that does not rewind the packet loses messages.
    void HandlingData(CPackDisp& pack) override
    {
        log.Lock()->packets.push_back(pack.Ident());
        for (CMesDisp m; pack.GetMes(m);) {
            int unit = 0, len = 0, index = -1;
            unsigned char data[CMesDisp::MaxLen];
            if (m.Parse_Msg(unit, len, data, sizeof data) && len >= 4) std::memcpy(&index, data, sizeof index);
            log.Lock()->received.push_back(index);
        }
    }
    void Disconnect(const in6_addr&, int) override
    {
        ++log.Lock()->disconnects;
        StopSendOnly();
    }
    void BadPut(const wchar_t* text) override { log.Lock()->bad.emplace_back(text); }

private:
    CReceivDisp* m_Socket;
    bool m_Lost = false;   // under the send mutex, from LogSend to Send
};

struct ReceiverLog {
    int datagrams = 0;
    int connects = 0;
    std::vector<int> errors;
    std::map<int, CSendDisp*> sessions;   // by the sender's port
};

// A receiver on ::1, started unless told not to, that gives each datagram to
// the session routed for the sender's port.
class TestReceiver : public CReceivDisp {
public:
    explicit TestReceiver(BasePoolThread* pool, int port = 0, bool start = true) : CReceivDisp(pool, false)
    {
        SetBind(LocalHostIPv6(), port);
        if (start) Start();
    }
    ~TestReceiver() override { Stop(); }

    Guarded<ReceiverLog> log;
    using CReceivDisp::SocketFd;
    void Route(int port, CSendDisp* session) { log.Lock()->sessions[port] = session; }
    int SendTo(int port, const Bytes& data)
    {
        return Send(data.data(), static_cast<int>(data.size()), LocalHostIPv6(), port);
    }

    void LogPut(const in6_addr&, int, const unsigned char*, int) override { ++log.Lock()->datagrams; }
    CSendDisp* Connect(const in6_addr&, int, const unsigned char*, int) override
    {
        ++log.Lock()->connects;
        return nullptr;
    }
    CSendDisp* GetSendRemote(const in6_addr&, int port) override
    {
        auto l = log.Lock();
        return l->sessions.count(port) ? l->sessions[port] : nullptr;
    }
    void BadPutErr(const wchar_t*, int code) override { log.Lock()->errors.push_back(code); }
};

// Two sessions talking over two real sockets on ::1, each window's timer
// running every timerMs of real time (one tick of window time each).
struct LoopbackPair {
    explicit LoopbackPair(int timerMs = CDispWind::kTickMs)
    {
        sockA.Route(sockB.Port(), &a);
        sockB.Route(sockA.Port(), &b);
        a.m_Timing.timerMs = timerMs;
        b.m_Timing.timerMs = timerMs;
        a.Start();
        b.Start();
    }
    // Readers first, so that no datagram reaches a session being destroyed.
    ~LoopbackPair()
    {
        sockA.Stop();
        sockB.Stop();
    }

    BasePoolThread pool{"disptest", false};
    TestReceiver sockA{&pool}, sockB{&pool};
    TestSession a{&pool, &sockA, sockB.Port()}, b{&pool, &sockB, sockA.Port()};
};

// A timer period that never comes within a test: the test ticks by hand.
constexpr int kManualTicks = 3600 * 1000;

}  // namespace disptest
