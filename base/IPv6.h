#pragma once
// Helpers for the one address type of the program, in6_addr. IPv4 peers are
// held as mapped addresses (::ffff:a.b.c.d), as an AF_INET6 socket sees them.
#include "base/DBString.h"

#include <netinet/in.h>

#include <string>

// An IPv4 address as it lies on the wire (first dotted number in the lowest
// byte of memory), as the mapped IPv6 address.
in6_addr ToIPv6(int ipv4);
in6_addr LocalHostIPv6();   // ::1
in6_addr NulIPv6();         // ::
bool isNulIPv6(const in6_addr& addr);
bool isEqIPv6(const in6_addr& a, const in6_addr& b);
void ClearIPv6(in6_addr& addr);

// Standard text form; mapped addresses print as ::ffff:a.b.c.d.
std::string IPv6ToStr(const in6_addr& addr);
DBString IPv6ToStrW(const in6_addr& addr);
// Reads an IPv6 text or a dotted IPv4 text (stored mapped); anything else
// gives the nil address.
in6_addr IP6FromStr(const std::string& text);
// "[addr]:port".
std::string IPv6PortToStr(const in6_addr& addr, int port);
DBString IPv6PortToStrW(const in6_addr& addr, int port);

// Shuts a socket down (which wakes a thread blocked on it), closes it and
// sets the descriptor to -1. Nothing happens for -1.
void CloseSocket(int& fd);
