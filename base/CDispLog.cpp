#include "base/CDispLog.h"

CDispLog::CDispLog() : CBaseLog(1000, 0) { SetKeepFiles(5); }

CDispLog::~CDispLog() { Close(); }

std::string CDispLog::Dir() { return PathLogs() + "disp"; }

void CDispLog::Put(typRec kind, const in6_addr& address, int port, const unsigned char* packet, int length)
{
    if (length < 1 || !packet) return;
    PutDirect(TrafficLine(kind, address, port, packet, length));
}
