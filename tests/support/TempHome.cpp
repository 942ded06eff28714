#include "support/TempHome.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

TempHome::TempHome()
{
    const char* old = std::getenv("HOME");
    m_HadHome = old != nullptr;
    if (old) m_OldHome = old;
    std::string tmpl = (std::filesystem::temp_directory_path() / "velk-home-XXXXXX").string();
    if (!mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
    m_Path = tmpl;
    setenv("HOME", m_Path.c_str(), 1);
}

TempHome::~TempHome()
{
    std::error_code ec;
    std::filesystem::remove_all(m_Path, ec);
    if (m_HadHome) setenv("HOME", m_OldHome.c_str(), 1);
    else unsetenv("HOME");
}
