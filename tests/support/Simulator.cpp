#include "support/Simulator.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace unittest {

namespace {


std::vector<char*> Argv(std::string& path, std::vector<std::string>& args)
{
    std::vector<char*> argv{path.data()};
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    return argv;
}

// Starts velkunit with its standard output (and error, if `err` is not -1)
// on the write ends given. It dies with the test process, whatever ends that.
int Spawn(std::vector<std::string> args, int out, int err)
{
    std::string path = VELKUNIT_PATH;
    std::vector<char*> argv = Argv(path, args);
    const pid_t pid = fork();
    if (pid != 0) return pid;
    // The child: only calls that are safe after a fork in a threaded process.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(out, 1);
    if (err != -1) dup2(err, 2);
    execv(path.c_str(), argv.data());
    _exit(127);
}

int ExitStatus(int pid)
{
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

// ---------------------------------------------------------------- the program

Simulator::Simulator(const std::vector<std::string>& args)
{
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return;
    m_Pid = Spawn(args, fds[1], -1);
    close(fds[1]);
    m_Out = fds[0];
    m_Reader = std::thread([this] { ReadLines(); });
    auto has = [&](const char* option) { return std::find(args.begin(), args.end(), option) != args.end(); };
    auto header = [&](const std::string& word) -> std::string {
        std::string found;
        WaitUntil(
            [&] {
                std::lock_guard<std::mutex> lock(m_Mutex);
                for (const auto& l : m_Lines)
                    if (l.rfind(word + " ", 0) == 0) found = l.substr(word.size() + 1);
                return !found.empty();
            },
            10s);
        return found;
    };
    m_Udp = std::atoi(header("udp").c_str());
    if (has("--serial")) m_Serial = header("serial");
    if (has("--cloud")) {
        m_Cloud = std::atoi(header("cloud").c_str());
        m_CloudKey = std::atoi(header("cloud-key").c_str());
    }
}

Simulator::~Simulator()
{
    // Every test checks that the program ends cleanly (a sanitizer's report ends it otherwise).
    if (m_Pid > 0) {
        EXPECT_EQ(Stop(), 0) << "velkunit did not stop cleanly";
    }
    // What the simulator said, to see why a test failed.
    if (::testing::Test::HasFailure())
        for (const std::string& line : m_Lines) std::fprintf(stderr, "velkunit| %s\n", line.c_str());
}

void Simulator::ReadLines()
{
    std::string part;
    char buf[4096];
    for (ssize_t n; (n = read(m_Out, buf, sizeof buf)) > 0;) {
        part.append(buf, static_cast<size_t>(n));
        for (size_t at; (at = part.find('\n')) != std::string::npos; part.erase(0, at + 1)) {
            std::lock_guard<std::mutex> lock(m_Mutex);
            m_Lines.push_back(part.substr(0, at));
        }
    }
}

int Simulator::CountLines(const std::string& part)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return static_cast<int>(
        std::count_if(m_Lines.begin(), m_Lines.end(), [&](const std::string& l) { return l.find(part) != l.npos; }));
}

bool Simulator::WaitLine(const std::string& part, std::chrono::milliseconds limit)
{
    return WaitUntil([&] { return CountLines(part) > 0; }, limit);
}

int Simulator::Stop()
{
    if (m_Pid <= 0) return -1;
    kill(m_Pid, SIGTERM);
    const int rc = ExitStatus(m_Pid);
    m_Pid = -1;
    if (m_Reader.joinable()) m_Reader.join();
    close(m_Out);
    return rc;
}

int RunToEnd(const std::vector<std::string>& args, std::string& out, std::string& err)
{
    int o[2], e[2];
    if (pipe2(o, O_CLOEXEC) != 0 || pipe2(e, O_CLOEXEC) != 0) return -1;
    const int pid = Spawn(args, o[1], e[1]);
    close(o[1]);
    close(e[1]);
    pollfd fds[2] = {{o[0], POLLIN, 0}, {e[0], POLLIN, 0}};
    std::string* to[2] = {&out, &err};
    for (int open = 2; open > 0 && poll(fds, 2, 20000) > 0;) {
        for (int i = 0; i < 2; ++i) {
            if (!fds[i].revents) continue;
            char buf[4096];
            const ssize_t n = read(fds[i].fd, buf, sizeof buf);
            if (n > 0) {
                to[i]->append(buf, static_cast<size_t>(n));
            } else {
                fds[i].fd = -1;
                --open;
            }
        }
    }
    close(o[0]);
    close(e[0]);
    return pid > 0 ? ExitStatus(pid) : -1;
}

}  // namespace unittest
