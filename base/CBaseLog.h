#pragma once
// CBaseLog: a rotating log folder written by one writer thread.
//
// Callers never touch a file: every Put builds the finished line (timestamp
// and conversion on the calling thread) and appends it to a bounded queue,
// which never blocks and drops its oldest line when full. The writer thread
// does all file work: it appends to the newest numbered file
// (<prefix><7 digits>.<extension>), flushes each line so that a crash loses
// nothing it had taken, rotates past 1,000,000 bytes keeping `keepFiles`
// older files, and on a failure reports to standard output (Error) and tries
// the file again with the next line. A log cannot report its own failure to
// itself.
//
// Threads: the Put family from any thread. Open and Close by the owner, when
// the writer is not yet or no longer running. The file (this stream) is
// touched only by the writer between them: do not use the std::ofstream
// interface from outside. The queue's mutex and the DelayMsg mutex are
// leaves.
//
// A derived class must call Close() in its own destructor: the writer calls
// the virtual operations below and must be gone before the derived part is.
#include "base/DBString.h"
#include "base/StringQueue.h"

#include <netinet/in.h>

#include <atomic>
#include <ctime>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>

// $HOME + "/VELK/logs/Velkonf/", the root of the three log folders. Throws
// ErrorXML when HOME is unset or empty, since there is then nowhere to log.
std::string PathLogs();

// Direction of a traffic line: 1 received, 2 sent; any other value marks neither.
enum typRec : int { recNone = 0, recInp = 1, recOut = 2 };

class CBaseLog : public std::ofstream {
public:
    // Silences repeats of the same text for a period in minutes; 0 turns the
    // filter off. A silent spell runs from its first line and is not pushed
    // back by repeats; expired entries are swept, so the map stays bounded.
    class DelayMsg {
    public:
        explicit DelayMsg(int periodMinutes);
        virtual ~DelayMsg();
        bool IsNeedToPut(const std::string& text);
        // The same with the current time given, in seconds of Now().
        bool IsNeedToPut(const std::string& text, time_t now);
        // Seconds on the steady clock: a change of the wall clock neither
        // ends a silent spell early nor stretches it.
        static time_t Now();
        size_t Size() const;

    private:
        std::map<std::string, time_t> m_Silent;   // text -> silent until
        mutable std::mutex m_Mutex;
        time_t m_NextSweep;
        int m_Period;
    };

    // maxQueue: lines waiting before the oldest is dropped; repeatMinutes:
    // period of the repeat filter of PutErr and PutMes (0: off).
    CBaseLog(unsigned long maxQueue, int repeatMinutes);
    ~CBaseLog() override;

    // Number of a file of this log, or -1 for a file that is not one.
    virtual int NumFile(const char* fileName);
    virtual std::string NameFile(int number);
    // The folder, without a slash at the end.
    virtual std::string Dir() = 0;
    // Dir(), ": ", the text, on standard output.
    virtual void Error(const std::string& text);

    // Creates the folder, opens the newest file for appending and starts the
    // writer (even when the file failed, so that a later line retries).
    // False if the file could not be opened. Never throws, except the
    // ErrorXML of Dir() when HOME is not set, before anything has started.
    bool Open(const char* prefix, const char* extension);
    // Gives queued lines 100 ms, then ends the writer; what is left is lost.
    void Close();

    // Timestamp ("dd.mm.yyyy hh:mm:ss ") and text.
    void Put(const wchar_t* text);
    void Put(const std::wstring& text);
    void PutFormat(const wchar_t* format, ...);
    // Timestamp and UTF-8 text, with no conversion.
    void PutUtf8(const char* text);
    void PutUtf8(const std::string& text);
    // The text as it stands, without a timestamp.
    void PutDirect(const std::string& text);
    void PutDirect(const DBString& text);
    // CnvErr or CnvMes, then the repeat filter, then Put.
    void PutErr(const wchar_t* text, int errorCode);
    void PutMes(const wchar_t* text, const unsigned char* bytes, int length);

    // text; with a code, text ": <code> - " and the system's error text
    // (or "?" where the system has none).
    static DBString CnvErr(const wchar_t* text, int errorCode);
    // text, then at most 30 bytes as " %02X", then " ..." if there were more.
    static DBString CnvMes(const wchar_t* text, const unsigned char* bytes, int length);
    // Every byte as "%02X "; empty for no bytes.
    static std::string StrMes(const unsigned char* bytes, int length);
    // The address padded in front to 39 characters, then "|%05u " with the port.
    static std::string ToStr(const in6_addr& address, int port);

    int KeepFiles() const { return m_KeepFiles; }
    // Set before Open.
    void SetKeepFiles(int count) { m_KeepFiles = count; }

    static constexpr long kRotateBytes = 1000000;

protected:
    // Send mark, ToStr, time, receive mark, bytes: the traffic line.
    static std::string TrafficLine(typRec kind, const in6_addr& address, int port, const unsigned char* bytes,
                                   int length);

private:
    bool OpenNew(int number);
    int LastNum();
    void ClearTo(int number);
    void PutProc();
    void PutInner(const std::string& text);
    void Report(unsigned short textId, int errorCode);

    int m_Current = 1;                // writer only, after Open
    std::atomic<int> m_Active{0};
    StringQueue m_Queue;
    DelayMsg m_DelayMsg;
    std::thread m_Writer;
    DBString m_Prefix;
    int m_PrefixLen = 0;
    DBString m_Extension;
    int m_KeepFiles = 100;
    std::string m_Dir;                // Dir() taken at Open, for the writer
    std::string m_PrefixUtf8;
};
