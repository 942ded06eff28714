#pragma once
// The command line of velkctl: a command, the options that name a unit
// (or a targets file), and the command's operands. The parser takes any
// argument list; each refusal comes back as one line for the user.
//
// Threads: any; nothing here is shared.
#include "ctl/Targets.h"

#include <string>
#include <vector>

enum class CtlCommand { none, read, show, diff, set, write, fields };

// Exit statuses.
enum CtlStatus {
    ctlOk = 0,
    ctlDiffers = 1,     // diff: the two differ
    ctlBadInput = 2,    // command line, file, field or value refused; nothing was sent
    ctlUnitFailed = 3,  // the unit could not be reached or read
    ctlNotHeld = 4,     // written, but the check after the restart failed
};

struct CtlOptions {
    CtlCommand command = CtlCommand::none;
    bool help = false;
    bool version = false;
    bool json = false;
    bool force = false;            // write: a file of another unit type
    bool check = true;             // set, write: the check after the restart
    CtlTarget target;
    bool hasTarget = false;        // --ip, --serial or --cloud-key given
    std::string targetsFile;
    int jobs = 4;
    double timeout = 12;           // seconds for one read, as the Connection page's limit
    double checkDelay = 5;         // seconds from the restart to the first check
    std::string output;            // -o
    std::vector<std::string> operands;
};

bool ParseCtlArgs(const std::vector<std::string>& args, CtlOptions& out, std::string& error);
// The general help, or one command's.
std::string CtlHelp(CtlCommand command = CtlCommand::none);
const char* CtlCommandName(CtlCommand command);
