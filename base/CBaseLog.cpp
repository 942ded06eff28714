#include "base/CBaseLog.h"

#include "base/DBTime.h"
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "base/StringRes.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace {

// Failure texts of the writer (string resources).
constexpr unsigned short kOpenNew1 = 41060;
constexpr unsigned short kOpenNew2 = 41061;
constexpr unsigned short kOpenNew3 = 41062;
constexpr unsigned short kOpenNew4 = 41063;
constexpr unsigned short kPutInnerNotGood = 41064;

constexpr int kShownBytes = 30;
constexpr size_t kAddressWidth = 39;

std::string Stamp() { return DBTime::CurDateTime().DatTimStr(); }

void MakeFolders(const std::string& dir)
{
    // Every level, then the whole; errors are not looked at, since the
    // folders usually exist and a real failure shows when the file opens.
    for (size_t pos = dir.find('/'); pos != std::string::npos; pos = dir.find('/', pos + 1)) {
        const std::string part = dir.substr(0, pos);
        if (part.empty() || part == ".") continue;
        mkdir(part.c_str(), 0775);
    }
    mkdir(dir.c_str(), 0775);
}

template <typename Visit>
void ForEachFile(const std::string& dir, Visit visit)
{
    DIR* d = opendir(dir.c_str());
    if (!d) return;
    while (dirent* e = readdir(d)) visit(e->d_name);
    closedir(d);
}

}  // namespace

std::string PathLogs()
{
    const char* home = std::getenv("HOME");
    if (!home || !*home)
        throw ErrorXML(DBString(L"The environment variable HOME is not set: there is no folder for the logs"));
    return std::string(home) + "/VELK/logs/" + "Velkonf" + "/";
}

// ---------------------------------------------------------------- DelayMsg

CBaseLog::DelayMsg::DelayMsg(int periodMinutes)
    : m_NextSweep(Now() + static_cast<time_t>(periodMinutes) * 60), m_Period(periodMinutes)
{
}

CBaseLog::DelayMsg::~DelayMsg() = default;

time_t CBaseLog::DelayMsg::Now()
{
    return static_cast<time_t>(
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now().time_since_epoch()).count());
}

bool CBaseLog::DelayMsg::IsNeedToPut(const std::string& text) { return IsNeedToPut(text, Now()); }

bool CBaseLog::DelayMsg::IsNeedToPut(const std::string& text, time_t now)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Period < 1) return true;
    const time_t until = now + static_cast<time_t>(m_Period) * 60;
    bool put = true;
    auto it = m_Silent.find(text);
    if (it == m_Silent.end()) m_Silent.emplace(text, until);
    else if (it->second > now) put = false;
    else it->second = until;
    if (m_NextSweep < now) {
        for (auto e = m_Silent.begin(); e != m_Silent.end();) {
            if (e->second <= now) e = m_Silent.erase(e);
            else ++e;
        }
        m_NextSweep = until;
    }
    return put;
}

size_t CBaseLog::DelayMsg::Size() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Silent.size();
}

// ---------------------------------------------------------------- texts

DBString CBaseLog::CnvErr(const wchar_t* text, int errorCode)
{
    DBString out(text);
    if (errorCode == 0) return out;
    out.AppendFormat(L": %d - ", errorCode);
    // strerrordesc_np tells a known code from an unknown one; strerror_r gives
    // the text in the language of the run.
    if (!strerrordesc_np(errorCode)) return out + L"?";
    char buf[256];
    const char* sys = strerror_r(errorCode, buf, sizeof buf);
    return out + DBString(sys);
}

DBString CBaseLog::CnvMes(const wchar_t* text, const unsigned char* bytes, int length)
{
    DBString out(text);
    if (!bytes) return out;
    for (int i = 0; i < length && i < kShownBytes; ++i) out.AppendFormat(L" %02X", bytes[i]);
    if (length > kShownBytes) out += L" ...";
    return out;
}

std::string CBaseLog::StrMes(const unsigned char* bytes, int length)
{
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    if (!bytes || length <= 0) return out;
    out.reserve(static_cast<size_t>(length) * 3);
    for (int i = 0; i < length; ++i) {
        out += kHex[bytes[i] >> 4];
        out += kHex[bytes[i] & 0x0F];
        out += ' ';
    }
    return out;
}

std::string CBaseLog::ToStr(const in6_addr& address, int port)
{
    std::string text = IPv6ToStr(address);
    if (text.size() < kAddressWidth) text.insert(0, kAddressWidth - text.size(), ' ');
    char buf[16];
    std::snprintf(buf, sizeof buf, "|%05u ", static_cast<unsigned>(port));
    return text + buf;
}

std::string CBaseLog::TrafficLine(typRec kind, const in6_addr& address, int port, const unsigned char* bytes,
                                  int length)
{
    std::string line(1, kind == recOut ? '>' : ' ');
    line += ToStr(address, port);
    line += DBTime::CurDateTime().DatTimForLog();
    line += kind == recInp ? '<' : ' ';
    line += StrMes(bytes, length);
    return line;
}

// ---------------------------------------------------------------- the Put family

CBaseLog::CBaseLog(unsigned long maxQueue, int repeatMinutes) : m_Queue(maxQueue), m_DelayMsg(repeatMinutes) {}

CBaseLog::~CBaseLog() { Close(); }

void CBaseLog::Put(const wchar_t* text) { m_Queue.Put(Stamp() + DBString(text).ToStr()); }

void CBaseLog::Put(const std::wstring& text) { m_Queue.Put(Stamp() + DBString(text).ToStr()); }

void CBaseLog::PutFormat(const wchar_t* format, ...)
{
    wchar_t buf[4096];
    buf[0] = L'\0';
    va_list args;
    va_start(args, format);
    std::vswprintf(buf, sizeof buf / sizeof buf[0], format, args);
    va_end(args);
    buf[sizeof buf / sizeof buf[0] - 1] = L'\0';   // a cut result keeps what fitted
    Put(buf);
}

void CBaseLog::PutUtf8(const char* text) { m_Queue.Put(Stamp() + (text ? text : "")); }

void CBaseLog::PutUtf8(const std::string& text) { m_Queue.Put(Stamp() + text); }

void CBaseLog::PutDirect(const std::string& text) { m_Queue.Put(text); }

void CBaseLog::PutDirect(const DBString& text) { m_Queue.Put(text.ToStr()); }

void CBaseLog::PutErr(const wchar_t* text, int errorCode)
{
    const DBString line = CnvErr(text, errorCode);
    if (m_DelayMsg.IsNeedToPut(line.ToStr())) Put(line);
}

void CBaseLog::PutMes(const wchar_t* text, const unsigned char* bytes, int length)
{
    const DBString line = CnvMes(text, bytes, length);
    if (m_DelayMsg.IsNeedToPut(line.ToStr())) Put(line);
}

// ---------------------------------------------------------------- files

int CBaseLog::NumFile(const char* fileName)
{
    if (!fileName) return -1;
    const char* dot = std::strchr(fileName, '.');
    if (!dot) return -1;
    const size_t dotAt = static_cast<size_t>(dot - fileName);
    const size_t len = m_PrefixUtf8.size();
    if (dotAt <= len || m_PrefixUtf8.compare(0, len, fileName, len) != 0) return -1;
    long number = 0;
    for (const char* c = fileName + len; c != dot; ++c) {
        if (*c < '0' || *c > '9') return -1;
        number = number * 10 + (*c - '0');
        if (number > 99999999) return -1;
    }
    return static_cast<int>(number);
}

std::string CBaseLog::NameFile(int number)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "%07d", number);
    return m_PrefixUtf8 + digits + "." + m_Extension.ToStr();
}

void CBaseLog::Error(const std::string& text) { std::cout << m_Dir << ": " << text << std::endl; }

void CBaseLog::Report(unsigned short textId, int errorCode)
{
    Error(CnvErr(_S_(textId).c_str(), errorCode).ToStr());
}

bool CBaseLog::OpenNew(int number)
{
    m_Current = number;
    if (is_open()) close();
    clear();
    open(m_Dir + "/" + NameFile(number), std::ios::out | std::ios::app);
    // In append mode the put position starts at the end, so the rotation
    // check sees what the file held already.
    return is_open();
}

int CBaseLog::LastNum()
{
    int last = 1;
    ForEachFile(m_Dir, [&](const char* name) {
        const int n = NumFile(name);
        if (n > last) last = n;
    });
    return last;
}

void CBaseLog::ClearTo(int number)
{
    ForEachFile(m_Dir, [&](const char* name) {
        const int n = NumFile(name);
        if (n > 0 && n <= number) unlink((m_Dir + "/" + name).c_str());
    });
}

bool CBaseLog::Open(const char* prefix, const char* extension)
{
    if (m_Active) return true;
    m_Prefix = DBString(prefix ? prefix : "");
    m_PrefixLen = static_cast<int>(m_Prefix.size());
    m_PrefixUtf8 = m_Prefix.ToStr();
    m_Extension = DBString(extension ? extension : "");
    m_Dir = Dir();
    MakeFolders(m_Dir);
    const bool opened = OpenNew(LastNum());
    if (!opened) Report(kOpenNew1, errno);
    m_Active = 1;
    m_Writer = std::thread(&CBaseLog::PutProc, this);
    return opened;
}

void CBaseLog::Close()
{
    if (m_Writer.joinable()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        m_Active = 0;
        m_Queue.Put(std::string());
        m_Writer.join();
    }
    if (is_open()) close();
}

void CBaseLog::PutProc()
{
    std::string text;
    while (m_Active) {
        m_Queue.Read(text);
        if (!m_Active) break;
        PutInner(text);
    }
}

void CBaseLog::PutInner(const std::string& text)
{
    if (!is_open()) {
        if (!OpenNew(m_Current)) {
            Report(kOpenNew2, errno);
            return;
        }
    }
    if (tellp() >= kRotateBytes) {
        close();
        const int last = LastNum();
        ClearTo(last - m_KeepFiles);
        if (!OpenNew(last + 1)) {
            Report(kOpenNew3, errno);
            return;
        }
    }
    if (text.empty() || text.back() != '\n') {
        write(text.data(), static_cast<std::streamsize>(text.size()));
        put('\n');
        flush();
        // A failed write would leave the stream failed for good; report it
        // and let the next line open the file again.
        if (!good()) {
            Report(kPutInnerNotGood, errno);
            close();
        }
        return;
    }
    write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!good()) {
        Report(kPutInnerNotGood, errno);
        close();
        if (OpenNew(m_Current)) write(text.data(), static_cast<std::streamsize>(text.size()));
        else Report(kOpenNew4, errno);
    }
}
