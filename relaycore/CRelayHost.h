#pragma once
// CRelayHost: what the tools' relays need of the program that holds the one
// link to the unit: the carriers, the identifiers of the connection, the way
// out to the unit, the logs, and two signals to the owner's thread. The
// configurator's application object is one host (the signals are events
// posted to the frame); a test's windowless client is another.
//
// Threads: the relays call it from their receivers' threads (Put, the
// carriers, the logs, ClrUtil, LostLink) and from the owner's thread
// (MngPack, Clear). ClrUtil and LostLink must only post: the caller may
// hold a relay list's mutex.
#include "link/CIdentV7.h"

#include <netinet/in.h>

class BasePoolThread;
class CBadLog;
class CDispLog;
class CPackV7;
class CPortLog;
class CReceivNet;
class CSendNet;

class CRelayHost {
public:
    virtual ~CRelayHost() = default;

    // The method of the running connection (typConnect).
    virtual int RelayTypConnect() const = 0;
    virtual CReceivNet& RelayReceivNet() = 0;
    virtual CSendNet& RelaySendNet() = 0;
    virtual BasePoolThread& RelayPool() = 0;
    // This program's identifier towards the unit, and the unit's.
    virtual CIdentV7 OwnIdent() const = 0;
    virtual CIdentV7 UnitIdent() const = 0;
    // Every packet for the unit leaves here (the serial line or UDP).
    virtual void Put(CPackV7& pack) = 0;
    // A packet for the unit on the serial line (CPortNVRAM::Put).
    virtual void PutSerial(CPackV7& pack) = 0;
    // Relays have stopped: the owner's thread is to call DeleteClose.
    virtual void ClrUtil() = 0;
    // A relay gave its tool up, as the unit's own link does.
    virtual void LostLink() = 0;
    virtual CBadLog& BadLog() = 0;
    virtual CPortLog& PortLog() = 0;
    virtual CDispLog& DispLog() = 0;
};

// The relays serve programs of this machine only: ::1 and 127.0.0.0/8 (as
// the mapped form, since the sockets are IPv6). Any other source, even an
// address of one of this machine's own interfaces, is refused: a tool is
// always pointed at the loopback address.
bool IsLocalHost(const in6_addr& addr);

// Reports a refused datagram through `log`: the text and the sender.
void ReportNotLocal(CBadLog& log, const wchar_t* relay, const in6_addr& addr, int port);
