#include "relaycore/CRelayHost.h"

#include "base/CBadLog.h"
#include "base/IPv6.h"
#include "base/StringRes.h"

#include <cstring>

bool IsLocalHost(const in6_addr& addr)
{
    if (IN6_IS_ADDR_LOOPBACK(&addr)) return true;
    return IN6_IS_ADDR_V4MAPPED(&addr) && addr.s6_addr[12] == 127;
}

void ReportNotLocal(CBadLog& log, const wchar_t* relay, const in6_addr& addr, int port)
{
    DBString text;
    text.Format(_S_(43320).c_str(), relay, IPv6PortToStrW(addr, port).c_str());
    log.Put(text.c_str(), false);
}
