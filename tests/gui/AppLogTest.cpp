// The application's logs: opened at start, the Start and Stop lines, and the
// error box that any thread may ask for.
#include "Drive.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"

#include <wx/msgdlg.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace {

std::string ReadLog(const char* leaf)
{
    std::ifstream in(std::string(std::getenv("HOME")) + "/VELK/logs/Velkonf/" + leaf + "/C0000001.log");
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

using gui::CloseAndExit;

}  // namespace

TEST(AppLogs, StartAndStopLinesFrameTheRun)
{
    ASSERT_TRUE(gui::StartApp({"enu", "-i12"}));
    CloseAndExit();
    std::string bad = ReadLog("bad");
    EXPECT_NE(bad.find("Start v" VELK_VERSION " C.UTF-8 velkonf enu -i12\n"), std::string::npos) << bad;
    ASSERT_GE(bad.size(), 5u);
    EXPECT_EQ(bad.substr(bad.size() - 5), "Stop\n") << bad;
    EXPECT_TRUE(std::filesystem::is_directory(std::string(std::getenv("HOME")) + "/VELK/logs/Velkonf/dat"));
    EXPECT_TRUE(std::filesystem::is_directory(std::string(std::getenv("HOME")) + "/VELK/logs/Velkonf/disp"));
}

TEST(AppLogs, ErrorBoxAskedForByAWorkerShowsOnTheInterfaceThread)
{
    ASSERT_TRUE(gui::StartApp({"enu"}));
    std::thread worker([] { wxGetApp().m_BadLog.Put(L"link trouble", true); });
    worker.join();
    wxTEST_DIALOG(gui::Pump(200), wxExpectModal<wxMessageDialog>(wxID_OK).Describe("error box"));
    CloseAndExit();
    EXPECT_NE(ReadLog("bad").find("link trouble"), std::string::npos);
}

TEST(AppLogs, WithoutHomeStartUpFailsWithAMessage)
{
    unsetenv("HOME");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(gui::StartApp({}));
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("HOME"), std::string::npos) << err;
    EXPECT_EQ(wxGetApp().m_Frame.load(), nullptr);
}
