#include "tests/tools/UnitClient.h"

#include "catalogue/CDev.h"
#include "link/CLBNVRAM.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace unittest {

namespace {

constexpr int kProgFirst = 10000001;
constexpr int kProgLast = 16711678;

std::vector<char*> Argv(std::string& path, std::vector<std::string>& args)
{
    std::vector<char*> argv{path.data()};
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    return argv;
}

// Starts velkunit with its standard output (and error, if `err` is not -1)
// on the write ends given. It dies with the test process, whatever ends that.
int Spawn(std::vector<std::string> args, int out, int err)
{
    std::string path = VELKUNIT_PATH;
    std::vector<char*> argv = Argv(path, args);
    const pid_t pid = fork();
    if (pid != 0) return pid;
    // The child: only calls that are safe after a fork in a threaded process.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(out, 1);
    if (err != -1) dup2(err, 2);
    execv(path.c_str(), argv.data());
    _exit(127);
}

int ExitStatus(int pid)
{
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

// ---------------------------------------------------------------- the program

Simulator::Simulator(const std::vector<std::string>& args)
{
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return;
    m_Pid = Spawn(args, fds[1], -1);
    close(fds[1]);
    m_Out = fds[0];
    m_Reader = std::thread([this] { ReadLines(); });
    auto has = [&](const char* option) { return std::find(args.begin(), args.end(), option) != args.end(); };
    auto header = [&](const std::string& word) -> std::string {
        std::string found;
        WaitUntil(
            [&] {
                std::lock_guard<std::mutex> lock(m_Mutex);
                for (const auto& l : m_Lines)
                    if (l.rfind(word + " ", 0) == 0) found = l.substr(word.size() + 1);
                return !found.empty();
            },
            10s);
        return found;
    };
    m_Udp = std::atoi(header("udp").c_str());
    if (has("--serial")) m_Serial = header("serial");
    if (has("--cloud")) {
        m_Cloud = std::atoi(header("cloud").c_str());
        m_CloudKey = std::atoi(header("cloud-key").c_str());
    }
}

Simulator::~Simulator()
{
    // Every test checks that the program ends cleanly (a sanitizer's report ends it otherwise).
    if (m_Pid > 0) {
        EXPECT_EQ(Stop(), 0) << "velkunit did not stop cleanly";
    }
    // What the simulator said, to see why a test failed.
    if (::testing::Test::HasFailure())
        for (const std::string& line : m_Lines) std::fprintf(stderr, "velkunit| %s\n", line.c_str());
}

void Simulator::ReadLines()
{
    std::string part;
    char buf[4096];
    for (ssize_t n; (n = read(m_Out, buf, sizeof buf)) > 0;) {
        part.append(buf, static_cast<size_t>(n));
        for (size_t at; (at = part.find('\n')) != std::string::npos; part.erase(0, at + 1)) {
            std::lock_guard<std::mutex> lock(m_Mutex);
            m_Lines.push_back(part.substr(0, at));
        }
    }
}

int Simulator::CountLines(const std::string& part)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return static_cast<int>(
        std::count_if(m_Lines.begin(), m_Lines.end(), [&](const std::string& l) { return l.find(part) != l.npos; }));
}

bool Simulator::WaitLine(const std::string& part, std::chrono::milliseconds limit)
{
    return WaitUntil([&] { return CountLines(part) > 0; }, limit);
}

int Simulator::Stop()
{
    if (m_Pid <= 0) return -1;
    kill(m_Pid, SIGTERM);
    const int rc = ExitStatus(m_Pid);
    m_Pid = -1;
    if (m_Reader.joinable()) m_Reader.join();
    close(m_Out);
    return rc;
}

int RunToEnd(const std::vector<std::string>& args, std::string& out, std::string& err)
{
    int o[2], e[2];
    if (pipe2(o, O_CLOEXEC) != 0 || pipe2(e, O_CLOEXEC) != 0) return -1;
    const int pid = Spawn(args, o[1], e[1]);
    close(o[1]);
    close(e[1]);
    pollfd fds[2] = {{o[0], POLLIN, 0}, {e[0], POLLIN, 0}};
    std::string* to[2] = {&out, &err};
    for (int open = 2; open > 0 && poll(fds, 2, 20000) > 0;) {
        for (int i = 0; i < 2; ++i) {
            if (!fds[i].revents) continue;
            char buf[4096];
            const ssize_t n = read(fds[i].fd, buf, sizeof buf);
            if (n > 0) {
                to[i]->append(buf, static_cast<size_t>(n));
            } else {
                fds[i].fd = -1;
                --open;
            }
        }
    }
    close(o[0]);
    close(e[0]);
    return pid > 0 ? ExitStatus(pid) : -1;
}

// ---------------------------------------------------------------- the read

void ImageRead::Ask(int ask, const unsigned char* data, int len)
{
    CPackV7 pack;
    pack.SetAsk(CPackV7::packAsk, ask, 1, data, len);
    m_Put(pack);
}

void ImageRead::Read(int adr, int len)
{
    const unsigned char data[4] = {static_cast<unsigned char>(adr), static_cast<unsigned char>(adr >> 8),
                                   static_cast<unsigned char>(len), static_cast<unsigned char>(len >> 8)};
    Ask(CPackV7::askNVRAM, data, 4);
}

void ImageRead::Begin(const unsigned char* keyData)
{
    Ask(CPackV7::askInfo, keyData, keyData ? 16 : 0);
    Rest();
}

void ImageRead::BeginCloud(const unsigned char* keyData)
{
    m_Cloud = true;
    Ask(CPackV7::askInfo, keyData, keyData ? 16 : 0);
}

void ImageRead::Rest()
{
    for (int adr = 0x400; adr < 0x800; adr += 128) Read(adr, 128);
    Ask(CPackV7::askStatus, nullptr, 0);
}

void ImageRead::Take(const CPackV7& reply)
{
    if (reply.m_Class != CPackV7::classData || reply.m_Typ != CPackV7::packAsk || reply.m_DirAsk != 0) return;
    m_Replies.push_back(reply);
    const unsigned char* d = reply.m_Buf + 14;
    switch (reply.m_Ask) {
    case CPackV7::askInfo:
        m_TypLB = d[0];
        m_TypLBSub = d[10];
        if (reply.m_Len > 29) m_FeatDomain = (d[15] & 1) != 0;
        Read(CDev::IsCM3OrV7(m_TypLB, m_TypLBSub) ? CLBNVRAM::kDescrCM3V7 : CLBNVRAM::kDescrOld, CLBNVRAM::kDescrLen);
        if (m_FeatDomain) {
            Read(CLBNVRAM::kDomain, 128);
            Read(CLBNVRAM::kDomain + 128, 128);
        }
        if (m_Cloud) Rest();
        m_Cloud = false;
        break;
    case CPackV7::askNVRAM:
        if (reply.m_Len >= 18 + d[2] && d[3] == 0) m_Image.Set(d[0] | d[1] << 8, d + 4, d[2]);
        break;
    case CPackV7::askStatus: m_Status = true; break;
    default: break;
    }
}

bool ImageRead::Complete() const
{
    return m_Status && m_Image.IsKnovEth() && m_Image.IsKnovDescr(m_TypLBSub) && (!m_FeatDomain || m_Image.IsKnovDNS());
}

bool Drain(InpQueuePackV7& queue, ImageRead& read, std::chrono::milliseconds limit)
{
    const auto end = Clock::now() + limit;
    while (!read.Complete()) {
        CPackV7 pack;
        if (queue.Read(pack))
            read.Take(pack);
        else if (Clock::now() > end)
            return false;
        else
            std::this_thread::sleep_for(1ms);
    }
    return true;
}

// ---------------------------------------------------------------- UDP

class NetClient::Link : public CSendV7 {
public:
    Link(BasePoolThread* pool, NetClient* client) : CSendV7(pool), m_Client(client) {}
    ~Link() override { StopOnly(); }
    void IsNoLink() override {}
    void BadPut(const wchar_t* text) override { m_Client->Report(text); }
    void BadPutErr(const wchar_t* text, int) override { m_Client->Report(text); }
    void BadPutMes(const wchar_t* text, const unsigned char*, int) override { m_Client->Report(text); }
    CReceivV7* GetReceiv() override { return m_Client; }

private:
    NetClient* m_Client;
};

NetClient::NetClient(int unit, int port, Mode mode, const CKeySys& key, int ident, double loss)
    : CReceivV7(&m_ClientPool), m_Unit(unit, 0), m_Mode(mode), m_Loss(loss), m_Rng(static_cast<unsigned>(unit))
{
    if (ident == 0) {
        std::random_device seed;
        ident = std::uniform_int_distribution<int>(kProgFirst, kProgLast)(seed);
    }
    m_Ident = CIdentV7(ident, 0);
    m_Key = key;
    SetBind(LocalHostIPv6(), 0);
    m_Send = std::make_unique<Link>(&m_ClientPool, this);
    m_Send->m_Ident = m_Unit;
    m_Send->m_Addr = LocalHostIPv6();
    m_Send->m_Port = port;
    if (loss > 0) {
        m_Send->m_MaxTry = 12;
        m_Send->m_TimeTry = 300;
    }
    if (mode == Mode::key) {
        m_Send->m_ByCloud = true;
        m_Send->m_AddrCloud = LocalHostIPv6();
        m_Send->m_PortCloud = port;
    }
    Start();
    m_Send->Start();
}

void NetClient::Put(CPackV7& pack) { m_Send->Put(pack); }

NetClient::~NetClient()
{
    m_Send->StopOnly();
    Stop();
}

bool NetClient::Next(CPackV7& pack, std::chrono::milliseconds limit)
{
    return WaitUntil([&] { return m_Inp.Read(pack); }, limit);
}

int NetClient::PacketsFrom(int node)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return static_cast<int>(std::count(m_From.begin(), m_From.end(), node));
}

int NetClient::Reports(const std::wstring& part)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return static_cast<int>(std::count_if(m_Reports.begin(), m_Reports.end(),
                                          [&](const std::wstring& r) { return r.find(part) != r.npos; }));
}

void NetClient::Report(const wchar_t* text)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_Reports.emplace_back(text);
}

CSendV7* NetClient::GetSend(const CIdentV7& ident)
{
    const bool unit = ident == m_Unit || (ident.GetNode() == 0 && ident.GetDev() == 0);
    return unit ? m_Send.get() : nullptr;
}

bool NetClient::UnknownSender(const CIdentV7& ident, const in6_addr&, int, const CKeySys&)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_From.push_back(ident.GetNode());
    return false;
}

void NetClient::HandlingData(const CPackV7& pack, const CSendV7*)
{
    // As the configurator: only what the unit says to us.
    if (!pack.m_Dst.FullEQ(m_Ident) || !pack.m_Src.FullEQ(m_Unit)) return;
    if (pack.m_Class == CPackV7::classData && pack.m_Typ == CPackV7::packEmpty) return;
    m_Inp.Put(pack);
}

bool NetClient::ChanDecod(const unsigned char* data, int len, CPackV7& pack, CKeySys& key, bool& byCloud)
{
    byCloud = false;
    unsigned char carried[16];
    if (m_Mode != Mode::key || !pack.ChanCloudProDecod(data, len, carried)) return false;
    key.Set(carried);
    byCloud = true;
    return true;
}

int NetClient::SendDatagram(int socket, const unsigned char* data, int len, const sockaddr_in6& to)
{
    if (m_Loss > 0 && std::uniform_real_distribution<double>(0, 1)(m_Rng) < m_Loss) return len;
    return CReceivV7::SendDatagram(socket, data, len, to);
}

// ---------------------------------------------------------------- serial

SerialClient::SerialClient(const std::string& path, int reopenMs) : CPortV7(&m_ClientPool)
{
    m_Timing.reopenMs = reopenMs;
    Open(path.c_str());
}

void SerialClient::Put(CPackV7& pack)
{
    pack.SetID(CIdentV7(0, 1), CIdentV7(0, 0));
    PutPort(pack);
    WaitResponse();
}

}  // namespace unittest
