// velkunit as a program: real sockets, a real pseudo-terminal, and the
// configurator's own windowless client (CClientLU) reading and saving it.
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "base/StringRes.h"
#include "link/V7Net.h"
#include "tests/support/Simulator.h"
#include "tests/support/TempHome.h"
#include "tests/support/WaitUntil.h"
#include "tools/velkunit/UnitFile.h"
#include "unit/CClientLU.h"
#include "unit/CUnitLB.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace unittest;
using namespace velkunit;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kIdent = 4321;

// An image in which every byte tells its place, saved for --image. Its key
// is erased: the unit runs on the default key.
Image Marked(const std::string& path)
{
    Image image;
    for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<unsigned char>(i ^ (i >> 8) ^ 0x5A);
    std::fill(image.begin() + 0x40B, image.begin() + 0x41B, 0xFF);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(image.data()), image.size());
    return image;
}

std::vector<std::string> Args(std::vector<std::string> more)
{
    std::vector<std::string> args = {"--udp-port", "0", "--bind", "::1", "--ident", std::to_string(kIdent)};
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

std::vector<std::string> CloudArgs(std::vector<std::string> more)
{
    more.insert(more.begin(), {"--cloud", "--cloud-port", "0", "--cloud-key-port", "0"});
    return Args(more);
}

CKeySys Key(const wchar_t* text)
{
    CKeySys key;
    key.Create(text);
    return key;
}

CTargetLU Net(int method, int port, const CKeySys& key = CKeySys())
{
    CTargetLU t;
    t.method = method;
    t.addr = LocalHostIPv6();
    t.port = port;
    t.ident = kIdent;
    t.key = key;
    return t;
}

std::vector<unsigned char> Bytes(const unsigned char* data, int from, int to)
{
    return std::vector<unsigned char>(data + from, data + to);
}

// The whole image a configurator reads: main area, description, domains.
void ExpectWholeImage(const CUnitLB& unit, const Image& image)
{
    for (auto [from, to] : {std::pair{0x400, 0x800}, std::pair{CLBNVRAM::kDescrCM3V7, CLBNVRAM::kDescrCM3V7 + 96},
                            std::pair{CLBNVRAM::kDomain, CLBNVRAM::kDomain + CLBNVRAM::kDomainLen}})
        EXPECT_EQ(Bytes(unit.m_NVRAM.m_Data, from, to), Bytes(image.data(), from, to)) << std::hex << from;
}

Image Kept(const std::string& state)
{
    std::vector<unsigned char> bytes;
    std::string why;
    Image kept{};
    EXPECT_EQ(ReadWholeFile(state, 1 << 20, bytes, why), ReadResult::ok);
    EXPECT_TRUE(ParseStateFile(bytes.data(), bytes.size(), kept, why)) << why;
    return kept;
}

}  // namespace

TEST(Velkunit, ReadSequenceOverUdpReturnsTheWholeImageAndSigtermStopsCleanly)
{
    TempHome home;
    const Image image = Marked(home.Sub("unit.img"));
    Simulator sim(Args({"--image", home.Sub("unit.img"), "--json"}));
    ASSERT_TRUE(sim.Started());
    CClientLU client;
    client.Open(Net(typConnectIP, sim.Udp()));
    CUnitLB unit;
    std::string why;
    ASSERT_TRUE(client.Read(unit, 30s, why)) << why;
    ExpectWholeImage(unit, image);
    EXPECT_EQ(unit.m_TypLB, 14);
    // Its lines reach the test after the replies; wait for all eleven reads.
    EXPECT_TRUE(WaitUntil([&] { return sim.CountLines("\"ask\":\"askNVRAM\"") >= 11; })) << "one JSON object per request";
    EXPECT_EQ(sim.CountLines("\"ask\":\"askNVRAM\""), 11);
    EXPECT_EQ(sim.Stop(), 0);
}

TEST(Velkunit, ASaveIsKeptAndTheUnitComesBackOnItAndOnItsKey)
{
    TempHome home;
    const std::string state = home.Sub("unit.state");
    const CKeySys key = Key(L"saved2024k");
    std::vector<unsigned char> chunk(64);
    for (int i = 0; i < 64; ++i) chunk[static_cast<size_t>(i)] = static_cast<unsigned char>(200 - i);
    auto readWith = [&](int port, const CKeySys& k) {
        CClientLU reader;
        reader.Open(Net(typConnectIP, port, k));
        CUnitLB unit;
        std::string why;
        EXPECT_TRUE(reader.Read(unit, 30s, why)) << why;
        return Bytes(unit.m_NVRAM.m_Data, 0x640, 0x680);
    };
    {
        Simulator sim(Args({"--state", state, "--restart-delay", "0.5"}));
        ASSERT_TRUE(sim.Started());
        {
            CClientLU saver;
            saver.Open(Net(typConnectIP, sim.Udp()));
            CUnitLB unit;
            std::string why;
            ASSERT_TRUE(saver.Read(unit, 30s, why)) << why;
            unit.m_NVRAM.SetEth(0x0B, key.Data(), 16);   // as the System page writes a new key
            unit.m_NVRAM.Set(0x640, chunk.data(), 64);
            EXPECT_EQ(saver.Save(unit), 2);
            ASSERT_TRUE(sim.WaitLine("the unit is back"));
        }
        EXPECT_EQ(Bytes(Kept(state).data(), 0x640, 0x680), chunk);
        EXPECT_EQ(readWith(sim.Udp(), key), chunk);
        CClientLU old;
        old.Open(Net(typConnectIP, sim.Udp()));
        CUnitLB unit;
        std::string why;
        EXPECT_FALSE(old.Read(unit, 1s, why));
        EXPECT_TRUE(sim.WaitLine("cannot be decrypted")) << "the default key is no longer the unit's";
    }
    Simulator next(Args({"--state", state}));
    EXPECT_EQ(readWith(next.Udp(), key), chunk);
}

TEST(Velkunit, SerialLineAnswersTheReadAndAgainAfterTheRestartsReopenAndPacesAsItsBaudRate)
{
    TempHome home;
    const Image image = Marked(home.Sub("unit.img"));
    Simulator sim(Args({"--image", home.Sub("unit.img"), "--serial", "--restart-delay", "0.5", "--baud", "115200"}));
    ASSERT_FALSE(sim.Serial().empty());
    CClientLU port;
    port.m_PortNVRAM.m_Timing.reopenMs = 1000;
    CTargetLU line;
    line.method = typConnectUSB;
    line.serial = sim.Serial();
    port.Open(line);
    CUnitLB unit;
    std::string why;
    const auto started = Clock::now();
    ASSERT_TRUE(port.Read(unit, 30s, why)) << why;
    // 13 requests and their answers, about 2000 bytes: at least 170 ms at 115200 baud.
    EXPECT_GE(Clock::now() - started, 150ms) << "the line is paced";
    ExpectWholeImage(unit, image);
    EXPECT_EQ(sim.CountLines(" serial "), 13);

    // The configurator closes its end for the restart and opens it again.
    unit.m_NVRAM.SetEth(0, 1);
    EXPECT_EQ(port.Save(unit), 1);
    ASSERT_TRUE(sim.WaitLine("the unit is back"));
    port.m_PortNVRAM.WaitReOpen();
    CUnitLB again;
    ASSERT_TRUE(port.Read(again, 30s, why)) << why;
    EXPECT_EQ(again.m_NVRAM.GetEth(0), 1);
}

// The GUI tests see both cloud methods succeed; what they cannot see is a
// server that answers without the press or on a wrong key.
TEST(Velkunit, CloudMethodsNeverAnswerWithoutThePressOrOnAWrongKey)
{
    Simulator sim(CloudArgs({"--buttons-after", "-1", "--key", "lift2024a"}));
    std::string why;
    CClientLU buttons;
    buttons.Open(Net(typConnectCloud, sim.Cloud(), GuestKeySys()));
    CUnitLB none;
    EXPECT_FALSE(buttons.Read(none, 2s, why));
    EXPECT_TRUE(buttons.m_CloudFound) << "the server announced itself";
    EXPECT_TRUE(sim.WaitLine("askInfo")) << "asked, and never answered";

    CClientLU bad;
    bad.Open(Net(typConnectCloudKey, sim.CloudKey(), Key(L"other2024b")));
    CUnitLB refused;
    EXPECT_FALSE(bad.Read(refused, 2s, why));
    EXPECT_NE(bad.m_ReceivNet.m_TimeServer.load(), 0) << "packets from the server node";
    EXPECT_TRUE(sim.WaitLine("is not the unit's link key"));
}

TEST(Velkunit, ReadCompletesWhenAFifthOfTheUnitsDatagramsAreLost)
{
    TempHome home;
    const Image image = Marked(home.Sub("unit.img"));
    // More tries than the production five, so that a loss which the real
    // link would report in one run out of a few hundred cannot fail the test.
    Simulator sim(Args({"--image", home.Sub("unit.img"), "--drop", "0.2", "--seed", "7", "--max-try", "12",
                        "--retry-ms", "300"}));
    CClientLU client;
    client.m_SendNet.m_MaxTry = 12;
    client.m_SendNet.m_TimeTry = 300;
    client.Open(Net(typConnectIP, sim.Udp()));
    CUnitLB unit;
    std::string why;
    ASSERT_TRUE(client.Read(unit, 60s, why)) << why;
    ExpectWholeImage(unit, image);
}

TEST(Velkunit, FaultsShowAsTheConfiguratorSeesThem)
{
    TempHome home;
    const bool language = g_StringENU;
    g_StringENU = true;   // the link's reports in English
    Simulator sim(Args({"--nvram-status", "5", "--wrong-key", "1", "--delay", "300", "--silent-after", "3"}));
    CClientLU client;
    client.m_BadLog.Open("C", "log");
    client.Open(Net(typConnectIP, sim.Udp()));
    auto ask = [&](int what, std::vector<unsigned char> data) {
        CPackV7 p = client.NewPack();
        p.SetAsk(CPackV7::packAsk, what, 1, data.data(), static_cast<int>(data.size()));
        client.Put(p);
    };
    const auto asked = Clock::now();
    ask(CPackV7::askInfo, {});
    CPackV7 p;
    ASSERT_TRUE(client.Next(p, 10s));
    EXPECT_GE(Clock::now() - asked, 300ms);

    ask(CPackV7::askNVRAM, {0x00, 0x04, 0x80, 0x00});
    ASSERT_TRUE(client.Next(p, 10s));
    EXPECT_EQ(p.m_Buf[17], 5) << "the status asked for";
    EXPECT_EQ(p.m_Len, 18);

    ask(CPackV7::askStatus, {});
    ASSERT_TRUE(client.Next(p, 10s));
    ask(CPackV7::askStatus, {});
    EXPECT_FALSE(client.Next(p, 1500ms)) << "silent after three";
    EXPECT_TRUE(sim.WaitLine("ignored, silent"));
    client.Close();
    client.m_BadLog.Close();
    std::stringstream log;
    for (const auto& f : std::filesystem::directory_iterator(home.Sub("VELK/logs/Velkonf/bad")))
        log << std::ifstream(f.path()).rdbuf();
    EXPECT_NE(log.str().find("cannot be decrypted"), std::string::npos) << "the copy under a wrong key: " << log.str();
    g_StringENU = language;
}

TEST(Velkunit, MalformedStateFileStopsTheProgramAndIsLeftAlone)
{
    TempHome home;
    const std::string state = home.Sub("unit.state");
    std::vector<unsigned char> bytes = StateFileBytes(Image{});
    bytes[500] ^= 0x10;
    std::ofstream(state, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::string out, err;
    EXPECT_EQ(RunToEnd(Args({"--state", state}), out, err), 3);
    EXPECT_NE(err.find("damaged"), std::string::npos) << err;
    EXPECT_NE(err.find(state), std::string::npos);
    std::vector<unsigned char> after;
    std::string why;
    ASSERT_EQ(ReadWholeFile(state, 1 << 20, after, why), ReadResult::ok);
    EXPECT_EQ(after, bytes);
    EXPECT_EQ(out.find("udp "), std::string::npos) << "nothing started";
}
