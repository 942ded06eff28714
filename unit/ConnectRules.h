#pragma once
// Rules of a connection that need no window: the key a user may type for a
// cloud connection by key, and the cloud server's address.
#include <netinet/in.h>

#include <string>

class CBaseLog;

// At least 8 characters, a letter and a digit among them, and no character
// three times in a row.
bool IsValidCloudKey(const std::wstring& key);

// The first address of `host` for UDP on `port`, IPv4 as the mapped form.
// Throws ErrorXML (host + " - " + the resolver's text) when the name cannot
// be resolved; an answer without a usable address is logged to `log` and
// gives the nil address.
in6_addr ResolveHost(const std::string& host, int port, CBaseLog& log);
