#pragma once
// Test support for velkunit: the program as a child process, and a small
// configurator built from velkcore that reads a unit the way the real one
// does (the ten requests, then the description and the domains once askInfo
// has answered), over UDP, the cloud server or the serial line.
#include "base/BasePoolThread.h"
#include "base/IPv6.h"
#include "link/CIdeaKey.h"
#include "link/CLBNVRAM.h"
#include "link/CPortV7.h"
#include "link/CReceivV7.h"
#include "link/CSendV7.h"
#include "link/InpQueuePackV7.h"
#include "support/WaitUntil.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace unittest {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;


// velkunit started with `args`; its standard output is collected line by
// line, and the header lines tell its ports and its serial path.
class Simulator {
public:
    explicit Simulator(const std::vector<std::string>& args);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    bool Started() const { return m_Udp > 0; }
    int Udp() const { return m_Udp; }
    int Cloud() const { return m_Cloud; }
    int CloudKey() const { return m_CloudKey; }
    const std::string& Serial() const { return m_Serial; }
    // Lines of the log that contain `part`, waiting up to `limit` for one.
    bool WaitLine(const std::string& part, std::chrono::milliseconds limit = 20s);
    int CountLines(const std::string& part);
    // SIGTERM, and the exit status (-1 if it did not end by exit).
    int Stop();

private:
    void ReadLines();

    int m_Pid = -1;
    int m_Out = -1;
    std::thread m_Reader;
    std::mutex m_Mutex;
    std::vector<std::string> m_Lines;
    int m_Udp = 0, m_Cloud = 0, m_CloudKey = 0;
    std::string m_Serial;
};

// Runs velkunit to its end: exit status, standard output and error.
int RunToEnd(const std::vector<std::string>& args, std::string& out, std::string& err);

// The configurator's side of a read: which requests, and what the replies
// make of the image. Replies are taken on the test's thread, as the
// configurator takes them on its interface thread.
class ImageRead {
public:
    explicit ImageRead(std::function<void(CPackV7&)> put) : m_Put(std::move(put)) {}
    // askInfo (with `keyData` on the key method), eight reads from 0x400, askStatus.
    void Begin(const unsigned char* keyData = nullptr);
    // The cloud methods: askInfo alone; the rest once it has been answered,
    // as the configurator sends it after its wait for the unit.
    void BeginCloud(const unsigned char* keyData = nullptr);
    void Take(const CPackV7& reply);
    bool Complete() const;
    void Ask(int ask, const unsigned char* data, int len);
    void Read(int adr, int len);

    CLBNVRAM m_Image;
    int m_TypLB = 0, m_TypLBSub = 0;
    bool m_FeatDomain = false;
    bool m_Status = false;
    std::vector<CPackV7> m_Replies;   // every class 4 reply, in order

private:
    void Rest();

    std::function<void(CPackV7&)> m_Put;
    bool m_Cloud = false;
};

// Drains `queue` into `read` until the read is complete; false after `limit`.
bool Drain(InpQueuePackV7& queue, ImageRead& read, std::chrono::milliseconds limit);

// The pool of a client, built before the link classes that run on it.
struct ClientPool {
    BasePoolThread m_ClientPool{"client", false};
};

// A configurator on UDP: its own program identifier, one sender for the
// unit. Mode: the unit's port, or the cloud server's ports.
class NetClient : private ClientPool, public CReceivV7 {
public:
    enum class Mode { direct, buttons, key };

    // `loss`: the share of this client's datagrams that are dropped (seeded);
    // a lossy client repeats its requests every 300 ms, up to 12 times.
    NetClient(int unit, int port, Mode mode, const CKeySys& key, int ident = 0, double loss = 0);
    ~NetClient() override;

    // Sends through the window; answered packets of the unit are queued.
    void Put(CPackV7& pack);
    bool ReadAll(ImageRead& read, std::chrono::milliseconds limit = 30s) { return Drain(m_Inp, read, limit); }
    // The next packet of the unit within `limit` (class 3 included).
    bool Next(CPackV7& pack, std::chrono::milliseconds limit = 10s);

    // Packets from a node without a sender (the cloud server's V7Net::kNodeCloud).
    int PacketsFrom(int node);
    // Report lines of the link that contain `part`.
    int Reports(const std::wstring& part);

    CSendV7* GetSend(const CIdentV7& ident) override;
    bool UnknownSender(const CIdentV7& ident, const in6_addr&, int, const CKeySys&) override;
    void HandlingData(const CPackV7& pack, const CSendV7*) override;
    bool ChanDecod(const unsigned char* data, int len, CPackV7& pack, CKeySys& key, bool& byCloud) override;
    void BadPut(const wchar_t* text, bool) override { Report(text); }
    void BadPutErr(const wchar_t* text, int) override { Report(text); }
    void BadPutMes(const wchar_t* text, const unsigned char*, int, bool) override { Report(text); }

    InpQueuePackV7 m_Inp;
    CIdentV7 m_Unit;

protected:
    int SendDatagram(int socket, const unsigned char* data, int len, const sockaddr_in6& to) override;

private:
    class Link;
    void Report(const wchar_t* text);

    std::unique_ptr<Link> m_Send;
    Mode m_Mode;
    std::mutex m_Mutex;
    std::vector<std::wstring> m_Reports;
    std::vector<int> m_From;   // nodes of packets from unknown senders
    double m_Loss;
    std::mt19937 m_Rng;   // under the socket mutex
};

// A configurator on the serial line: the link's own port, opened on the path
// that the simulator printed.
class SerialClient : private ClientPool, public CPortV7 {
public:
    // `reopenMs`: how long the port stays closed after a restart request.
    explicit SerialClient(const std::string& path, int reopenMs = 7000);
    ~SerialClient() override { Close(); }
    // As the configurator's port: identifiers 0.1 to 0.0, one request at a time.
    void Put(CPackV7& pack);
    bool ReadAll(ImageRead& read, std::chrono::milliseconds limit = 30s) { return Drain(m_Inp, read, limit); }

    void PutLog(const std::string&) override {}
    void PutErr(const wchar_t*, int) override {}
    void MngPack(CPackV7& pack) override { m_Inp.Put(pack); }

    InpQueuePackV7 m_Inp;
};

}  // namespace unittest
