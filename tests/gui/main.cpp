// Main of the GUI tests: a real VelkonfApp under Xvfb.
//
// A wx application starts and stops once per process, so each test case runs
// in a process of its own: CTest starts one per case, and a plain run of this
// program re-runs itself once per selected case.
#include "GuiTest.h"

#include "app/VelkonfApp.h"
#include "support/TempHome.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wx/evtloop.h>
#include <wx/timer.h>

#include <chrono>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

extern char** environ;

wxIMPLEMENT_APP_NO_MAIN(VelkonfApp);

namespace {

bool Glob(const char* p, const char* s)
{
    if (!*p) return !*s;
    if (*p == '*') return Glob(p + 1, s) || (*s && Glob(p, s + 1));
    return *s && (*p == '?' || *p == *s) && Glob(p + 1, s + 1);
}

bool AnyOf(const std::string& patterns, const std::string& name)
{
    std::stringstream in(patterns);
    for (std::string p; std::getline(in, p, ':');)
        if (Glob(p.c_str(), name.c_str())) return true;
    return false;
}

// GoogleTest's filter: positive patterns, then '-' and negative ones.
bool MatchesFilter(const std::string& name, const std::string& filter)
{
    size_t dash = filter.find('-');
    std::string pos = filter.substr(0, dash), neg = dash == std::string::npos ? "" : filter.substr(dash + 1);
    return AnyOf(pos.empty() ? "*" : pos, name) && !AnyOf(neg, name);
}

std::vector<std::string> SelectedTests()
{
    std::vector<std::string> names;
    const auto* unit = testing::UnitTest::GetInstance();
    const std::string filter = GTEST_FLAG_GET(filter);
    for (int i = 0; i < unit->total_test_suite_count(); ++i) {
        const auto* suite = unit->GetTestSuite(i);
        for (int j = 0; j < suite->total_test_count(); ++j) {
            std::string name = std::string(suite->name()) + "." + suite->GetTestInfo(j)->name();
            if (MatchesFilter(name, filter) &&
                name.find("DISABLED_") == std::string::npos)
                names.push_back(name);
        }
    }
    return names;
}

// Runs each selected test in a child process; returns the exit code.
int RunEachInItsOwnProcess(const char* self, const std::vector<std::string>& names)
{
    int failed = 0;
    for (const auto& name : names) {
        std::string filter = "--gtest_filter=" + name;
        char* argv[] = {const_cast<char*>(self), filter.data(), nullptr};
        pid_t pid = 0;
        if (posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, argv, environ) != 0) return 2;
        int status = 0;
        waitpid(pid, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            ++failed;
            std::printf("[  FAILED  ] %s (in its own process)\n", name.c_str());
        }
    }
    std::printf("%zu GUI test processes, %d failed\n", names.size(), failed);
    return failed ? 1 : 0;
}

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

    auto selected = SelectedTests();
    if (selected.size() > 1) return RunEachInItsOwnProcess(argv[0], selected);

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
    int rc = RUN_ALL_TESTS();
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
