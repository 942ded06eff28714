#pragma once
// CPortLog: traffic with the unit, one line per packet, in PathLogs() + "dat".
// Queue of 1000 lines, no repeat filter, 5 older files kept.
#include "base/CBaseLog.h"

class CPortLog : public CBaseLog {
public:
    CPortLog();
    ~CPortLog() override;
    std::string Dir() override;

    using CBaseLog::Put;
    // "0", send mark, address and port, time, receive mark, the bytes.
    // A length below 1 writes nothing.
    void Put(typRec kind, const in6_addr& address, int port, const unsigned char* bytes, int length);
};
