#pragma once
// UnitNet: a UDP port of the simulator, on the classes of the V7 link: a
// CReceivV7 for the socket and one CSendV7 (a "session") for each
// configurator that writes to it, so that the unit's answers are windowed,
// numbered, acknowledged and repeated like any peer's. Three roles:
//
//  - direct: the unit's own port, for the configurator's IP method. Packets
//    must be coded under the unit's link key (the key in its image, or the
//    default key).
//  - cloudButtons: the cloud server's port of the buttons method. Packets
//    come under the guest key. The server node 9999998 announces itself, the
//    unit is reported present, and the configurator's askInfo is held until
//    the unit's buttons are pressed (--buttons-after).
//  - cloudKey: the server's port of the key method. Packets come in the cloud
//    coding, whose carried key must be the unit's link key. The server node
//    9999997 announces itself.
//
// In the cloud roles the server carries the unit's end of the link in this
// process: once a configurator is authorised, its packets for the unit are
// answered from the one simulated unit (CUnit), as the unit's own port
// answers them. A packet for another identifier gets the refusal "bad
// identifier" (class 3, type 5, reason 7) from the identifier it asked for.
//
// Faults of a carrier: a seeded share of the datagrams sent is dropped,
// answers may be held back (--delay), and nothing at all leaves while the
// unit is off or silenced.
//
// Threads: the owner or the timer thread (Up, Down, on a restart); the
// receive procedure "CReceivV7::WinSockProc" (NewSender, GetSend,
// HandlingData, the reports); each session's two procedures; the timer
// thread (held answers, the buttons, the sweep of ended sessions).
// Locks, outermost first: the session mutex of this class, then the locks of
// the link (window, send mutex, acknowledgement list, socket mutex), then the
// unit's mutex. A session is freed only on the receive thread (whose packet
// is then for another session) or after the receive procedure has ended, so
// a pointer that the receive loop holds stays valid.
#include "link/CReceivV7.h"
#include "link/V7Net.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

class BasePoolThread;

namespace velkunit {

class CUnit;
class UnitLog;
class UnitTimer;

class UnitNet : public CReceivV7 {
public:
    enum class Role { direct, cloudButtons, cloudKey };
    struct Setup {
        Role role = Role::direct;
        in6_addr bind{};
        int port = 0;
        double drop = 0;
        unsigned seed = 1;
        int maxTry = 5;
        int retryMs = 2000;
        int delayMs = 0;
        double buttonsAfter = 2;   // negative: never
    };

    UnitNet(BasePoolThread* pool, CUnit& unit, UnitTimer& timer, UnitLog& log, const Setup& setup);
    ~UnitNet() override;

    // Binds (the same port again after the first time) and receives; throws
    // ErrorXML when the port cannot be bound.
    void Up();
    // Stops receiving and ends every session.
    void Down();
    // The port bound by the first Up.
    int Port() const { return m_Bound; }
    const char* Carrier() const;
    // The link key of the buttons method's guest account.

    CSendV7* NewSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key,
                       const CReceivV7* receiv) override;
    bool UnknownSender(const CIdentV7& ident, const in6_addr& addr, int port, const CKeySys& key) override;
    void BadPut(const wchar_t* text, bool isError) override;
    void BadPutErr(const wchar_t* text, int code) override;
    void BadPutMes(const wchar_t* text, const unsigned char* data, int len, bool isError) override;
    void HandlingData(const CPackV7& pack, const CSendV7* send) override;
    CSendV7* GetSend(const CIdentV7& ident) override;
    bool ChanDecod(const unsigned char* data, int len, CPackV7& pack, CKeySys& key, bool& byCloud) override;
    DBString NameApp() override { return L"velkunit"; }

protected:
    int SendDatagram(int socket, const unsigned char* data, int len, const sockaddr_in6& to) override;

private:
    class Session;

    Session* Find(int node);
    // Frees the sessions the sweep has stopped, but `current`.
    void FreeStopped(const Session* current);
    // The unit answers; the replies go out now or after --delay.
    void Ask(Session& s, const CPackV7& pack);
    void Deliver(int node, const std::vector<CPackV7>& replies, bool wrongKey);
    void SendWrongKey(Session& s, const CPackV7& reply);
    // The cloud roles.
    void Cloud(Session& s, const CPackV7& pack);
    // The server node's greeting, once per session: true when sent now.
    bool Hello(Session& s);
    bool ForOther(Session& s, CPackV7& pack);
    void Press(int node);
    void Held(const Session& s, const CPackV7& pack, const std::string& why);
    void Sweep(unsigned generation);

    BasePoolThread* m_Pool;
    CUnit& m_Unit;
    UnitTimer& m_Timer;
    UnitLog& m_Log;
    Setup m_Setup;
    std::atomic<int> m_Bound{0};
    std::atomic<unsigned> m_Generation{0};   // of Up: a sweep of an earlier one ends
    std::mt19937 m_Rng;                      // under the socket mutex (SendDatagram)

    std::mutex m_SessMutex;
    std::map<int, std::unique_ptr<Session>> m_Sessions;   // by node; under m_SessMutex
    std::vector<std::unique_ptr<Session>> m_Stopped;      // swept, waiting to be freed; under m_SessMutex
};

}  // namespace velkunit
