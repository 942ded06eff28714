// velkctl: the configurator's work without a window. See docs/velkctl.md.
#include "base/StringRes.h"
#include "ctl/CtlRun.h"
#include "link/CPackV7.h"

#include <signal.h>

#include <clocale>
#include <cstdio>

int main(int argc, char** argv)
{
    std::setlocale(LC_ALL, "C.UTF-8");
    g_StringENU = true;   // a tool for scripts: its messages are in English only
    signal(SIGPIPE, SIG_IGN);
    CPackV7::SeedNonce();
    CtlOptions options;
    std::string error;
    if (!ParseCtlArgs(std::vector<std::string>(argv + 1, argv + argc), options, error)) {
        std::fprintf(stderr, "velkctl: %s\nTry 'velkctl --help'.\n", error.c_str());
        return ctlBadInput;
    }
    return RunCtl(options, stdout, stderr);
}
