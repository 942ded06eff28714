// The V7 serial port on a real pseudo-terminal: CPortV7 opens the slave, the
// test plays the unit on the master.
#include "base/ErrorXML.h"
#include "link/CPortV7.h"
#include "link/InpQueuePackV7.h"
#include "tests/link/V7Peers.h"

#include <gtest/gtest.h>
#include <pty.h>

#include <ctime>
#include <utility>

using namespace v7test;

namespace {

class TestPort : public CPortV7 {
public:
    explicit TestPort(BasePoolThread* pool) : CPortV7(pool) {}
    ~TestPort() override { Close(); }
    void PutLog(const std::string&) override {}
    void PutErr(const wchar_t*, int) override {}
    void MngPack(CPackV7& pack) override { m_Inp.Put(pack); }
    void LineLost() override { ++m_Lost; }

    InpQueuePackV7 m_Inp;
    std::atomic<int> m_Lost{0};
};

using Bytes = std::vector<unsigned char>;

// The packet's frame: 0xFF, L high byte first, the coded packet.
Bytes Frame(CPackV7 p)
{
    Bytes f(3 + 1030);
    const int n = p.ChanCod(f.data() + 3, 1030, CPackV7::DefaultKey);
    f[0] = 0xFF;
    f[1] = static_cast<unsigned char>(n >> 8);
    f[2] = static_cast<unsigned char>(n);
    f.resize(static_cast<size_t>(n) + 3);
    return f;
}

Bytes Part(const Bytes& f, size_t from, size_t to) { return Bytes(f.begin() + from, f.begin() + to); }

// The unit's side: the master of a pseudo-terminal, and a port on its slave.
struct Line {
    explicit Line(const std::function<void(CPortV7::Timing&)>& timing = {})
    {
        char name[128];
        int slave;
        openpty(&master, &slave, name, nullptr, nullptr);
        close(slave);   // the port must be the slave's only user, or TIOCEXCL would outlive its close
        path = name;
        port.m_Timing.now = [this] { return now.load(); };
        if (timing) timing(port.m_Timing);
        port.Open(path.c_str());
    }
    ~Line() { port.Close(); close(master); }

    // Writes a and b to the port and waits until its read thread has dealt with them.
    void Write(Bytes a, const Bytes& b = {})
    {
        a.insert(a.end(), b.begin(), b.end());
        ASSERT_EQ(write(master, a.data(), a.size()), static_cast<ssize_t>(a.size()));
        written += static_cast<long>(a.size());
        ASSERT_TRUE(WaitUntil([&] { return port.BytesRead() == written; }));
    }
    // The numbers of the packets the port has taken so far.
    std::vector<uint32_t> Taken()
    {
        std::vector<uint32_t> out;
        for (CPackV7 p; port.m_Inp.Read(p);) out.push_back(NumberOf(p));
        return out;
    }
    // The next frame that the port wrote, within `ms`.
    bool ReadFrame(CPackV7& p, int ms = 10000)
    {
        for (CFrameV7 frame;;) {
            pollfd pf{master, POLLIN, 0};
            unsigned char b;
            if (poll(&pf, 1, ms) != 1 || read(master, &b, 1) != 1) return false;
            if (frame.Put(b) == CFrameV7::evFrame)
                return p.ChanDecod(frame.Body(), frame.BodyLen(), CPackV7::DefaultKey);
        }
    }

    English english;
    std::atomic<time_t> now{1700000000};
    int master = -1;
    long written = 0;
    std::string path;
    BasePoolThread pool{"test", false};
    TestPort port{&pool};
};

}  // namespace

TEST(V7Serial, FramesSplitAcrossReadsAreJoinedUnlessMoreThanASecondApart)
{
    Line line;
    const Bytes one = Frame(Numbered(1)), two = Frame(Numbered(2));
    line.Write({0x00, 0x13, 0xFE}, Part(one, 0, 9));   // bytes before the start are skipped
    line.now += 1;
    line.Write(Part(one, 9, one.size()));
    EXPECT_EQ(line.Taken(), std::vector<uint32_t>{1});

    line.Write(Part(two, 0, 9));
    line.now += 2;
    line.Write(Part(two, 9, two.size()));
    line.now += 2;   // whatever the rest of the lost half started is stale too
    line.Write(Frame(Numbered(3)));
    EXPECT_EQ(line.Taken(), std::vector<uint32_t>{3});
}

TEST(V7Serial, OnlyAFrameOfAtMost1022BytesIsTakenAndAnOverlongOneHidesNoFrame)
{
    Line line;
    CPackV7 big, got;
    const Bytes body(1006, 0x5A);
    big.SetLink(CPackV7::packLinkAlive, body.data(), 1006);
    Bytes full;
    do full = Frame(big);   // with a start byte inside, which is data there
    while (std::find(full.begin() + 3, full.end(), 0xFF) == full.end());
    ASSERT_EQ(full.size(), 1025u);
    line.Write(full);
    ASSERT_TRUE(line.port.m_Inp.Read(got));
    EXPECT_EQ(got.m_Len, 1019);

    // A frame right behind the cut is found only if the cut comes at 1025
    // stored bytes, or at once for an L of 1025; a frame inside the data of
    // a cut one is never taken.
    for (unsigned len : {1023u, 1024u, 1025u}) {
        Bytes cut{0xFF, static_cast<unsigned char>(len >> 8), static_cast<unsigned char>(len)};
        if (len < 1025) {
            const Bytes inner = Frame(Numbered(8));
            cut.insert(cut.end(), inner.begin(), inner.end());
            cut.resize(1025, 0x00);
        }
        line.Write(cut, Frame(Numbered(7)));
        EXPECT_EQ(line.Taken(), std::vector<uint32_t>{7}) << len;
    }
}

TEST(V7Serial, PutPortWaitsForTheAnswerOrTheLimit)
{
    Line line([](CPortV7::Timing& t) { t.pollMs = t.readyWaitMs = 30000; });   // no idle poll, no limit
    CPackV7 p = Numbered(1), out;
    p.SetIdent(9);   // the line carries no idents
    auto started = Clock::now();
    line.port.PutPort(p);
    EXPECT_LT(Clock::now() - started, 10s) << "the first request never waits";
    ASSERT_TRUE(line.ReadFrame(out));
    EXPECT_TRUE(NumberOf(out) == 1 && out.m_Ident == 0);

    const Bytes answer = Frame(Numbered(2));
    line.Write(Part(answer, 0, 5));
    EXPECT_FALSE(line.port.IsReady()) << "an answer is arriving";
    std::thread request([&] { CPackV7 q = Numbered(3); line.port.PutPort(q); });
    EXPECT_FALSE(line.ReadFrame(out, 300)) << "the request waits for the rest of the answer";
    line.Write(Part(answer, 5, answer.size()));
    ASSERT_TRUE(line.ReadFrame(out));
    EXPECT_EQ(NumberOf(out), 3u);
    request.join();
    EXPECT_EQ(line.Taken(), std::vector<uint32_t>{2});

    line.port.m_Timing.readyWaitMs = 300;
    line.port.WaitResponse();
    started = Clock::now();
    line.port.PutPort(p);
    EXPECT_GE(Clock::now() - started, 300ms) << "a silent unit holds the request until the limit";
    EXPECT_TRUE(line.ReadFrame(out));
}

TEST(V7Serial, RestartClosesThePortUntilTheReopenWhichCloseEndsAtOnce)
{
    Line line([](CPortV7::Timing& t) { t.reopenMs = 1000; t.readyWaitMs = 30000; });
    CPackV7 p = Numbered(0, CPackV7::askRestart), out;
    line.port.PutPort(p);
    ASSERT_TRUE(line.ReadFrame(out));
    EXPECT_TRUE(out.IsRestart());
    EXPECT_TRUE(WaitUntil([&] { return !line.port.IsOpen(); }));
    line.port.WaitReOpen();
    ASSERT_TRUE(line.port.IsOpen());
    line.port.WaitResponse();
    const auto asked = Clock::now();
    CPackV7 q = Numbered(5);
    line.port.PutPort(q);
    EXPECT_LT(Clock::now() - asked, 10s) << "the reopened port reads: an idle poll lets the request go";
    ASSERT_TRUE(line.ReadFrame(out));
    EXPECT_EQ(NumberOf(out), 5u);

    line.port.m_Timing.reopenMs = 60000;
    line.port.PutPort(p);
    ASSERT_TRUE(WaitUntil([&] { return !line.port.IsOpen(); }));
    const auto started = Clock::now();
    line.port.Close();
    EXPECT_LT(Clock::now() - started, 5s);
    EXPECT_FALSE(line.port.IsReopening() || line.port.IsOpen());
    EXPECT_TRUE(line.port.PutPort(p)) << "a closed port reports success";

    try {
        line.port.Open("/dev/velk-no-such-port");
        ADD_FAILURE() << "opened a port that does not exist";
    } catch (const ErrorXML& e) {
        EXPECT_EQ(e.GetText(), DBString(L"CPortV7::Open - /dev/velk-no-such-port - error open USB port"));
        EXPECT_EQ(e.GetCode(), ENOENT);
    }
}

double CpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

TEST(V7Serial, AHangUpIsToldOnceCostsNothingWhileItLastsAndANewOpenWorks)
{
    Line line;
    close(std::exchange(line.master, -1));   // the unit is unplugged
    ASSERT_TRUE(WaitUntil([&] { return line.port.m_Lost == 1; }));
    const double cpu = CpuSeconds();
    std::this_thread::sleep_for(1s);
    EXPECT_LT(CpuSeconds() - cpu, 0.2) << "the read thread must not spin on a hung-up line";
    EXPECT_EQ(line.port.m_Lost, 1);

    line.port.Close();
    char name[128];
    int slave;
    openpty(&line.master, &slave, name, nullptr, nullptr);
    close(slave);
    line.port.Open(name);
    line.written = line.port.BytesRead();
    line.Write(Frame(Numbered(9)));
    EXPECT_EQ(line.Taken(), std::vector<uint32_t>{9});
}

TEST(V7Serial, ARestartOnALineNobodyReadsStillReopensAndPutPortReturns)
{
    Line line([](CPortV7::Timing& t) { t.readyWaitMs = 0; t.writeLimitMs = 200; t.reopenMs = 60000; });
    CPackV7 big = Numbered(1);
    big.SetAsk(CPackV7::packAsk, CPackV7::askNVRAM, 1, nullptr, 1000);
    // Fill the line until a frame no longer leaves in time.
    for (int i = 0; i < 1000; ++i) {
        const auto t = Clock::now();
        line.port.PutPort(big);
        if (Clock::now() - t >= 150ms) break;
    }
    CPackV7 restart = Numbered(0, CPackV7::askRestart);
    const auto t = Clock::now();
    line.port.PutPort(restart);
    EXPECT_LT(Clock::now() - t, 5s);
    EXPECT_TRUE(WaitUntil([&] { return !line.port.IsOpen(); })) << "the reopen starts all the same";
    EXPECT_EQ(line.port.m_Lost, 0) << "a restart's closing is no loss";
}

TEST(V7Serial, AUnitServesTheLineOnTheMasterOfAPseudoTerminal)
{
    Line line;
    TestPort unit(&line.pool);
    unit.Attach(std::exchange(line.master, -1), "unit");   // closed by the unit
    for (uint32_t n = 1; n <= 3; ++n) {
        CPackV7 p = Numbered(n), answer;
        line.port.PutPort(p);
        ASSERT_TRUE(WaitUntil([&] { return unit.m_Inp.Read(answer); }));
        answer.SetID(CIdentV7(0, 0), CIdentV7(0, 1));
        unit.PutPort(answer);
        ASSERT_TRUE(WaitUntil([&] { return line.port.m_Inp.Read(p); }));
        EXPECT_EQ(NumberOf(p), n);
    }
}
