#pragma once
// CUnit: the one simulated unit of the process, shared by its carriers. It
// holds the unit's state, answers each packet through UnitAnswer, logs it,
// keeps the image in the state file after each accepted write, and runs the
// restart: silence for the restart delay, then the unit is back on the
// written image (and on the key that image holds).
//
// Faults that belong to the unit rather than to a carrier live here: the
// silence after N requests and the choice of the request whose answer is
// doubled by a copy under a wrong key.
//
// Threads: the carriers' receive threads (Handle), the timer thread (the two
// ends of a restart and the hooks they call), the main thread (construction,
// OnRestart before the carriers start).
// Locks: the unit's mutex is taken after any lock of the link and of the
// carriers, and nothing of a carrier is called while it is held; the log's
// mutex and the timer's are taken inside it. The restart hooks run on the
// timer thread with no lock held.
#include "link/CPackV7.h"
#include "tools/velkunit/UnitState.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace velkunit {

class UnitLog;
class UnitTimer;

class CUnit {
public:
    struct Setup {
        std::string statePath;       // empty: nothing is kept
        int restartDelayMs = 7000;
        long silentAfter = 0;        // 0: never
        long wrongKeyAt = 0;         // 0: never
    };
    struct Answer {
        std::vector<CPackV7> replies;
        bool wrongKey = false;       // send a copy of the first reply under a wrong key before it
    };

    CUnit(const UnitState& state, const Setup& setup, UnitLog& log, UnitTimer& timer);
    CUnit(const CUnit&) = delete;
    CUnit& operator=(const CUnit&) = delete;

    // One packet that a carrier took for the unit: the replies to send, in
    // order. None while the unit restarts or keeps silent; link packets
    // (class 3, bare acknowledgements) are neither answered nor logged.
    Answer Handle(const CPackV7& request, const std::string& carrier, const std::string& peer);

    // What the carriers do when the unit goes away (after it has taken the
    // restart request) and when it is back. Set before the carriers start.
    void OnRestart(std::function<void()> down, std::function<void()> up);

    // Nothing may leave the unit: it is off during a restart, or silenced.
    bool IsMute() const { return m_Off || m_Silenced; }
    // The link key the unit runs on, its identifier, a refusal it was told to give.
    CKeySys Key() const;
    CIdentV7 Ident() const;
    int Refuse() const;
    UnitState State() const;

private:
    void Back();

    mutable std::mutex m_Mutex;
    UnitState m_State;             // under m_Mutex
    long m_Requests = 0;           // under m_Mutex
    bool m_Restarting = false;     // under m_Mutex: from the request until the unit is back
    std::atomic<bool> m_Off{false};
    std::atomic<bool> m_Silenced{false};
    Setup m_Setup;
    UnitLog& m_Log;
    UnitTimer& m_Timer;
    std::vector<std::function<void()>> m_Down, m_Up;   // set before the carriers start
};

}  // namespace velkunit
