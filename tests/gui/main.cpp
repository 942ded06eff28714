// Main of the GUI tests: a real VelkonfApp under Xvfb.
//
// A wx application starts and stops once per process, so each test case runs
// in a process of its own: CTest starts one per case; a plain run that
// selects several re-runs this program once per case.
#include "GuiTest.h"

#include "app/VelkonfApp.h"
#include "support/TempHome.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wx/evtloop.h>
#include <wx/timer.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

extern char** environ;

wxIMPLEMENT_APP_NO_MAIN(VelkonfApp);

namespace {

// The cases this run selects, as GoogleTest's own filter selects them: the
// program lists them for itself (names as "Suite.Case").
std::vector<std::string> SelectedTests()
{
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return {};
    self[n] = 0;
    const std::string command = std::string("'") + self + "' --gtest_list_tests '--gtest_filter=" +
                                GTEST_FLAG_GET(filter) + "'";
    std::vector<std::string> names;
    std::unique_ptr<FILE, int (*)(FILE*)> list(popen(command.c_str(), "r"), &pclose);
    std::string suite;
    char line[1024];
    while (list && std::fgets(line, sizeof line, list.get())) {
        std::string text(line);
        text = text.substr(0, std::min(text.find("  #"), text.find('\n')));
        if (text.rfind("  ", 0) == 0) {
            if (text.find("DISABLED_") == std::string::npos) names.push_back(suite + text.substr(2));
        } else {
            suite = text;
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
