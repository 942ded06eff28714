#pragma once
// Test support: velkunit, the unit simulator, as a child process of a test.
// Its standard output is collected line by line, and the header lines tell
// its ports and its serial path.
#include "support/WaitUntil.h"

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace unittest {

using namespace std::chrono_literals;

// velkunit started with `args`; its standard output is collected line by
// line, and the header lines tell its ports and its serial path.
class Simulator {
public:
    explicit Simulator(const std::vector<std::string>& args);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    bool Started() const { return m_Udp > 0; }
    int Udp() const { return m_Udp; }
    int Cloud() const { return m_Cloud; }
    int CloudKey() const { return m_CloudKey; }
    const std::string& Serial() const { return m_Serial; }
    // Lines of the log that contain `part`, waiting up to `limit` for one.
    bool WaitLine(const std::string& part, std::chrono::milliseconds limit = 20s);
    int CountLines(const std::string& part);
    // SIGTERM, and the exit status (-1 if it did not end by exit).
    int Stop();

private:
    void ReadLines();

    int m_Pid = -1;
    int m_Out = -1;
    std::thread m_Reader;
    std::mutex m_Mutex;
    std::vector<std::string> m_Lines;
    int m_Udp = 0, m_Cloud = 0, m_CloudKey = 0;
    std::string m_Serial;
};

// Runs velkunit to its end: exit status, standard output and error.
int RunToEnd(const std::vector<std::string>& args, std::string& out, std::string& err);

}  // namespace unittest
