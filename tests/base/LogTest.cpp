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
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <fstream>
#include <regex>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace velktest {
bool WaitUntil(const std::function<bool()>& done);   // ThreadTest.cpp
}

namespace {

const char* kStamp = "[0-9]{2}\\.[0-9]{2}\\.[0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2} ";

std::vector<std::string> ReadLines(const std::string& path)
{
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
}

// Waits for a line of the file that ends with `tail`. Lines are written in
// the order they were put, so a marker put last proves the earlier ones done.
bool WaitForLine(const std::string& path, const std::string& tail)
{
    return velktest::WaitUntil([&] {
        for (const auto& l : ReadLines(path))
            if (l.size() >= tail.size() && l.compare(l.size() - tail.size(), tail.size(), tail) == 0) return true;
        return false;
    });
}

int CountWith(const std::vector<std::string>& lines, const std::string& part)
{
    return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                          [&](const std::string& l) { return l.find(part) != std::string::npos; }));
}

void WriteFile(const std::string& path, const std::string& content)
{
    std::ofstream(path) << content;
}

std::string BadDir(const TempHome& home) { return home.Sub("VELK/logs/Velkonf/bad"); }
std::string File(const std::string& dir, int n)
{
    char name[32];
    snprintf(name, sizeof name, "/C%07d.log", n);
    return dir + name;
}

// The error log with its failure reports kept for the test (and still
// printed on standard output).
class CaptureBadLog : public CBadLog {
public:
    ~CaptureBadLog() override { Close(); }
    void Error(const std::string& text) override
    {
        CBadLog::Error(text);
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Errors.push_back(text);
    }
    bool WaitForError(const std::string& head)
    {
        return velktest::WaitUntil([&] {
            std::lock_guard<std::mutex> lock(m_Mutex);
            for (const auto& e : m_Errors)
                if (e.rfind(head, 0) == 0) return true;
            return false;
        });
    }

private:
    std::mutex m_Mutex;
    std::vector<std::string> m_Errors;
};

}  // namespace

TEST(LogFiles, ANewRunAppendsToTheNewestFileAndLeavesOtherFilesAlone)
{
    TempHome home;
    fs::create_directories(BadDir(home));
    WriteFile(File(BadDir(home), 3), "three\n");
    WriteFile(File(BadDir(home), 7), "seven\n");
    WriteFile(BadDir(home) + "/notes.txt", "mine\n");
    WriteFile(BadDir(home) + "/C.log", "no number\n");
    CBadLog log;
    ASSERT_TRUE(log.Open("C", "log"));
    log.PutUtf8("привет");
    log.Put(L"wide");
    log.PutFormat(L"%d-%ls", 42, L"x");
    log.PutDirect(std::string("marker"));
    ASSERT_TRUE(WaitForLine(File(BadDir(home), 7), "marker"));
    const auto lines = ReadLines(File(BadDir(home), 7));
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], "seven");
    EXPECT_TRUE(std::regex_match(lines[1], std::regex(std::string(kStamp) + "привет"))) << lines[1];
    EXPECT_TRUE(std::regex_match(lines[2], std::regex(std::string(kStamp) + "wide"))) << lines[2];
    EXPECT_TRUE(std::regex_match(lines[3], std::regex(std::string(kStamp) + "42-x"))) << lines[3];
    EXPECT_EQ(ReadLines(File(BadDir(home), 3)), std::vector<std::string>{"three"});
    EXPECT_EQ(ReadLines(BadDir(home) + "/notes.txt"), std::vector<std::string>{"mine"});
    EXPECT_EQ(log.NumFile("C0000012.log"), 12);
}

TEST(LogFiles, PastAMillionBytesTheBadLogRotatesAndKeepsThreeOlderFiles)
{
    TempHome home;
    const std::string dir = BadDir(home);
    fs::create_directories(dir);
    for (int n = 1; n <= 9; ++n) WriteFile(File(dir, n), "x\n");
    WriteFile(File(dir, 10), std::string(CBaseLog::kRotateBytes, 'z'));
    WriteFile(dir + "/D0000002.log", "foreign\n");
    CBadLog log;
    ASSERT_TRUE(log.Open("C", "log"));
    log.PutDirect(std::string("first of eleven"));
    ASSERT_TRUE(WaitForLine(File(dir, 11), "first of eleven"));
    for (int n = 1; n <= 7; ++n) EXPECT_FALSE(fs::exists(File(dir, n))) << n;
    for (int n = 8; n <= 11; ++n) EXPECT_TRUE(fs::exists(File(dir, n))) << n;
    EXPECT_TRUE(fs::exists(dir + "/D0000002.log"));
    EXPECT_EQ(fs::file_size(File(dir, 10)), static_cast<uintmax_t>(CBaseLog::kRotateBytes));
}

TEST(LogFilter, TheSameErrorTwiceWritesOneLineAndADifferentCodeWritesAtOnce)
{
    TempHome home;
    CBadLog log;
    ASSERT_TRUE(log.Open("C", "log"));
    log.PutErr(L"recv", ENOENT);
    log.PutErr(L"recv", ENOENT);
    log.PutErr(L"recv", EACCES);
    log.PutErr(L"recv", ENOENT, false);   // the CBadLog form bypasses the filter
    const unsigned char bytes[] = {1, 2};
    log.PutMes(L"pack", bytes, 2);
    log.PutMes(L"pack", bytes, 2);
    log.PutDirect(std::string("marker"));
    ASSERT_TRUE(WaitForLine(File(BadDir(home), 1), "marker"));
    const auto lines = ReadLines(File(BadDir(home), 1));
    EXPECT_EQ(CountWith(lines, "recv: 2 - No such file or directory"), 2);
    EXPECT_EQ(CountWith(lines, "recv: 13 - Permission denied"), 1);
    EXPECT_EQ(CountWith(lines, "pack 01 02"), 1);
}

TEST(LogFilter, ASilentSpellRunsFromItsFirstLineAndExpiredTextsAreSwept)
{
    const time_t t0 = std::time(nullptr);
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
    const DBString more = CBaseLog::CnvMes(L"m", bytes, 31);
    EXPECT_EQ(more, thirty + L" ...");
    EXPECT_EQ(CBaseLog::CnvMes(L"m", bytes, 0), L"m");

    EXPECT_EQ(CBaseLog::StrMes(bytes, 2), "E0 E1 ");
    EXPECT_EQ(CBaseLog::StrMes(bytes, 0), "");
    EXPECT_EQ(CBaseLog::StrMes(bytes, -4), "");

    EXPECT_EQ(CBaseLog::ToStr(LocalHostIPv6(), 80), std::string(36, ' ') + "::1|00080 ");
    const std::string widest = "1234:5678:9abc:def0:1234:5678:9abc:def0";
    EXPECT_EQ(CBaseLog::ToStr(IP6FromStr(widest), 65535), widest + "|65535 ");
    EXPECT_EQ(CBaseLog::ToStr(IP6FromStr("10.0.0.1"), 123456), std::string(24, ' ') + "::ffff:10.0.0.1|123456 ");
}

TEST(LogTraffic, PortAndDispatcherLinesAndNoLineForLengthZero)
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
    port.PutDirect(std::string("marker"));
    disp.PutDirect(std::string("marker"));
    const std::string dat = File(home.Sub("VELK/logs/Velkonf/dat"), 1);
    const std::string dsp = File(home.Sub("VELK/logs/Velkonf/disp"), 1);
    ASSERT_TRUE(WaitForLine(dat, "marker"));
    ASSERT_TRUE(WaitForLine(dsp, "marker"));

    const std::string time = "[0-9]{2}\\.[0-9]{2}\\.[0-9]{4} [0-9]{2}:[0-9]{2}\\.[0-9]{2}";
    const auto datLines = ReadLines(dat);
    ASSERT_EQ(datLines.size(), 2u);
    EXPECT_TRUE(std::regex_match(datLines[0], std::regex("0 {38}::\\|00000 " + time + "<01 FF ")))
        << datLines[0];
    const auto dispLines = ReadLines(dsp);
    ASSERT_EQ(dispLines.size(), 2u);
    EXPECT_TRUE(std::regex_match(dispLines[0], std::regex("> {36}::1\\|46000 " + time + " 01 FF 7A ")))
        << dispLines[0];
}

TEST(LogFailures, AFolderThatCannotBeCreatedIsReportedAndTheLogKeepsRunning)
{
    TempHome home;
    WriteFile(home.Sub("VELK"), "a file where the folder should be");
    CaptureBadLog log;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(log.Open("C", "log"));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find(BadDir(home) + ": CBaseLog::OpenNew 1: 20 - Not a directory\n"), std::string::npos) << out;

    log.PutUtf8("lost");
    EXPECT_TRUE(log.WaitForError("CBaseLog::OpenNew 2: 20 - "));
    fs::remove(home.Sub("VELK"));
    fs::create_directories(BadDir(home));
    log.PutUtf8("back");
    EXPECT_TRUE(WaitForLine(File(BadDir(home), 1), "back"));
    EXPECT_EQ(ReadLines(File(BadDir(home), 1)).size(), 1u);
}

TEST(LogFailures, AFailedWriteIsReportedAndTheNextLineTriesAgain)
{
    TempHome home;
    fs::create_directories(BadDir(home));
    fs::create_symlink("/dev/full", File(BadDir(home), 1));
    CaptureBadLog log;
    testing::internal::CaptureStdout();
    ASSERT_TRUE(log.Open("C", "log"));
    log.PutUtf8("no room");
    EXPECT_TRUE(log.WaitForError("CBaseLog::PutInner !good(): 28 - "));
    fs::remove(File(BadDir(home), 1));
    log.PutUtf8("room again");
    EXPECT_TRUE(WaitForLine(File(BadDir(home), 1), "room again"));
    testing::internal::GetCapturedStdout();
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

TEST(BadLogBox, TheHandlerGetsTheTextOnlyWhenABoxIsAsked)
{
    TempHome home;
    std::vector<DBString> shown;
    CBadLog::SetBoxHandler([&](const DBString& text) { shown.push_back(text); });
    CBadLog log;
    ASSERT_TRUE(log.Open("C", "log"));
    EXPECT_TRUE(log.Put(L"quiet", false));
    EXPECT_TRUE(log.Put(L"loud", true));
    EXPECT_TRUE(log.PutErr(L"port", EBUSY, true));
    EXPECT_TRUE(log.PutErr(L"", 0, true));   // empty: neither line nor box
    CBadLog::SetBoxHandler(nullptr);
    EXPECT_TRUE(log.Put(L"no handler", true));
    log.PutDirect(std::string("marker"));
    ASSERT_TRUE(WaitForLine(File(BadDir(home), 1), "marker"));
    EXPECT_EQ(shown, (std::vector<DBString>{L"loud", L"port: 16 - Device or resource busy"}));
    EXPECT_EQ(ReadLines(File(BadDir(home), 1)).size(), 5u);
}

TEST(LogFiles, ThePoolWritesItsLinesToTheGivenLog)
{
    TempHome home;
    CBadLog log;
    ASSERT_TRUE(log.Open("C", "log"));
    PoolThread pool("VelkonfApp", false, &log);
    int context = 0;
    auto idle = [](void*) { return true; };
    pool.StartProc("twice", idle, &context, 0, 60000);
    pool.StartProc("twice", idle, &context, 0, 60000);
    pool.StopProc(idle, &context);
    log.PutDirect(std::string("marker"));
    ASSERT_TRUE(WaitForLine(File(BadDir(home), 1), "marker"));
    const auto lines = ReadLines(File(BadDir(home), 1));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(std::regex_search(lines[0], std::regex(std::string("^") + kStamp +
                                                       "twice NOT added to pool VelkonfApp because there is already "
                                                       "a thread twice\\(0,60000\\)")))
        << lines[0];
}
