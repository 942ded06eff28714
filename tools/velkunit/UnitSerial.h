#pragma once
// UnitSerial: the unit's USB serial line, on a pseudo-terminal. The
// configurator opens its slave (Path(); linked under /dev/serial/by-id/, the
// folder the configurator lists, when the simulator may write there). The
// unit speaks through the link's own serial port (CPortV7) attached to the
// master, so framing, line key and pacing are those of the link on both
// ends: one answer per request.
//
// The configurator may close its end and open it again at any time (it does
// so for 7 s after a restart request); the port's read thread then idles.
//
// Threads: the owner (Start, Stop); the port's read thread, which answers
// (MngPack); the timer thread for answers held back by --delay. The port's
// own locks are its business; CUnit's mutex is taken with none of them held.
#include "link/CPortV7.h"

#include <string>

class BasePoolThread;

namespace velkunit {

class CUnit;
class UnitLog;
class UnitTimer;

class UnitSerial {
public:
    // `baud` above 0 paces the line: a request is taken, and each answer
    // leaves, no sooner than its frame would cross a line of that speed.
    UnitSerial(BasePoolThread* pool, CUnit& unit, UnitTimer& timer, UnitLog& log, int delayMs, int baud = 0);
    ~UnitSerial();
    UnitSerial(const UnitSerial&) = delete;
    UnitSerial& operator=(const UnitSerial&) = delete;

    // Makes the pseudo-terminal and serves its master. Throws ErrorXML.
    void Start();
    void Stop();

    // The configurator's end, and its link under /dev/serial/by-id/ (empty
    // when none could be made: `why` then says what stood in the way).
    const std::string& Path() const { return m_Path; }
    const std::string& Link() const { return m_Link; }
    const std::string& LinkError() const { return m_LinkError; }

private:
    class Port : public CPortV7 {
    public:
        Port(BasePoolThread* pool, UnitSerial* owner) : CPortV7(pool), m_Owner(owner) {}
        ~Port() override { Close(); }
        void PutLog(const std::string& text) override;
        void PutErr(const wchar_t* text, int code) override;
        void MngPack(CPackV7& pack) override;

    private:
        UnitSerial* m_Owner;
    };

    void MakeLink();
    // Waits as long as the frame of `pack` takes on the paced line.
    void Pace(const CPackV7& pack) const;

    CUnit& m_Unit;
    UnitTimer& m_Timer;
    UnitLog& m_Log;
    int m_DelayMs;
    int m_Baud;
    std::string m_Path;
    std::string m_Link;
    std::string m_LinkError;
    Port m_Port;   // owns the master once attached
};

}  // namespace velkunit
