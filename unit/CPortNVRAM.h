#pragma once
// CPortNVRAM: the serial line to a unit, for the configurator. Every packet
// it receives goes to the host; every request leaves from 0.1 to 0.0 and
// waits for the unit's answer to the one before.
//
// Threads: Put on the host's thread and the relay threads (the output mutex
// of CPortV7 keeps frames whole); MngPack on the read thread.
#include "link/CPortV7.h"

class CLinkHost;

class CPortNVRAM : public CPortV7 {
public:
    CPortNVRAM(CLinkHost& host, BasePoolThread* pool);
    ~CPortNVRAM() override;

    void PutLog(const std::string& text) override;
    void PutErr(const wchar_t* text, int code) override;
    void PutLogInp(const unsigned char* data, int len) override;
    void PutLogOut(const unsigned char* data, int len) override;
    void MngPack(CPackV7& pack) override;
    // An unplugged unit is a lost link, as a silent one is on UDP.
    void LineLost() override;

    // Identifiers 0.1 to 0.0, then PutPort; the next request waits for the
    // answer to this one. Does nothing and is true while the port is closed.
    bool Put(CPackV7& pack);

private:
    CLinkHost& m_Host;
};
