#include "relaycore/ToolLaunch.h"

#include "base/CBadLog.h"
#include "base/StringRes.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <thread>

extern char** environ;

std::vector<std::string> ToolArgs(int id, const CToolParams& p)
{
    const char* name = nullptr;
    const char* addr = "127.0.0.1";
    switch (id) {
    case 10263: name = "VTool"; break;
    case 10264: {
        std::vector<std::string> args = {"DeftTool", "-i1"};
        if (p.enu) args.emplace_back("enu");
        args.push_back("-v" + std::to_string(p.portDisp));
        return args;
    }
    case 10265: name = "VNVRAM"; break;
    case 10266: name = "VSvt"; break;
    case 10267: name = "VBattery"; addr = "::1"; break;
    case 10268: name = "VDisp"; addr = "::1"; break;
    default: return {};
    }
    std::vector<std::string> args = {name};
    if (p.enu) args.emplace_back("enu");
    args.push_back(std::string("-e") + addr);
    args.push_back("-h" + std::to_string(p.portV7));
    args.push_back("-g" + std::to_string(p.node));
    args.push_back("-k" + p.key);
    return args;
}

bool LaunchTool(const std::vector<std::string>& args, CBadLog& log, DBString& report)
{
    if (args.empty()) return false;
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    // The tool gets the standard streams only: none of our sockets, serial
    // line or logs may stay open in a program that can outlive us.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    pid_t pid = 0;
    const int rc = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        report.Format(_S_(43321).c_str(), DBString(args[0].c_str()).c_str(), DBString(std::strerror(rc)).c_str());
        log.Put(report.c_str(), false);
        return false;
    }
    report.clear();
    // The tool may outlive us; this thread only collects its exit status.
    std::thread([pid] {
        int status = 0;
        while (waitpid(pid, &status, 0) == -1 && errno == EINTR) {
        }
    }).detach();
    return true;
}
