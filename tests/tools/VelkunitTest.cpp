// velkunit as a program: real sockets, a real pseudo-terminal, and a client
// that reads and writes the unit the way the configurator does.
#include "base/StringRes.h"
#include "link/V7Net.h"
#include "tests/support/TempHome.h"
#include "tests/tools/UnitClient.h"
#include "tools/velkunit/UnitFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

using namespace unittest;
using namespace velkunit;

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

// Image bytes [from, to) as read, and as expected.
std::vector<unsigned char> Read(const ImageRead& r, int from, int to)
{
    return std::vector<unsigned char>(r.m_Image.m_Data + from, r.m_Image.m_Data + to);
}
std::vector<unsigned char> Bytes(const Image& image, int from, int to)
{
    return std::vector<unsigned char>(image.begin() + from, image.begin() + to);
}

// The whole image that a configurator reads from the unit: main area,
// description (kDescrCM3V7 on generation 7) and the domains.
void ExpectWholeImage(const ImageRead& r, const Image& image)
{
    EXPECT_EQ(Read(r, 0x400, 0x800), Bytes(image, 0x400, 0x800));
    constexpr int descrEnd = CLBNVRAM::kDescrCM3V7 + CLBNVRAM::kDescrLen, domainEnd = CLBNVRAM::kDomain + CLBNVRAM::kDomainLen;
    EXPECT_EQ(Read(r, CLBNVRAM::kDescrCM3V7, descrEnd), Bytes(image, CLBNVRAM::kDescrCM3V7, descrEnd));
    EXPECT_EQ(Read(r, CLBNVRAM::kDomain, domainEnd), Bytes(image, CLBNVRAM::kDomain, domainEnd));
}

CPackV7 Write64(int adr, const unsigned char* bytes)
{
    unsigned char data[68] = {static_cast<unsigned char>(adr), static_cast<unsigned char>(adr >> 8), 0x40, 0x01};
    std::copy(bytes, bytes + 64, data + 4);
    CPackV7 p;
    p.SetAsk(CPackV7::packAsk, CPackV7::askNVRAM, 1, data, 68);
    return p;
}

CKeySys Key(const wchar_t* text)
{
    CKeySys key;
    key.Create(text);
    return key;
}

CKeySys DefaultKey()
{
    CKeySys key;
    key.SetDefault();
    return key;
}

// Class 3, type 5: its reason byte, or -1 when none came within `limit`.
int RefusalReason(NetClient& c, std::chrono::milliseconds limit = 10s)
{
    CPackV7 p;
    while (c.Next(p, limit))
        if (p.m_Class == CPackV7::classLink && p.m_Typ == 5) return p.m_Buf[13];
    return -1;
}

bool AnswersInfo(NetClient& c, std::chrono::milliseconds limit)
{
    CPackV7 p;
    while (c.Next(p, limit))
        if (p.m_Class == CPackV7::classData && p.m_Ask == CPackV7::askInfo) return true;
    return false;
}

}  // namespace

TEST(Velkunit, ReadSequenceOverUdpReturnsTheWholeImageAndSigtermStopsCleanly)
{
    TempHome home;
    const Image image = Marked(home.Sub("unit.img"));
    Simulator sim(Args({"--image", home.Sub("unit.img"), "--json"}));
    ASSERT_TRUE(sim.Started());
    NetClient client(kIdent, sim.Udp(), NetClient::Mode::direct, DefaultKey());
    ImageRead read([&](CPackV7& p) { client.Put(p); });
    read.Begin();
    ASSERT_TRUE(client.ReadAll(read));
    ExpectWholeImage(read, image);
    EXPECT_EQ(read.m_TypLB, 14);
    EXPECT_TRUE(sim.WaitLine("{\"time\":")) << "one JSON object per request";
    EXPECT_EQ(sim.CountLines("\"ask\":\"askNVRAM\""), 11);
    EXPECT_EQ(sim.Stop(), 0);
}

TEST(Velkunit, SavedChunksAreKeptAndTheUnitComesBackFromTheRestartOnThemAndOnTheirKey)
{
    TempHome home;
    const std::string state = home.Sub("unit.state");
    unsigned char chunk[64];
    for (int i = 0; i < 64; ++i) chunk[i] = static_cast<unsigned char>(200 - i);
    // The System page's key goes out in the first chunk of the main area.
    const CKeySys key = Key(L"saved2024k");
    unsigned char head[64];
    std::fill(head, head + 64, 0xFF);
    CIdentV7(kIdent, 0).GetValue(head + 1);
    std::copy(key.Data(), key.Data() + 16, head + 0x0B);
    auto readWith = [&](int port, const CKeySys& k) {
        NetClient reader(kIdent, port, NetClient::Mode::direct, k);
        ImageRead read([&](CPackV7& p) { reader.Put(p); });
        read.Begin();
        EXPECT_TRUE(reader.ReadAll(read));
        return Read(read, 0x640, 0x680);
    };
    {
        Simulator sim(Args({"--state", state, "--restart-delay", "0.5"}));
        ASSERT_TRUE(sim.Started());
        {
            NetClient saver(kIdent, sim.Udp(), NetClient::Mode::direct, DefaultKey());
            CPackV7 first = Write64(0x400, head), second = Write64(0x640, chunk), restart;
            restart.SetAsk(CPackV7::packAsk, CPackV7::askRestart, 1, nullptr, 0);
            saver.Put(first);
            saver.Put(second);
            saver.Put(restart);
            ASSERT_TRUE(sim.WaitLine("the unit is back"));
        }
        std::vector<unsigned char> bytes;
        std::string why;
        Image kept{};
        ASSERT_EQ(ReadWholeFile(state, 1 << 20, bytes, why), ReadResult::ok);
        ASSERT_TRUE(ParseStateFile(bytes.data(), bytes.size(), kept, why)) << why;
        EXPECT_EQ(Bytes(kept, 0x640, 0x680), std::vector<unsigned char>(chunk, chunk + 64));

        EXPECT_EQ(readWith(sim.Udp(), key), std::vector<unsigned char>(chunk, chunk + 64));
        NetClient old(kIdent, sim.Udp(), NetClient::Mode::direct, DefaultKey());
        ImageRead(([&](CPackV7& p) { old.Put(p); })).Begin();
        EXPECT_TRUE(sim.WaitLine("cannot be decrypted")) << "the default key is no longer the unit's";
    }
    Simulator next(Args({"--state", state}));
    EXPECT_EQ(readWith(next.Udp(), key), std::vector<unsigned char>(chunk, chunk + 64));
}

TEST(Velkunit, SerialLineAnswersTheReadSequenceAndAgainAfterTheRestartsReopen)
{
    TempHome home;
    const Image image = Marked(home.Sub("unit.img"));
    Simulator sim(Args({"--image", home.Sub("unit.img"), "--serial", "--restart-delay", "0.5"}));
    ASSERT_FALSE(sim.Serial().empty());
    SerialClient port(sim.Serial(), 1000);
    ImageRead read([&](CPackV7& p) { port.Put(p); });
    read.Begin();
    ASSERT_TRUE(port.ReadAll(read));
    ExpectWholeImage(read, image);
    EXPECT_EQ(sim.CountLines(" serial "), static_cast<int>(read.m_Replies.size()));

    // The configurator closes its end for the restart and opens it again.
    unsigned char chunk[64] = {1, 2, 3};
    CPackV7 write = Write64(0x400, chunk), restart;
    restart.SetAsk(CPackV7::packAsk, CPackV7::askRestart, 1, nullptr, 0);
    port.Put(write);
    port.Put(restart);
    ASSERT_TRUE(sim.WaitLine("the unit is back"));
    port.WaitReOpen();
    ImageRead again([&](CPackV7& p) { port.Put(p); });
    again.Begin();
    ASSERT_TRUE(port.ReadAll(again));
    EXPECT_EQ(Read(again, 0x400, 0x440), std::vector<unsigned char>(chunk, chunk + 64));
}

TEST(Velkunit, ButtonsMethodAnswersOncePressedAndNeverWithoutThePress)
{
    Simulator pressed(CloudArgs({"--buttons-after", "0.7"}));
    ASSERT_GT(pressed.Cloud(), 0);
    NetClient a(kIdent, pressed.Cloud(), NetClient::Mode::buttons, GuestKeySys());
    ImageRead read([&](CPackV7& p) { a.Put(p); });
    const auto asked = Clock::now();
    read.BeginCloud();
    ASSERT_TRUE(a.ReadAll(read));
    EXPECT_GE(Clock::now() - asked, 700ms) << "not before the buttons";
    EXPECT_GT(a.PacketsFrom(V7Net::kNodeCloud), 0) << "the server announced itself";
    EXPECT_EQ(read.m_Replies.front().m_Ask, CPackV7::askInfo);

    Simulator never(CloudArgs({"--buttons-after", "-1"}));
    NetClient b(kIdent, never.Cloud(), NetClient::Mode::buttons, GuestKeySys());
    ImageRead none([&](CPackV7& p) { b.Put(p); });
    none.BeginCloud();
    CPackV7 p;
    ASSERT_TRUE(b.Next(p)) << "the server reports the unit";
    EXPECT_TRUE(p.m_Class == CPackV7::classLink && p.m_Typ == CPackV7::packLinkAlive);
    EXPECT_FALSE(AnswersInfo(b, 2s));
    EXPECT_GT(b.PacketsFrom(V7Net::kNodeCloud), 0);
}

TEST(Velkunit, KeyMethodAnswersTheUnitsKeyOnly)
{
    Simulator sim(CloudArgs({"--key", "lift2024a"}));
    NetClient good(kIdent, sim.CloudKey(), NetClient::Mode::key, Key(L"lift2024a"));
    ImageRead read([&](CPackV7& p) { good.Put(p); });
    const CKeySys key = Key(L"lift2024a");
    read.BeginCloud(key.Data());
    ASSERT_TRUE(good.ReadAll(read));
    EXPECT_NE(good.m_TimeServer.load(), 0) << "packets from the server node";

    NetClient bad(kIdent, sim.CloudKey(), NetClient::Mode::key, Key(L"other2024b"));
    ImageRead refused([&](CPackV7& p) { bad.Put(p); });
    refused.BeginCloud(Key(L"other2024b").Data());
    EXPECT_FALSE(AnswersInfo(bad, 2s));
    EXPECT_NE(bad.m_TimeServer.load(), 0);
    EXPECT_TRUE(sim.WaitLine("is not the unit's link key"));
}

TEST(Velkunit, RefusalsArriveWhenAskedForAndForAnUnknownIdentifier)
{
    Simulator busy(CloudArgs({"--refuse", "busy"}));
    NetClient direct(kIdent, busy.Udp(), NetClient::Mode::direct, DefaultKey());
    ImageRead(([&](CPackV7& p) { direct.Put(p); })).Begin();
    EXPECT_EQ(RefusalReason(direct), 1);
    NetClient cloud(kIdent, busy.Cloud(), NetClient::Mode::buttons, GuestKeySys());
    ImageRead(([&](CPackV7& p) { cloud.Put(p); })).BeginCloud();
    EXPECT_EQ(RefusalReason(cloud), 1);

    Simulator plain(CloudArgs({}));
    NetClient stranger(kIdent + 1, plain.Cloud(), NetClient::Mode::buttons, GuestKeySys());
    ImageRead(([&](CPackV7& p) { stranger.Put(p); })).BeginCloud();
    EXPECT_EQ(RefusalReason(stranger), 7) << "the server knows no unit of that identifier";
}

TEST(Velkunit, ReadCompletesWhenAFifthOfTheDatagramsAreLostBothWays)
{
    TempHome home;
    const Image image = Marked(home.Sub("unit.img"));
    // More tries than the production five, so that a loss which the real
    // link would report in one run out of a few hundred cannot fail the test.
    Simulator sim(Args({"--image", home.Sub("unit.img"), "--drop", "0.2", "--seed", "7", "--max-try", "12",
                        "--retry-ms", "300"}));
    NetClient client(kIdent, sim.Udp(), NetClient::Mode::direct, DefaultKey(), 0, 0.2);
    ImageRead read([&](CPackV7& p) { client.Put(p); });
    read.Begin();
    ASSERT_TRUE(client.ReadAll(read, 60s));
    ExpectWholeImage(read, image);
}

TEST(Velkunit, FaultsShowAsTheConfiguratorSeesThem)
{
    const bool language = g_StringENU;
    g_StringENU = true;   // the link's reports in English
    Simulator sim(Args({"--nvram-status", "5", "--wrong-key", "1", "--delay", "300", "--silent-after", "3"}));
    NetClient client(kIdent, sim.Udp(), NetClient::Mode::direct, DefaultKey());
    ImageRead read([&](CPackV7& p) { client.Put(p); });
    const auto asked = Clock::now();
    read.Ask(CPackV7::askInfo, nullptr, 0);
    CPackV7 p;
    ASSERT_TRUE(client.Next(p));
    EXPECT_GE(Clock::now() - asked, 300ms);
    EXPECT_TRUE(WaitUntil([&] { return client.Reports(L"cannot be decrypted") > 0; })) << "the copy under a wrong key";

    read.Read(0x400, 128);
    ASSERT_TRUE(client.Next(p));
    EXPECT_EQ(p.m_Buf[17], 5) << "the status asked for";
    EXPECT_EQ(p.m_Len, 18);

    read.Ask(CPackV7::askStatus, nullptr, 0);
    ASSERT_TRUE(client.Next(p));
    read.Ask(CPackV7::askStatus, nullptr, 0);
    EXPECT_FALSE(client.Next(p, 1500ms)) << "silent after three";
    EXPECT_TRUE(sim.WaitLine("ignored, silent"));
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

TEST(Velkunit, HelpDocumentsEveryOptionThatScriptsRelyOn)
{
    std::string out, err;
    ASSERT_EQ(RunToEnd({"--help"}, out, err), 0);
    for (const char* option :
         {"--udp-port N", "--ident N", "--type N", "--subtype N", "--version A.B.C", "--features B15,B16", "--image FILE",
          "--state FILE", "--key TEXT", "--serial", "--cloud ", "--cloud-port N", "--cloud-key-port N",
          "--buttons-after SECONDS", "--restart-delay SECONDS", "--drop FRACTION", "--seed N", "--refuse busy|ident",
          "--json", "--delay MS", "--silent-after N", "--nvram-status N", "--wrong-key N"})
        EXPECT_NE(out.find(option), std::string::npos) << option;
    EXPECT_EQ(RunToEnd({"--udp-port", "x"}, out, err), 2);
    EXPECT_NE(err.find("--udp-port"), std::string::npos);
}
