#include "base/IPv6.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

in6_addr ToIPv6(int ipv4)
{
    in6_addr a{};
    a.s6_addr[10] = 0xFF;
    a.s6_addr[11] = 0xFF;
    std::memcpy(&a.s6_addr[12], &ipv4, 4);
    return a;
}

in6_addr LocalHostIPv6()
{
    in6_addr a{};
    a.s6_addr[15] = 1;
    return a;
}

in6_addr NulIPv6() { return in6_addr{}; }

bool isNulIPv6(const in6_addr& addr)
{
    static const in6_addr nul{};
    return std::memcmp(&addr, &nul, sizeof addr) == 0;
}

bool isEqIPv6(const in6_addr& a, const in6_addr& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

void ClearIPv6(in6_addr& addr) { std::memset(&addr, 0, sizeof addr); }

std::string IPv6ToStr(const in6_addr& addr)
{
    char buf[INET6_ADDRSTRLEN];
    if (!inet_ntop(AF_INET6, &addr, buf, sizeof buf)) return "::????";
    return buf;
}

DBString IPv6ToStrW(const in6_addr& addr) { return DBString(IPv6ToStr(addr)); }

in6_addr IP6FromStr(const std::string& text)
{
    in6_addr a{};
    if (inet_pton(AF_INET6, text.c_str(), &a) == 1) return a;
    in_addr v4{};
    if (inet_pton(AF_INET, text.c_str(), &v4) == 1) return ToIPv6(static_cast<int>(v4.s_addr));
    return NulIPv6();
}

std::string IPv6PortToStr(const in6_addr& addr, int port)
{
    return "[" + IPv6ToStr(addr) + "]:" + std::to_string(port);
}

DBString IPv6PortToStrW(const in6_addr& addr, int port) { return DBString(IPv6PortToStr(addr, port)); }

void CloseSocket(int& fd)
{
    if (fd == -1) return;
    shutdown(fd, SHUT_RDWR);
    close(fd);
    fd = -1;
}
