#pragma once
// CPortV7: V7 packets over the USB serial line of a unit (115200 baud, 8N1,
// raw, claimed with TIOCEXCL). One peer, no window, no retransmission: one
// request at a time, paced by a ready-to-send flag. The flag starts set; the
// read thread clears it when an answer begins (a start byte) and sets it when
// the answer is complete, dropped, or the line is idle for a poll; PutPort
// waits for it at most 512 ms. The line's key is always CPackV7::DefaultKey,
// ident 0 and nothing acknowledged.
//
// A restart request sent through PutPort closes the port at once and reopens
// it after 7 s, since the unit and its USB device go away; Close ends that
// wait at once.
//
// The class is abstract: a derived class takes the received packets (MngPack)
// and writes the reports. Either side can be built from it: the configurator
// on the unit's device, or a unit simulator on a pseudo-terminal.
//
// Threads: the callers of PutPort (serialised by the output mutex); the read
// thread "CPortV7::CommInpProc" on the pool, which calls MngPack; the reopen
// thread "CPortV7::ReOpen"; the owner (Open, Attach, Close, WaitReOpen).
// Locks: the output mutex is held across a whole frame, and while starting
// the reopen thread (pool lock inside it). The ready-to-send flag is an
// atomic exchange; its mutex only closes the gap between a test and a wait
// and is a leaf. The reopen wait has its own mutex, a leaf. The reopen
// thread closes the descriptor only after the read thread has stopped, and
// under the output mutex, so neither reader nor writer meets a closed one.
//
// MngPack runs on the read thread with the flag still clear (the answer is
// being taken): a side that answers from MngPack calls EnableOut first, or
// its PutPort waits the full limit. MngPack must not Close the port.
//
// A derived class must call Close in its own destructor.
#include "link/CFrameV7.h"
#include "link/CPackV7.h"
#include "link/V7Timing.h"

#include <termios.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

class BasePoolThread;

class CPortV7 {
public:
    // Production values; a test shortens or lengthens them before Open.
    struct Timing {
        int pollMs = 500;         // idle poll of the read thread
        int readyWaitMs = 512;    // PutPort's wait for the ready-to-send flag
        int writePollMs = 500;    // poll for room to write
        int writeLimitMs = 2000;  // a frame that cannot leave in this time is given up
        int reopenMs = 7000;      // closed time after a restart request
        V7SecondsClock now;       // the 1-second gap rule of the read thread
    };

    explicit CPortV7(BasePoolThread* pool);
    CPortV7(const CPortV7&) = delete;
    CPortV7& operator=(const CPortV7&) = delete;
    virtual ~CPortV7();

    virtual void PutLog(const std::string& text) = 0;
    virtual void PutErr(const wchar_t* text, int code) = 0;
    // A received packet, plain image with its CRC.
    virtual void PutLogInp(const unsigned char* data, int len);
    // A sent packet, plain image with its CRC.
    virtual void PutLogOut(const unsigned char* data, int len);
    // Takes each received packet, on the read thread.
    virtual void MngPack(CPackV7& pack) = 0;
    // The line hung up (the device was unplugged, or the far end of a
    // pseudo-terminal closed): told once, on the read thread, which then only
    // looks again every poll interval until Close. It must only post; a
    // restart's own closing is not a loss and is not told.
    virtual void LineLost() {}

    // Opens and configures the port and starts the read thread. Throws
    // ErrorXML ("CPortV7::Open - " + path + the reason, errno) after closing
    // again. An open port is closed first.
    void Open(const char* path);
    // Serves a descriptor that is open already, such as the master of a
    // pseudo-terminal on which a simulated unit answers: no exclusive claim,
    // no line settings (the other side's port makes them), and no reopen
    // after a restart request. Close closes it. An open port is closed first.
    void Attach(int fd, const char* name);
    // Ends the reopen wait and the read thread, closes the descriptor.
    void Close();
    // Sends one packet as a frame, ident 0; always true, also while closed.
    bool PutPort(CPackV7& pack);
    // The next PutPort waits for the unit's answer.
    void WaitResponse();
    void EnableOut();
    // Returns when no reopen is under way.
    void WaitReOpen();

    bool IsOpen() const { return m_Open && m_Fd != -1; }
    bool IsReady() const { return m_Ready; }
    bool IsReopening();
    // Bytes taken from the line since construction, counted once the read
    // thread has dealt with them.
    long BytesRead() const { return m_BytesRead; }
    // Bytes written to the line since construction.
    long BytesWritten() const { return m_BytesWritten; }
    std::string Path();

    Timing m_Timing;

private:
    static bool CommInpProc(void* port);
    static bool ReOpen(void* port);
    void OpenPort(const char* path, bool fromReopen);
    void Configure();
    // Stops the read thread and closes the descriptor.
    void ClosePort();
    // False when nothing could be written.
    bool WriteFrame(const unsigned char* frame, int len);
    void StartReopen();
    // Waits on the wake descriptor: the pause after a failing line.
    void Pause();
    // One poll and read of the read thread.
    void ReadOnce(CFrameV7& frame, unsigned char* buf, time_t& lastRead);
    void TakeFrame(const CFrameV7& frame);
    // A hang-up: told once, then a pause instead of a busy loop.
    void HungUp();
    void WakeRead();
    void DrainWake();

    std::atomic<bool> m_Open{false};
    std::atomic<int> m_Fd{-1};
    std::string m_Path;             // written by Open, under m_ReopenMutex
    std::atomic<bool> m_Attached{false};
    speed_t m_Speed = B115200;
    std::mutex m_OutMutex;
    std::atomic<bool> m_Ready{true};
    std::mutex m_ReadyMutex;
    std::condition_variable m_ReadyCond;
    std::mutex m_ReopenMutex;
    bool m_ReopenStop = false;      // under m_ReopenMutex
    std::condition_variable m_ReopenCond;
    BasePoolThread* m_Pool;
    int m_WakeFd = -1;              // ends the read thread's poll at Close
    std::atomic<long> m_BytesRead{0};
    std::atomic<long> m_BytesWritten{0};
    std::atomic<bool> m_Lost{false};        // LineLost told for this opening
    std::atomic<bool> m_Restarting{false};  // a restart request is leaving: the line will go
};
