#pragma once
// CDispLog: dispatcher traffic with the sibling tools, one line per packet,
// in PathLogs() + "disp". Queue of 1000 lines, no repeat filter, 5 older
// files kept.
#include "base/CBaseLog.h"

class CDispLog : public CBaseLog {
public:
    CDispLog();
    ~CDispLog() override;
    std::string Dir() override;

    using CBaseLog::Put;
    // Send mark, address and port, time, receive mark, the packet's bytes.
    // It takes the plain byte image rather than the packet class, so that the
    // foundation does not depend on the dispatcher code: the caller passes the
    // whole packet, its first 16-bit word + 2 bytes. A length below 1 writes
    // nothing.
    void Put(typRec kind, const in6_addr& address, int port, const unsigned char* packet, int length);
};
