#pragma once
// The sibling tools of the Additional functions menu: their command lines
// and their start. A tool is found on the search path and started without a
// shell, with its arguments as a list, so that nothing in them (the key
// text) is ever read by a shell. It runs on in the background and may
// outlive this program; a detached thread only waits for its end, so that it
// leaves no zombie behind.
//
// Threads: any; each started tool has one detached waiting thread that
// touches nothing but the child's process id.
#include "base/DBString.h"

#include <string>
#include <vector>

class CBadLog;

// What a command line tells a tool: the language and where the relays are.
struct CToolParams {
    bool enu = false;       // English run: " enu" is passed on
    int portV7 = 0;         // the V7 relay's port
    int node = 0;           // the unit's node
    std::string key;        // the V7 relay's link key, as text
    int portDisp = 0;       // the dispatcher relay's port
};

// The menu ids of the six tools, in menu order; each is its text's id.
inline constexpr int kToolMenuIds[] = {10263, 10264, 10265, 10266, 10267, 10268};

// The argument list of the tool of menu id `id` (argv[0] is the program's
// name, without a path); empty for an id that is no tool.
std::vector<std::string> ToolArgs(int id, const CToolParams& params);

// Starts argv[0] from the search path in the background. True when it runs;
// otherwise the report (the program's name and the system's reason) is in
// `report` and in the bad log.
bool LaunchTool(const std::vector<std::string>& args, CBadLog& log, DBString& report);
