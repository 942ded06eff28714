#pragma once
// Stand-ins for the sibling tools, for the tools' relays: a V7 tool, which
// talks to the configurator as if it were the unit, and a dispatcher tool,
// which takes it for a dispatcher server. Both keep every packet that comes
// back, so that a program can print it and a test can look at it. They are
// test equipment: the real tools are separate programs.
//
// Threads: the owner's thread (Open, Close, the requests, the look-ups);
// the receivers' procedures on the pool given, which only store and wake.
// Lock: the store's mutex is a leaf.
#include "disp/CReceivDisp.h"
#include "disp/CSendDisp.h"
#include "link/CReceivV7.h"
#include "link/CSendV7.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class BasePoolThread;

// Packets as they come, with a wait.
template <class T>
class PeerStore {
public:
    void Add(const T& item)
    {
        {
            std::lock_guard<std::mutex> lock(m_Mutex);
            m_Items.push_back(item);
        }
        m_Cond.notify_all();
    }
    // Waits up to `limit` until `count` items satisfy `pred`.
    bool Wait(const std::function<bool(const T&)>& pred, size_t count, std::chrono::milliseconds limit)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        return m_Cond.wait_for(lock, limit, [&] { return CountLocked(pred) >= count; });
    }
    size_t Count(const std::function<bool(const T&)>& pred)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return CountLocked(pred);
    }
    std::vector<T> All()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Items;
    }

private:
    size_t CountLocked(const std::function<bool(const T&)>& pred) const
    {
        size_t n = 0;
        for (const T& item : m_Items)
            if (pred(item)) ++n;
        return n;
    }
    std::mutex m_Mutex;
    std::condition_variable m_Cond;
    std::vector<T> m_Items;
};

// A V7 tool: one socket, one link to "the unit" at the relay's address.
class ToolPeerV7 : public CReceivV7 {
public:
    explicit ToolPeerV7(BasePoolThread& pool);
    ~ToolPeerV7() override;

    // Draws the tool's identifier, binds a free port and starts the link to
    // the unit `node` behind the relay at `relay`, `port`, under `key`.
    void Open(const in6_addr& relay, int port, int node, const CKeySys& key);
    // Tells the unit (packLinkClose) and stops.
    void Close();
    // A request from this tool to the unit.
    CPackV7 NewPack() const;
    // Sequenced, acknowledged delivery.
    bool Request(CPackV7& pack);
    // At once, as it stands (a test sets its own ident).
    bool SendRaw(CPackV7& pack);

    CIdentV7 Ident() const { return m_Ident; }
    // Everything received, acknowledgements included, in order.
    PeerStore<CPackV7> m_Got;
    // The repl of every packet received (0 included).
    PeerStore<int> m_Repls;

    CSendV7* NewSender(const CIdentV7&, const in6_addr&, int, const CKeySys&, const CReceivV7*) override;
    void BadPut(const wchar_t* text, bool isError) override;
    void BadPutErr(const wchar_t* text, int code) override;
    void BadPutMes(const wchar_t* text, const unsigned char* data, int len, bool isError) override;
    void HandlingData(const CPackV7& pack, const CSendV7* send) override;
    // Whoever speaks for the unit (on USB the relay names it 1.0).
    CSendV7* GetSend(const CIdentV7& ident) override;

private:
    class Link : public CSendV7 {
    public:
        Link(ToolPeerV7& owner, BasePoolThread& pool);
        ~Link() override;
        void IsNoLink() override {}
        void BadPut(const wchar_t* text) override;
        void BadPutErr(const wchar_t* text, int code) override;
        void BadPutMes(const wchar_t* text, const unsigned char* data, int len) override;
        CReceivV7* GetReceiv() override { return &m_Owner; }
        void MngReply(int repl) override;

    private:
        ToolPeerV7& m_Owner;
    };
    Link m_Link;
};

// A dispatcher tool: one session with the relay at ::1, `port`.
class ToolPeerDisp : public CReceivDisp {
public:
    explicit ToolPeerDisp(BasePoolThread& pool);
    ~ToolPeerDisp() override;

    void Open(int port);
    // Sends CloseLink and ends the session.
    void Close();
    // A SendMsg to unit 1 with the CPackMes image `data`.
    void SendMsg(const std::vector<unsigned char>& data, int tag = 0);
    int LocalPort() const { return Port(); }

    // The data of every Msg received.
    PeerStore<std::vector<unsigned char>> m_Msgs;

    CSendDisp* GetSendRemote(const in6_addr& from, int port) override;

private:
    class Session : public CSendDisp {
    public:
        Session(ToolPeerDisp& owner, BasePoolThread& pool, int port);
        ~Session() override;
        int Send(const unsigned char* data, int length, const in6_addr& peer, int port) override;
        void HandlingData(CPackDisp& pack) override;

    private:
        ToolPeerDisp& m_Owner;
    };
    BasePoolThread& m_Pool;
    std::unique_ptr<Session> m_Session;
};

// A lift-network message for the dispatcher tool's SendMsg, as the image of
// a CPackMes: from station `orig` to `dest`, of message type `type`, with
// `body` behind the six header bytes.
std::vector<unsigned char> MesImage(int orig, int dest, int type, const std::vector<unsigned char>& body);
