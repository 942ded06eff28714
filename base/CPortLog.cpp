#include "base/CPortLog.h"

CPortLog::CPortLog() : CBaseLog(1000, 0) { SetKeepFiles(5); }

CPortLog::~CPortLog() { Close(); }

std::string CPortLog::Dir() { return PathLogs() + "dat"; }

void CPortLog::Put(typRec kind, const in6_addr& address, int port, const unsigned char* bytes, int length)
{
    if (length < 1 || !bytes) return;
    PutDirect("0" + TrafficLine(kind, address, port, bytes, length));
}
