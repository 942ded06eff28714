// Main of the GUI tests: a real VelkonfApp under Xvfb.
//
// A wx application starts and stops once per process, so each run takes one
// test case: CTest starts one process per case; by hand, pick one with
// --gtest_filter.
#include "GuiTest.h"

#include "app/VelkonfApp.h"
#include "support/TempHome.h"

#include <unistd.h>
#include <wx/evtloop.h>
#include <wx/timer.h>

#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

wxIMPLEMENT_APP_NO_MAIN(VelkonfApp);

namespace {

// Refuses a run of several cases before the first starts.
class OneCasePerRun : public testing::EmptyTestEventListener {
    void OnTestIterationStart(const testing::UnitTest& unit, int) override
    {
        if (unit.test_to_run_count() <= 1) return;
        std::fprintf(stderr, "%d GUI tests selected: run them through ctest, or one with --gtest_filter\n",
                     unit.test_to_run_count());
        std::fflush(stderr);
        _exit(2);
    }
};

}  // namespace

namespace gui {

void SetArgs(std::initializer_list<const char*> args)
{
    static std::vector<std::string> storage;
    static std::vector<char*> ptrs;
    storage.assign({"velkonf"});
    for (const char* a : args) storage.emplace_back(a);
    ptrs.clear();
    for (auto& s : storage) ptrs.push_back(s.data());
    ptrs.push_back(nullptr);
    wxTheApp->argc = static_cast<int>(storage.size());
    wxTheApp->argv.Init(wxTheApp->argc, ptrs.data());
}

bool StartApp(std::initializer_list<const char*> args)
{
    SetArgs(args);
    return wxTheApp->CallOnInit();
}

bool RunLoopUntilExit(std::function<void()> action, int timeoutMs)
{
    bool timedOut = false;
    wxTimer guard;
    guard.Bind(wxEVT_TIMER, [&](wxTimerEvent&) {
        timedOut = true;
        wxTheApp->ExitMainLoop();
    });
    guard.StartOnce(timeoutMs);
    wxTheApp->CallAfter(action);
    wxTheApp->OnRun();
    guard.Stop();
    return !timedOut;
}

void Pump(int ms)
{
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (std::chrono::steady_clock::now() < end) {
        wxTheApp->Yield(true);
        wxMilliSleep(5);
    }
}

std::string SettingsText()
{
    std::ifstream in(std::string(std::getenv("HOME")) + "/.Velkonf");
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace gui

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
    testing::UnitTest::GetInstance()->listeners().Append(new OneCasePerRun);

    // The run's own environment: a private HOME, a known locale.
    TempHome home;
    setenv("LANG", "C.UTF-8", 1);
    unsetenv("LC_ALL");
    wxSetAssertHandler([](const wxString& file, int line, const wxString& func, const wxString& cond,
                          const wxString& msg) {
        ADD_FAILURE() << "wx assertion " << cond.ToStdString() << " in " << func.ToStdString() << " at "
                      << file.ToStdString() << ":" << line << ": " << msg.ToStdString();
    });
    if (!wxEntryStart(argc, argv)) {
        std::fprintf(stderr, "cannot start wxWidgets: is there a display (run under xvfb-run)?\n");
        return 1;
    }
    int rc;
    {
        // The tests run outside OnRun. Without an active loop a progress
        // dialog makes a loop of its own and deletes it with itself, while
        // Yield may still be running in that loop: a write into freed memory.
        wxGUIEventLoop loop;
        wxEventLoopActivator active(&loop);
        rc = RUN_ALL_TESTS();
    }
    if (rc != 0) {
        // What the program logged, to see why a test failed.
        std::filesystem::path bad = std::filesystem::path(home.Path()) / "VELK/logs/Velkonf/bad";
        std::error_code ec;
        for (const auto& f : std::filesystem::directory_iterator(bad, ec))
            std::fprintf(stderr, "bad log %s:\n%s\n", f.path().c_str(),
                         (std::stringstream() << std::ifstream(f.path()).rdbuf()).str().c_str());
    }
    wxEntryCleanup();
    return rc;
}
