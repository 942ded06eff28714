#pragma once
// A private $HOME for one test: created empty, removed with its contents when
// the test ends, and the previous value of HOME put back.
#include <string>

class TempHome {
public:
    TempHome();
    ~TempHome();
    TempHome(const TempHome&) = delete;
    TempHome& operator=(const TempHome&) = delete;

    const std::string& Path() const { return m_Path; }
    // Path below the temporary home, e.g. Sub("VELK/logs").
    std::string Sub(const std::string& rel) const { return m_Path + "/" + rel; }

private:
    std::string m_Path;
    std::string m_OldHome;
    bool m_HadHome = false;
};
