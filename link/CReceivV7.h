#pragma once
// CReceivV7: one UDP socket of the V7 link (AF_INET6; IPv4 peers appear as
// mapped addresses). Its procedure receives every datagram, decodes it, finds
// the CSendV7 that stands for the sender (or lets a derived class create one)
// and decides: deliver the packet (HandlingData), forward it
// (CSendV7::Retransmission) or refuse it with a reason in the bad log. The
// order of the checks is where link security and address tracking are
// decided, and it stays as written in WinSockProc's helpers. The same socket
// sends for every sender attached to it (Send).
//
// The class is abstract: a derived class finds the senders (GetSend), takes
// the packets meant for it (HandlingData) and writes the reports. A side that
// serves (a unit, or a relay for tools) binds a given port (SetBind) and
// creates a sender for each new peer in NewSender.
//
// Threads: the owner (Start, Stop); "CReceivV7::WinSockProc" on the pool, the
// only reader of the socket, which runs the checks, HandlingData and the
// senders' MngReply, MngIdentInp and SendReply; any sender's thread in Send.
// Locks: the socket mutex is the innermost lock of the UDP path (after a
// relay list, the window, the send mutex and the acknowledgement list). It
// guards sendto against the rebind after a socket error, and the descriptor.
// WinSockProc holds no lock when it calls into a sender or a derived class.
//
// Configuration (m_Addr, m_BindPort, m_Ident, m_Key, m_Timing) is set before
// Start and read by the senders' threads without a lock.
//
// A derived class must call Stop in its own destructor: the procedure calls
// the virtual operations until it has ended.
#include "link/CKeySys.h"
#include "link/CPackV7.h"
#include "link/V7Timing.h"

#include <netinet/in.h>

#include <atomic>
#include <mutex>

class BasePoolThread;
class CSendV7;

class CReceivV7 {
public:
    static constexpr int kMaxDatagram = 1024;
    static constexpr int kMinDatagram = 15;       // the smallest coded packet, with a nonce
    static constexpr int kChangeIPSeconds = 3;    // between two changes of a peer's address

    // The pause before a rebind and the seconds clock of the 3-second rule.
    struct Timing {
        int rebindPauseMs = 1000;
        V7SecondsClock now;
    };

    explicit CReceivV7(BasePoolThread* pool);
    CReceivV7(const CReceivV7&) = delete;
    CReceivV7& operator=(const CReceivV7&) = delete;
    virtual ~CReceivV7();

    // May create a sender for a packet from an unknown peer; null: none.
    virtual CSendV7* NewSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key,
                               const CReceivV7* receiv);
    // True asks for the unknown-device report.
    virtual bool UnknownSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key);
    // An incoming packet (plain image with its CRC).
    virtual void LogPut(const CSendV7* send, const in6_addr& addr, int port, const unsigned char* data, int len);
    // isError: a refusal or an address change, against a plain notice.
    virtual void BadPut(const wchar_t* text, bool isError) = 0;
    virtual void BadPutErr(const wchar_t* text, int code) = 0;
    virtual void BadPutMes(const wchar_t* text, const unsigned char* data, int len, bool isError) = 0;
    // A packet for us, from a known sender, not a repeat.
    virtual void HandlingData(const CPackV7& pack, const CSendV7* send) = 0;
    virtual CSendV7* GetSend(const CIdentV7& ident) = 0;
    // Told after the sender's address has changed.
    virtual void IsChangIP(const CSendV7* send);
    // A peer reset or closed: reports text + "Remote device break connect";
    // true goes on receiving.
    virtual bool ConnReset(const wchar_t* text, int code);
    // Second try at decoding after the link key failed: true with the key
    // that decoded and whether the packet came through VELKCloud.
    virtual bool ChanDecod(const unsigned char* data, int len, CPackV7& pack, CKeySys& key, bool& byCloud);
    virtual DBString NameApp();

    // Binds and starts the procedure; throws ErrorXML (text, errno) when the
    // socket cannot be bound. Nothing happens while running.
    void Start();
    // Ends the procedure and closes the socket.
    void Stop();
    // Creates and binds the socket: 0, or the errno with the failing step in
    // `text`.
    int Bind(DBString& text);
    // sendto under the socket mutex: its result, or len without sending when
    // addr is the nil address. A failure is reported with errno.
    int Send(const unsigned char* data, int len, const in6_addr& addr, int port);

    // Where to bind: the nil address is any address, port 0 a port that the
    // system chooses. Before Start.
    void SetBind(const in6_addr& addr, int port);
    // The port actually bound.
    int GetPort() const { return m_Port; }
    bool IsRun() const { return m_Run; }
    time_t Now() const { return V7Now(m_Timing.now); }

protected:
    // The single way out of the socket (a test may drop or count datagrams
    // here). Called under the socket mutex.
    virtual int SendDatagram(int socket, const unsigned char* data, int len, const sockaddr_in6& to);
    // One datagram of at least kMinDatagram bytes, on WinSockProc. Here:
    // MngDatagram. A derived class may refuse a sender's address first, or
    // hold a lock of its own across the whole of the datagram's handling.
    virtual void Receive(const unsigned char* data, int len, const in6_addr& addr, int port);
    // Everything after recvfrom for one datagram.
    void MngDatagram(const unsigned char* data, int len, const in6_addr& addr, int port);

private:
    static bool WinSockProc(void* receiv);
    int BindLocked(DBString& text);
    // False when the procedure must end.
    bool ReceiveOne(unsigned char* buf);
    // Steps for a packet from a sender we know; the packet's own checks.
    void MngKnown(CSendV7* send, CPackV7& pack, const CKeySys& key, bool byCloud, const in6_addr& addr, int port);
    // False when the packet must not go on.
    bool CheckOrigin(CSendV7* send, const CPackV7& pack, const CKeySys& key, bool byCloud, const in6_addr& addr,
                     int port);
    void TrackAddress(CSendV7* send, const CPackV7& pack, const in6_addr& addr, int port);
    void MngUnknown(CPackV7& pack, const CKeySys& key, bool byCloud, const in6_addr& addr, int port);

    std::mutex m_SockMutex;
    std::atomic<bool> m_Run{false};
    BasePoolThread* m_Pool;
    std::atomic<int> m_Port{0};

public:
    in6_addr m_Addr{};           // to bind; nil: any
    int m_BindPort = 0;          // to bind; 0: chosen by the system
    CIdentV7 m_Ident;            // our own identifier
    CKeySys m_Key;               // our default link key
    std::atomic<time_t> m_TimeServer{0};   // last packet from V7Net::kNodeServer
    Timing m_Timing;

private:
    int m_Socket = -1;           // written under m_SockMutex; read by WinSockProc
};
