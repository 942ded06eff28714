// The three logs in a private HOME: file numbering and append, rotation,
// the repeat filter, line formats, failures reported on standard output, the
// message-box seam, and the pool writing to a log.
#include "base/BasePoolThread.h"
#include "base/CBadLog.h"
#include "base/CDispLog.h"
#include "base/CPortLog.h"
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <filesystem>
#include "support/WaitUntil.h"

#include <fstream>
#include <functional>
#include <vector>

namespace fs = std::filesystem;

namespace velktest {   // ThreadTest.cpp
bool Like(const char* text, const char* pattern);
}  // namespace velktest

namespace {

const std::string kStamp = "##.##.#### ##:##:## ";
bool Like(const std::string& text, const std::string& pattern) { return velktest::Like(text.c_str(), pattern.c_str()); }

std::string LogDir(const TempHome& home, const char* leaf = "bad") { return home.Sub("VELK/logs/Velkonf/") + leaf; }
// dir/C<7 digits>.log
std::string File(const std::string& dir, int n) { return dir + "/C" + std::to_string(10000000 + n).substr(1) + ".log"; }

std::vector<std::string> ReadLines(const std::string& path)
{
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
}

// The lines of the file once all that was put so far is written: lines are
// written in the order they were put, so a marker put last proves them done.
std::vector<std::string> Written(CBaseLog& log, const std::string& file)
{
    log.PutDirect(std::string("marker"));
    std::vector<std::string> lines;
    EXPECT_TRUE(WaitUntil([&] {
        lines = ReadLines(file);
        return !lines.empty() && lines.back() == "marker";
    })) << file;
    if (!lines.empty() && lines.back() == "marker") lines.pop_back();
    return lines;
}

// The error log, counting its failure reports (still printed on standard output).
struct CountingBadLog : public CBadLog {
    ~CountingBadLog() override { Close(); }
    void Error(const std::string& text) override
    {
        CBadLog::Error(text);
        ++errors;
    }
    std::atomic<int> errors{0};
};

}  // namespace

TEST(LogFiles, ANewRunAppendsToTheNewestFile)
{
    TempHome home;
    const std::string dir = LogDir(home);
    fs::create_directories(dir);
    std::ofstream(File(dir, 3)) << "three\n";
    std::ofstream(File(dir, 7)) << "seven\n";
    CBadLog log;
    ASSERT_TRUE(log.Open("C", "log"));
    log.PutUtf8("привет");
    log.Put(L"wide");
    log.PutFormat(L"%d-%ls", 42, L"x");
    const auto lines = Written(log, File(dir, 7));
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "seven");
    for (int i : {1, 2, 3})
        EXPECT_TRUE(Like(lines[i], kStamp + (i == 1 ? "привет" : i == 2 ? "wide" : "42-x"))) << lines[i];
    EXPECT_EQ(ReadLines(File(dir, 3)), std::vector<std::string>{"three"});
}

TEST(LogFiles, PastAMillionBytesTheBadLogRotatesKeepsThreeOlderFilesAndLeavesForeignFilesAlone)
{
    TempHome home;
    const std::string dir = LogDir(home);
    fs::create_directories(dir);
    for (int n = 1; n <= 9; ++n) std::ofstream(File(dir, n)) << "x\n";
    std::ofstream(File(dir, 10)) << std::string(CBaseLog::kRotateBytes, 'z');
    std::ofstream(dir + "/D0000002.log") << "foreign\n";
    CBadLog log;
    ASSERT_TRUE(log.Open("C", "log"));
    EXPECT_TRUE(Written(log, File(dir, 11)).empty());
    for (int n = 1; n <= 11; ++n) EXPECT_EQ(fs::exists(File(dir, n)), n >= 8) << n;
    EXPECT_TRUE(fs::exists(dir + "/D0000002.log"));
    EXPECT_EQ(fs::file_size(File(dir, 10)), static_cast<uintmax_t>(CBaseLog::kRotateBytes));
}

TEST(BadLog, RepeatsAreSilencedButNotInTheBoxFormsWhichAloneReachTheHandlerAndThePoolWritesHere)
{
    TempHome home;
    std::vector<DBString> shown;
    CBadLog::SetBoxHandler([&](const DBString& text) { shown.push_back(text); });
    CBadLog log;
    ASSERT_TRUE(log.Open("C", "log"));
    const unsigned char bytes[] = {1, 2};
    log.PutErr(L"recv", ENOENT);
    log.PutErr(L"recv", ENOENT);          // silenced
    log.PutErr(L"recv", EACCES);          // another code: written at once
    log.PutMes(L"pack", bytes, 2);
    log.PutMes(L"pack", bytes, 2);        // silenced
    log.PutErr(L"recv", ENOENT, false);   // the forms of CBadLog bypass the filter
    log.Put(L"quiet", false);
    log.PutErr(L"port", EBUSY, true);
    log.PutErr(L"", 0, true);             // empty: neither line nor box
    CBadLog::SetBoxHandler(nullptr);
    log.Put(L"no handler", true);
    PoolThread pool("VelkonfApp", false, &log);
    int context = 0;
    auto idle = [](void*) { return true; };
    pool.StartProc("twice", idle, &context, 0, 60000);
    pool.StartProc("twice", idle, &context, 0, 60000);
    pool.StopProc(idle, &context);
    const auto lines = Written(log, File(LogDir(home), 1));
    const std::vector<std::string> texts = {"recv: 2 - No such file or directory", "recv: 13 - Permission denied",
                                            "pack 01 02", "recv: 2 - No such file or directory", "quiet",
                                            "port: 16 - Device or resource busy", "no handler",
                                            "twice NOT added to pool VelkonfApp because there is already a thread "
                                            "twice(0,60000)*"};
    ASSERT_EQ(lines.size(), texts.size());
    for (size_t i = 0; i < texts.size(); ++i)
        EXPECT_TRUE(Like(lines[i], kStamp + texts[i])) << lines[i];
    EXPECT_EQ(shown, (std::vector<DBString>{L"port: 16 - Device or resource busy"}));
}

TEST(BadLog, ASilentSpellRunsFromItsFirstLineAndExpiredTextsAreSwept)
{
    const time_t t0 = CBaseLog::DelayMsg::Now();
    CBaseLog::DelayMsg filter(5);
    EXPECT_TRUE(filter.IsNeedToPut("a", t0));
    EXPECT_FALSE(filter.IsNeedToPut("a", t0 + 200));   // repeats do not push the spell back
    EXPECT_TRUE(filter.IsNeedToPut("b", t0 + 200));
    EXPECT_FALSE(filter.IsNeedToPut("a", t0 + 299));
    EXPECT_TRUE(filter.IsNeedToPut("a", t0 + 300));
    EXPECT_EQ(filter.Size(), 2u);
    EXPECT_TRUE(filter.IsNeedToPut("c", t0 + 2000));   // past the sweep time: a and b go
    EXPECT_EQ(filter.Size(), 1u);
}

TEST(LogTexts, ErrorsBytesAndAddresses)
{
    EXPECT_EQ(CBaseLog::CnvErr(L"open", 0), L"open");
    EXPECT_EQ(CBaseLog::CnvErr(L"open", ENOENT), L"open: 2 - No such file or directory");
    EXPECT_EQ(CBaseLog::CnvErr(L"open", 99999), L"open: 99999 - ?");
    EXPECT_EQ(CBaseLog::CnvErr(L"open", -1), L"open: -1 - ?");

    unsigned char bytes[31];
    for (int i = 0; i < 31; ++i) bytes[i] = static_cast<unsigned char>(0xE0 + i);
    const DBString thirty = CBaseLog::CnvMes(L"m", bytes, 30);
    EXPECT_EQ(thirty.size(), 1u + 30 * 3);
    EXPECT_EQ(thirty.substr(thirty.size() - 3), L" FD");
    EXPECT_EQ(CBaseLog::CnvMes(L"m", bytes, 31), thirty + L" ...");
    EXPECT_EQ(CBaseLog::CnvMes(L"m", bytes, 0), L"m");

    EXPECT_EQ(CBaseLog::StrMes(bytes, 2), "E0 E1 ");
    EXPECT_EQ(CBaseLog::StrMes(bytes, -4), "");

    EXPECT_EQ(CBaseLog::ToStr(LocalHostIPv6(), 80), std::string(36, ' ') + "::1|00080 ");
    const std::string widest = "1234:5678:9abc:def0:1234:5678:9abc:def0";
    EXPECT_EQ(CBaseLog::ToStr(IP6FromStr(widest), 65535), widest + "|65535 ");
    EXPECT_EQ(CBaseLog::ToStr(IP6FromStr("10.0.0.1"), 123456), std::string(24, ' ') + "::ffff:10.0.0.1|123456 ");
}

TEST(LogTexts, PortAndDispatcherLinesAndNoLineForLengthZero)
{
    TempHome home;
    CPortLog port;
    CDispLog disp;
    ASSERT_TRUE(port.Open("C", "log"));
    ASSERT_TRUE(disp.Open("C", "log"));
    const unsigned char bytes[] = {0x01, 0xFF, 0x7A};
    port.Put(recInp, NulIPv6(), 0, bytes, 0);
    port.Put(recInp, NulIPv6(), 0, bytes, 2);
    disp.Put(recOut, LocalHostIPv6(), 46000, bytes, 3);
    disp.Put(recOut, LocalHostIPv6(), 46000, bytes, -1);
    const std::string time = "##.##.#### ##:##.##";
    const auto dat = Written(port, File(LogDir(home, "dat"), 1));
    ASSERT_EQ(dat.size(), 1u);
    EXPECT_TRUE(Like(dat[0], "0" + std::string(38, ' ') + "::|00000 " + time + "<01 FF ")) << dat[0];
    const auto dsp = Written(disp, File(LogDir(home, "disp"), 1));
    ASSERT_EQ(dsp.size(), 1u);
    EXPECT_TRUE(Like(dsp[0], ">" + std::string(36, ' ') + "::1|46000 " + time + " 01 FF 7A ")) << dsp[0];
}

TEST(LogFailures, FailuresAreReportedOnStandardOutputAndTheNextLineTriesAgain)
{
    TempHome home;
    const std::string dir = LogDir(home);
    std::ofstream(home.Sub("VELK")) << "a file where the folder should be";
    CountingBadLog log;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(log.Open("C", "log"));
    log.PutUtf8("lost");
    EXPECT_TRUE(WaitUntil([&] { return log.errors == 2; }));
    // The folder now exists, but the file is a device with no room.
    fs::remove(home.Sub("VELK"));
    fs::create_directories(dir);
    fs::create_symlink("/dev/full", File(dir, 1));
    log.PutUtf8("no room");
    EXPECT_TRUE(WaitUntil([&] { return log.errors == 3; }));
    fs::remove(File(dir, 1));
    log.PutUtf8("back");
    const auto lines = Written(log, File(dir, 1));
    EXPECT_TRUE(lines.size() == 1 && lines[0].ends_with("back")) << "the line before it is lost";
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, dir + ": CBaseLog::OpenNew 1: 20 - Not a directory\n" + dir +
                       ": CBaseLog::OpenNew 2: 20 - Not a directory\n" + dir +
                       ": CBaseLog::PutInner !good(): 28 - No space left on device\n");
}

TEST(LogFailures, WithoutHomeOpenThrowsBeforeAnythingStarts)
{
    TempHome home;
    unsetenv("HOME");
    CPortLog log;
    EXPECT_THROW(PathLogs(), ErrorXML);
    EXPECT_THROW(log.Open("C", "log"), ErrorXML);
    log.PutUtf8("nowhere");   // still never blocks nor throws
}
