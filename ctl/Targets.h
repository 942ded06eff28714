#pragma once
// How velkctl names a unit: the command-line options or one line of a
// targets file, both turned into a CtlTarget. A targets line is CSV:
//
//   ip,ADDRESS,PORT,IDENT[,KEY]
//   serial,PATH,IDENT
//   cloud-key,HOST[:PORT],IDENT,KEY
//
// KEY is a password, or "hex:" and 32 hexadecimal digits. A field may be
// double-quoted ("" stands for one quote); blank lines and lines that start
// with '#' are skipped. docs/velkctl.md has the details.
//
// Threads: any; nothing here is shared.
#include "link/CKeySys.h"
#include "unit/CClientLU.h"

#include <string>
#include <string_view>
#include <vector>

struct CtlTarget {
    int method = typConnectIP;
    std::string host;          // IP: the unit's address; cloud: the server, empty for the default
    int port = 0;              // 0: the method's default
    int ident = 0;
    std::string key;           // a password, or 32 hex digits when keyHex
    bool keyHex = false;
    std::string serial;
    std::string name;          // how reports name the unit

    std::string Name() const;
};

// The fields of one CSV line, quotes undone. False on an unclosed quote.
bool SplitCsv(std::string_view line, std::vector<std::string>& fields);
// HOST[:PORT] or [IPv6][:PORT]; `port` 0 when none is given.
bool SplitHostPort(const std::string& text, std::string& host, int& port, std::string& why);
// One line of a targets file. False with the reason in `why`.
bool ParseTargetLine(std::string_view line, CtlTarget& out, std::string& why);
// A whole targets file; `why` names the line of the first fault.
bool ParseTargets(std::string_view text, std::vector<CtlTarget>& out, std::string& why);

// The checks that need no unit: identifier, port, address and key rules.
bool CheckTarget(const CtlTarget& t, std::string& why);
// Identifiers and key as the Connection page prepares them. The cloud host
// is resolved here, so this may block; `log` takes what the resolver says.
// Throws ErrorXML when the host cannot be resolved.
CTargetLU MakeTarget(const CtlTarget& t, CBaseLog& log);
