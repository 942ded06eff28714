#pragma once
// The simulator's log on standard output: one line per request that reached
// the unit, and one per event (start, restart, link reports, errors), each
// flushed at once so that a script reading the pipe sees it. Readable lines
// by default; with --json one JSON object per line.
//
// The log can start held: its lines then wait until Release, so that the
// header lines that scripts read first come first, whatever a peer does.
//
// Threads: any. The mutex is a leaf.
#include "link/CPackV7.h"
#include "tools/velkunit/UnitAnswer.h"

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

namespace velkunit {

class UnitLog {
public:
    explicit UnitLog(bool json, bool held = false, std::FILE* out = stdout) : m_Json(json), m_Held(held), m_Out(out) {}

    // A line as it is, at once even while held (the header lines).
    void Line(const std::string& text);
    // Writes the lines held so far, and from now on every line at once.
    void Release();
    // One packet for the unit and what came of it.
    void Request(const std::string& carrier, const std::string& peer, const CPackV7& request, const AnswerNote& note,
                 size_t replies);
    void Event(const std::string& what, const std::string& text);
    void Event(const std::string& what, const wchar_t* text);

    // Text as a JSON string, quotes included.
    static std::string Quote(const std::string& text);

private:
    void Put(const std::string& line);
    void Write(const std::string& line);   // under m_Mutex

    std::mutex m_Mutex;
    bool m_Json;
    bool m_Held;                          // under m_Mutex
    std::vector<std::string> m_Waiting;   // under m_Mutex
    std::FILE* m_Out;
};

}  // namespace velkunit
