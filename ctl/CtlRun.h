#pragma once
// What velkctl does with its command line: the commands on one unit or, with
// --targets, on many at once, each unit on its own client and thread so
// that one unit's failure never stops the others.
//
// Threads: Run's caller, and --jobs workers that each own one CClientLU.
// Lock: the report mutex (progress line, results) is a leaf.
#include "ctl/CtlArgs.h"

#include <cstdio>
#include <string>

// Runs the command; what it prints goes to `out` and `err` (standard output
// and error in the program). The exit status.
int RunCtl(const CtlOptions& options, std::FILE* out, std::FILE* err);
