#include "unit/ConnectRules.h"

#include "base/CBaseLog.h"
#include "base/ErrorXML.h"
#include "base/IPv6.h"

#include <netdb.h>
#include <sys/socket.h>

#include <cwctype>
#include <memory>

bool IsValidCloudKey(const std::wstring& key)
{
    if (key.size() < 8) return false;
    bool alpha = false, digit = false;
    for (size_t i = 0; i < key.size(); ++i) {
        alpha = alpha || std::iswalpha(static_cast<wint_t>(key[i]));
        digit = digit || std::iswdigit(static_cast<wint_t>(key[i]));
        if (i >= 2 && key[i] == key[i - 1] && key[i] == key[i - 2]) return false;
    }
    return alpha && digit;
}

in6_addr ResolveHost(const std::string& host, int port, CBaseLog& log)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_protocol = IPPROTO_UDP;
    addrinfo* found = nullptr;
    const int rc = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (rc != 0) throw ErrorXML(DBString(host), DBString(" - ") + DBString(gai_strerror(rc)));
    std::unique_ptr<addrinfo, void (*)(addrinfo*)> hold(found, &freeaddrinfo);
    if (!found || !found->ai_addr) {
        log.PutUtf8(host + " address not read");
        return in6_addr{};
    }
    if (found->ai_family == AF_INET6) return reinterpret_cast<const sockaddr_in6*>(found->ai_addr)->sin6_addr;
    if (found->ai_family == AF_INET)
        return ToIPv6(static_cast<int>(reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr));
    log.PutUtf8(host + " AF_???? " + std::to_string(found->ai_family));
    return in6_addr{};
}
