// The tools' relays against velkunit, with the stand-in tools: what each
// carrier does with a tool's request and the unit's answers, the dispatcher
// relay's sessions, the local-host rule, the life of the relays, and the
// tools' command lines.
#include "base/CDispLog.h"
#include "base/IPv6.h"
#include "base/StringRes.h"
#include "disp/CMesDisp.h"
#include "link/CIdeaKey.h"
#include "link/V7Net.h"
#include "relaycore/CRelayHost.h"
#include "relaycore/CToolRelays.h"
#include "tests/relay/RelayClient.h"
#include "tests/support/Simulator.h"
#include "tests/support/TempHome.h"
#include "tools/toolpeer/ToolPeer.h"
#include "unit/CClientLU.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

using namespace unittest;

namespace {

constexpr int kIdent = 4321;

std::string BadLogText(TempHome& home)
{
    std::stringstream log;
    const std::string dir = home.Sub("VELK/logs/Velkonf/bad");
    if (!std::filesystem::exists(dir)) return {};
    for (const auto& f : std::filesystem::directory_iterator(dir)) log << std::ifstream(f.path()).rdbuf();
    return log.str();
}

bool IsAnswer(const CPackV7& p, int ask) { return p.m_Class == CPackV7::classData && p.m_Ask == ask; }

CPackV7 Ask(ToolPeerV7& tool, int ask)
{
    CPackV7 p = tool.NewPack();
    p.SetAsk(CPackV7::packAsk, ask, CPackV7::dirAsk, nullptr, 0);
    return p;
}

CTargetLU Target(int method, const Simulator& sim)
{
    CTargetLU t;
    t.method = method;
    t.addr = LocalHostIPv6();
    t.ident = kIdent;
    switch (method) {
    case typConnectUSB: t.serial = sim.Serial(); break;
    case typConnectIP: t.port = sim.Udp(); t.key.Create(L"relay2024k"); break;
    case typConnectCloud: t.port = sim.Cloud(); t.key = GuestKeySys(); break;
    default: t.port = sim.CloudKey(); t.key.Create(L"relay2024k"); break;
    }
    return t;
}

std::vector<std::string> SimArgs()
{
    return {"--udp-port", "0", "--bind", "::1", "--ident", std::to_string(kIdent), "--serial", "--cloud",
            "--cloud-port", "0", "--cloud-key-port", "0", "--buttons-after", "0", "--key", "relay2024k"};
}

in6_addr Mapped(const char* v4) { return IP6FromStr(std::string("::ffff:") + v4); }

}  // namespace

// Every carrier the relays treat differently: a tool's request reaches the
// unit and the answer comes back; USB and the cloud by buttons acknowledge
// and strip in the relay and copy every packet of the unit to every tool;
// IP and the cloud by key carry the tool's packet as it stands, and the unit
// answers each tool by name.
TEST(RelayV7, EachCarrierTakesToolsRequestsToTheUnitAndTheAnswersBack)
{
    const bool language = g_StringENU;
    g_StringENU = true;
    for (int method : {typConnectUSB, typConnectIP, typConnectCloud, typConnectCloudKey}) {
        SCOPED_TRACE("method " + std::to_string(method));
        TempHome home;
        Simulator sim(SimArgs());
        ASSERT_TRUE(sim.Started());
        RelayClient client;
        client.m_BadLog.Open("C", "log");
        client.Open(Target(method, sim));
        client.m_Relays.Start();
        client.StartFrame();
        const CToolParams params = client.m_Relays.Params(false);
        CKeySys key;
        key.Set(DBString(params.key).c_str());
        EXPECT_EQ(params.node, method == typConnectUSB ? 0 : kIdent);

        ToolPeerV7 a(client.m_Pool), b(client.m_Pool);
        a.Open(Mapped("127.0.0.1"), params.portV7, params.node, key);
        b.Open(LocalHostIPv6(), params.portV7, params.node, key);
        CPackV7 info = Ask(a, CPackV7::askInfo);
        CPackV7 status = Ask(b, CPackV7::askStatus);
        if (method == typConnectUSB) info.SetIdent(5);
        ASSERT_TRUE(method == typConnectUSB ? a.SendRaw(info) : a.Request(info));
        ASSERT_TRUE(b.Request(status));
        auto info1 = [](const CPackV7& p) { return IsAnswer(p, CPackV7::askInfo); };
        auto status1 = [](const CPackV7& p) { return IsAnswer(p, CPackV7::askStatus); };
        ASSERT_TRUE(a.m_Got.Wait(info1, 1, 20s));
        ASSERT_TRUE(b.m_Got.Wait(status1, 1, 20s));
        EXPECT_EQ(client.m_Relays.m_ListSendUtilV7.Size(), 2u);
        // Both relays exist now; what the unit says next goes to both, or
        // to the asking tool only.
        const bool copied = method == typConnectUSB || method == typConnectCloud;
        CPackV7 system = Ask(a, CPackV7::askSystem);
        ASSERT_TRUE(a.Request(system));
        auto system1 = [](const CPackV7& p) { return IsAnswer(p, CPackV7::askSystem); };
        ASSERT_TRUE(a.m_Got.Wait(system1, 1, 20s));
        if (copied) {
            EXPECT_TRUE(b.m_Got.Wait(system1, 1, 10s)) << "every tool sees every packet";
        } else {
            std::this_thread::sleep_for(300ms);
            EXPECT_EQ(b.m_Got.Count(system1), 0u) << "the unit answers each tool by name";
        }
        if (method == typConnectUSB) {
            std::this_thread::sleep_for(300ms);
            EXPECT_EQ(a.m_Repls.Count([](int r) { return r == 5; }), 1u) << "one acknowledgement by the relay";
            EXPECT_EQ(client.m_SerialIdents.All().front(), 0) << "the unit gets it unsequenced";
        }
        if (method == typConnectIP) {
            CPackV7 stray = a.NewPack();
            stray.SetID(a.Ident(), CIdentV7(kIdent + 7, 0));
            stray.SetAsk(CPackV7::packAsk, CPackV7::askInfo, CPackV7::dirAsk, nullptr, 0);
            a.SendRaw(stray);
            DBString line;
            line.Format(L"Not known recipient: %ls -> %ls from IP %ls", a.Ident().GetString().c_str(),
                        CIdentV7(kIdent + 7, 0).GetString().c_str(),
                        IPv6PortToStrW(Mapped("127.0.0.1"), a.GetPort()).c_str());
            EXPECT_TRUE(WaitUntil([&] { return BadLogText(home).find(line.ToStr()) != std::string::npos; }, 10s))
                << line.ToStr() << "\n"
                << BadLogText(home);
        }
        if (method == typConnectCloud) {
            // A tool's close ends its own relay only: the other tool and the
            // configurator's link go on.
            a.Close();
            EXPECT_TRUE(WaitUntil([&] { return client.m_Relays.m_ListSendUtilV7.Size() == 1; }, 10s));
            CPackV7 again = Ask(b, CPackV7::askWiFi);
            ASSERT_TRUE(b.Request(again));
            EXPECT_TRUE(b.m_Got.Wait([](const CPackV7& p) { return IsAnswer(p, CPackV7::askWiFi); }, 1, 20s));
            EXPECT_FALSE(client.IsLost());
        }
        client.StopFrame();
        client.m_Relays.Stop();
        client.m_BadLog.Close();
    }
    g_StringENU = language;
}

// The dispatcher relay: a tool's message reaches the unit and every Msg goes
// to every tool; a first datagram that fails its check or holds a CloseLink
// opens no session; a tool's CloseLink ends its session only.
TEST(RelayDisp, MessagesGoBothWaysAndOnlyAValidOpeningMakesASession)
{
    TempHome home;
    Simulator sim(SimArgs());
    ASSERT_TRUE(sim.Started());
    RelayClient client;
    client.m_BadLog.Open("C", "log");
    client.Open(Target(typConnectIP, sim));
    client.m_Relays.Start();
    client.StartFrame();
    const int port = client.m_Relays.m_ReceivUtil.Port();
    ASSERT_GT(port, 0);

    // Strangers' first datagrams, from a plain socket.
    const int fd = socket(AF_INET6, SOCK_DGRAM, 0);
    sockaddr_in6 to{};
    to.sin6_family = AF_INET6;
    to.sin6_addr = LocalHostIPv6();
    to.sin6_port = htons(static_cast<uint16_t>(port));
    CIdeaCtx ctx;
    ctx.Key(CSendDisp::DefaultKey().Data());
    unsigned char buf[CPackDisp::BufSize];
    CMesDisp close;
    close.Create_CloseLink();
    CPackDisp closing(close);
    int n = closing.Encoding(buf, sizeof buf, &ctx);
    sendto(fd, buf, static_cast<size_t>(n), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
    CMesDisp msg;
    const std::vector<unsigned char> image = MesImage(3, 1, 10, {1, 2, 3});
    msg.Create_SendMsg(1, 0, static_cast<int>(image.size()), image.data());
    CPackDisp broken(msg);
    n = broken.Encoding(buf, sizeof buf, &ctx);
    buf[n / 2] ^= 0x55;
    sendto(fd, buf, static_cast<size_t>(n), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
    ::close(fd);

    ToolPeerDisp a(client.m_Pool), b(client.m_Pool);
    a.Open(port);
    b.Open(port);
    a.SendMsg(image);
    b.SendMsg(MesImage(5, 1, 10, {4}));
    // The unit returns each message with origin and destination swapped:
    // its destination (bytes 2, 3 of the message) is then the sender's station.
    auto backTo = [](int station) {
        return [station](const std::vector<unsigned char>& m) {
            return m.size() > 5 && m[4] == ((station >> 2) & 0x3F) && m[5] == ((station & 3) << 4);
        };
    };
    ASSERT_TRUE(a.m_Msgs.Wait(backTo(3), 1, 20s));
    ASSERT_TRUE(b.m_Msgs.Wait(backTo(5), 1, 20s));
    // Both sessions open: now every Msg reaches both.
    a.SendMsg(MesImage(6, 1, 10, {1}));
    b.SendMsg(MesImage(7, 1, 10, {2}));
    for (ToolPeerDisp* t : {&a, &b}) {
        EXPECT_TRUE(t->m_Msgs.Wait(backTo(6), 1, 20s)) << "each tool gets every Msg";
        EXPECT_TRUE(t->m_Msgs.Wait(backTo(7), 1, 20s));
    }
    EXPECT_EQ(client.m_Relays.m_ListSendUtil.Size(), 2u) << "the two tools, and no stranger";
    a.Close();
    EXPECT_TRUE(WaitUntil([&] { return client.m_Relays.m_ListSendUtil.Size() == 1; }, 10s));
    b.SendMsg(MesImage(5, 1, 10, {6}));
    EXPECT_TRUE(b.m_Msgs.Wait(backTo(5), 2, 20s)) << "the other session goes on";
    client.StopFrame();
    client.m_Relays.Stop();
    client.m_BadLog.Close();
    const std::string log = BadLogText(home);
    size_t connects = 0;
    for (size_t at = log.find("Util connect Port="); at != std::string::npos; at = log.find("Util connect Port=", at + 1))
        ++connects;
    EXPECT_EQ(connects, 2u) << log;
    EXPECT_NE(log.find("Util disconnect Port=" + std::to_string(a.LocalPort())), std::string::npos) << log;
}

namespace {

// The receivers with their per-datagram entry opened, to feed a datagram
// "from" any address.
struct OpenReceivV7 : CReceivUtilV7 {
    using CReceivUtilV7::CReceivUtilV7;
    using CReceivUtilV7::Receive;
};
struct OpenReceivDisp : CReceivUtil {
    using CReceivUtil::CReceivUtil;
    using CReceivUtil::Dispatch;
};

int Coded(CPackV7 pack, const CKeySys& key, unsigned char* out)
{
    return pack.ChanCod(out, CPackV7::kBufSize, key.Data());
}

int CodedDisp(const CMesDisp& mes, unsigned char* out)
{
    CIdeaCtx ctx;
    ctx.Key(CSendDisp::DefaultKey().Data());
    CPackDisp pack(mes);
    return pack.Encoding(out, CPackDisp::BufSize, &ctx);
}

sockaddr_in6 From(const in6_addr& addr, int port)
{
    sockaddr_in6 from{};
    from.sin6_family = AF_INET6;
    from.sin6_addr = addr;
    from.sin6_port = htons(static_cast<uint16_t>(port));
    return from;
}

}  // namespace

// Only the local host is served; a relay that has closed is deleted while
// its tool keeps sending, without ever being freed under the receiver (the
// sanitizer build runs this); a disconnect stops both relays and a new
// connection starts them again on ports of their own.
TEST(RelayLife, LocalHostOnlyClosedRelaysFreedSafelyStopAndStartAgain)
{
    const bool language = g_StringENU;
    g_StringENU = true;
    TempHome home;
    Simulator sim(SimArgs());
    ASSERT_TRUE(sim.Started());
    RelayClient client;
    client.m_BadLog.Open("C", "log");
    client.Open(Target(typConnectCloud, sim));

    // The address rule, on datagrams that would otherwise open a relay.
    EXPECT_TRUE(IsLocalHost(LocalHostIPv6()));
    EXPECT_TRUE(IsLocalHost(Mapped("127.0.0.2")));
    EXPECT_FALSE(IsLocalHost(Mapped("192.0.2.7")));
    EXPECT_FALSE(IsLocalHost(IP6FromStr("2001:db8::7")));
    {
        CListSendUtilV7 list;
        OpenReceivV7 receiv(client, list);
        receiv.m_Key = GuestKeySys();
        CIdentV7 tool;
        tool.SetUnique();
        CPackV7 pack(tool, CIdentV7(kIdent, 0));
        pack.SetAsk(CPackV7::packAsk, CPackV7::askInfo, CPackV7::dirAsk, nullptr, 0);
        unsigned char buf[CPackV7::kBufSize];
        const int n = Coded(pack, receiv.m_Key, buf);
        receiv.Receive(buf, n, Mapped("192.0.2.7"), 40000);
        EXPECT_EQ(list.Size(), 0u);
        receiv.Receive(buf, n, Mapped("127.0.0.2"), 40000);
        EXPECT_EQ(list.Size(), 1u) << "any loopback address is this machine";

        CListSendUtil sessions;
        OpenReceivDisp listener(client, sessions);
        CMesDisp msg;
        const std::vector<unsigned char> image = MesImage(3, 1, 10, {1});
        msg.Create_SendMsg(1, 0, static_cast<int>(image.size()), image.data());
        unsigned char dbuf[CPackDisp::BufSize];
        const int dn = CodedDisp(msg, dbuf);
        listener.Dispatch(From(IP6FromStr("2001:db8::7"), 40001), dbuf, dn);
        EXPECT_EQ(sessions.Size(), 0u);
        // Relays send through their receiver: they go first.
        list.Clear();
        sessions.Clear();
    }
    client.m_BadLog.Close();
    const std::string log = BadLogText(home);
    EXPECT_NE(log.find("UtilV7: datagram from " + IPv6PortToStrW(Mapped("192.0.2.7"), 40000).ToStr() +
                       " refused, the relay serves the local host only"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("Util: datagram from " + IPv6PortToStrW(IP6FromStr("2001:db8::7"), 40001).ToStr() + " refused"),
              std::string::npos)
        << log;

    client.m_Relays.Start();
    client.StartFrame();
    CToolParams params = client.m_Relays.Params(true);
    CKeySys key;
    key.Set(DBString(params.key).c_str());
    // A V7 tool that closes (on the cloud by buttons its relay ends) and
    // talks again at once, over and over, while the frame deletes closed
    // relays; and a dispatcher tool doing the same with its session.
    {
        ToolPeerV7 v7(client.m_Pool);
        v7.Open(LocalHostIPv6(), params.portV7, params.node, key);
        const int fd = socket(AF_INET6, SOCK_DGRAM, 0);
        const sockaddr_in6 to = From(LocalHostIPv6(), params.portDisp);
        CMesDisp close, msg;
        close.Create_CloseLink();
        const std::vector<unsigned char> image = MesImage(3, 1, 10, {1});
        msg.Create_SendMsg(1, 0, static_cast<int>(image.size()), image.data());
        unsigned char closing[CPackDisp::BufSize], talking[CPackDisp::BufSize];
        const int cn = CodedDisp(close, closing), tn = CodedDisp(msg, talking);
        for (int i = 0; i < 60; ++i) {
            CPackV7 bye = v7.NewPack();
            bye.SetLink(CPackV7::packLinkClose, nullptr, 0);
            v7.SendRaw(bye);
            CPackV7 hello = Ask(v7, CPackV7::askStatistic);
            v7.SendRaw(hello);
            sendto(fd, talking, static_cast<size_t>(tn), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
            sendto(fd, closing, static_cast<size_t>(cn), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
            std::this_thread::sleep_for(2ms);
        }
        ::close(fd);
        EXPECT_TRUE(WaitUntil([&] { return client.m_Relays.m_ListSendUtil.Size() == 0; }, 10s));
        CPackV7 bye = v7.NewPack();
        bye.SetLink(CPackV7::packLinkClose, nullptr, 0);
        v7.SendRaw(bye);
        EXPECT_TRUE(WaitUntil([&] { return client.m_Relays.m_ListSendUtilV7.Size() == 0; }, 10s));
        auto statistic = [](const CPackV7& p) { return IsAnswer(p, CPackV7::askStatistic); };
        const size_t before = v7.m_Got.Count(statistic);
        CPackV7 hello = Ask(v7, CPackV7::askStatistic);
        v7.Request(hello);
        EXPECT_TRUE(v7.m_Got.Wait(statistic, before + 1, 20s))
            << "a closed tool that talks again gets a new relay";
        EXPECT_EQ(client.m_Relays.m_ListSendUtilV7.Size(), 1u);
    }

    // Disconnect: both relays stop, and nothing reaches a tool any more.
    ToolPeerV7 late(client.m_Pool);
    late.Open(LocalHostIPv6(), params.portV7, params.node, key);
    CPackV7 ask = Ask(late, CPackV7::askInfo);
    late.Request(ask);
    ASSERT_TRUE(late.m_Got.Wait([](const CPackV7& p) { return IsAnswer(p, CPackV7::askInfo); }, 1, 20s));
    client.m_Relays.Stop();
    EXPECT_FALSE(client.m_Relays.IsRun());
    EXPECT_EQ(client.m_Relays.m_ListSendUtilV7.Size() + client.m_Relays.m_ListSendUtil.Size(), 0u);
    CPackV7 unheard = Ask(late, CPackV7::askStatus);
    late.Request(unheard);
    EXPECT_FALSE(late.m_Got.Wait([](const CPackV7& p) { return IsAnswer(p, CPackV7::askStatus); }, 1, 1s));

    // A new connection: new listeners, and a tool pointed at them is served.
    client.m_Relays.Start();
    params = client.m_Relays.Params(true);
    EXPECT_TRUE(client.m_Relays.IsRun());
    ToolPeerV7 next(client.m_Pool);
    next.Open(LocalHostIPv6(), params.portV7, params.node, key);
    CPackV7 again = Ask(next, CPackV7::askStatus);
    next.Request(again);
    EXPECT_TRUE(next.m_Got.Wait([](const CPackV7& p) { return IsAnswer(p, CPackV7::askStatus); }, 1, 20s));
    ToolPeerDisp disp(client.m_Pool);
    disp.Open(params.portDisp);
    disp.SendMsg(MesImage(9, 1, 10, {1}));
    EXPECT_TRUE(disp.m_Msgs.Wait([](const std::vector<unsigned char>&) { return true; }, 1, 20s));
    g_StringENU = language;
}

// The six tools' command lines, in both languages, as a program found on the
// search path receives them; a tool that is not there is reported.
TEST(ToolLaunch, SixCommandLinesInBothLanguagesAndAMissingToolIsReported)
{
    const bool language = g_StringENU;
    g_StringENU = true;
    TempHome home;
    const std::string bin = home.Sub("bin"), rec = home.Sub("rec");
    std::filesystem::create_directories(bin);
    std::filesystem::create_directories(rec);
    const std::vector<std::string> names = {"VTool", "DeftTool", "VNVRAM", "VSvt", "VBattery", "VDisp"};
    for (const std::string& name : names) {
        const std::string path = bin + "/" + name;
        std::ofstream(path) << "#!/bin/sh\nIFS=' '\necho \"${0##*/} $*\" > " << rec << "/" << name << ".tmp && mv " << rec
                            << "/" << name << ".tmp " << rec << "/" << name << "\n";
        chmod(path.c_str(), 0755);
    }
    const char* oldPath = std::getenv("PATH");
    const std::string savedPath = oldPath ? oldPath : "";
    setenv("PATH", (bin + ":/bin:/usr/bin").c_str(), 1);

    CBadLog log;
    log.Open("C", "log");
    CToolParams p;
    p.portV7 = 40123;
    p.node = 4321;
    p.key = "00112233445566778899AABBCCDDEEFF";
    p.portDisp = 40456;
    const std::string v7 = " -h40123 -g4321 -k00112233445566778899AABBCCDDEEFF";
    for (bool enu : {false, true}) {
        p.enu = enu;
        const std::string e = enu ? " enu" : "";
        const std::vector<std::string> expected = {
            "VTool" + e + " -e127.0.0.1" + v7, "DeftTool -i1" + e + " -v40456", "VNVRAM" + e + " -e127.0.0.1" + v7,
            "VSvt" + e + " -e127.0.0.1" + v7,  "VBattery" + e + " -e::1" + v7,  "VDisp" + e + " -e::1" + v7};
        for (size_t i = 0; i < names.size(); ++i) {
            const std::string file = rec + "/" + names[i];
            std::filesystem::remove(file);
            DBString report;
            ASSERT_TRUE(LaunchTool(ToolArgs(kToolMenuIds[i], p), log, report)) << report.ToStr();
            ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(file); }, 10s)) << names[i];
            std::string line;
            std::getline(std::ifstream(file), line);
            EXPECT_EQ(line, expected[i]);
        }
    }
    std::filesystem::remove(bin + "/VSvt");
    DBString report;
    EXPECT_FALSE(LaunchTool(ToolArgs(10266, p), log, report));
    EXPECT_EQ(report.ToStr(), "The program VSvt could not be started: No such file or directory");
    setenv("PATH", savedPath.c_str(), 1);
    log.Close();
    EXPECT_NE(BadLogText(home).find("The program VSvt could not be started"), std::string::npos);
    g_StringENU = language;
}
