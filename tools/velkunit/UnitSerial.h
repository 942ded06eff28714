#pragma once
// UnitSerial: the unit's USB serial line, on pseudo-terminals. The
// configurator opens the slave of one pseudo-terminal (Path(); linked under
// /dev/serial/by-id/, the folder the configurator lists, when the simulator
// may write there). The unit speaks through the link's own serial port
// (CPortV7) on the slave of a second one, and a procedure copies the bytes
// between the two masters. Framing, line key and pacing are thus those of
// the link on both ends: one answer per request.
//
// The configurator may close its end and open it again at any time (it does
// so for 7 s after a restart request); the copy waits meanwhile, and what
// the unit says while nobody listens is dropped.
//
// Threads: the owner (Start, Stop); "UnitSerial::BridgeProc" on the pool; the
// port's read thread, which answers (MngPack); the timer thread for answers
// held back by --delay. The port's own locks are its business; CUnit's mutex
// is taken with none of them held.
#include "link/CPortV7.h"

#include <atomic>
#include <string>

class BasePoolThread;

namespace velkunit {

class CUnit;
class UnitLog;
class UnitTimer;

class UnitSerial {
public:
    UnitSerial(BasePoolThread* pool, CUnit& unit, UnitTimer& timer, UnitLog& log, int delayMs);
    ~UnitSerial();
    UnitSerial(const UnitSerial&) = delete;
    UnitSerial& operator=(const UnitSerial&) = delete;

    // Makes the two pseudo-terminals, opens the unit's end and starts the
    // copy. Throws ErrorXML.
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

    static bool BridgeProc(void* serial);
    void MakeLink();
    // Copies what one master has to the other; false when `from` is hung up.
    bool Copy(int from, int to, bool toHung);

    BasePoolThread* m_Pool;
    CUnit& m_Unit;
    UnitTimer& m_Timer;
    UnitLog& m_Log;
    int m_DelayMs;
    int m_Outer = -1;   // master of the configurator's end
    int m_Inner = -1;   // master of the unit's end
    int m_Wake = -1;    // ends the copy's poll at Stop
    std::atomic<bool> m_Run{false};
    std::string m_Path;
    std::string m_Link;
    std::string m_LinkError;
    Port m_Port;        // last: closed before the descriptors it talks through
};

}  // namespace velkunit
