#include "tools/velkunit/UnitSerial.h"

#include <chrono>
#include <thread>

#include "base/ErrorXML.h"
#include "tools/velkunit/CUnit.h"
#include "tools/velkunit/UnitLog.h"
#include "tools/velkunit/UnitTimer.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace velkunit {

namespace {

constexpr char kByIdDir[] = "/dev/serial/by-id";

}  // namespace

UnitSerial::UnitSerial(BasePoolThread* pool, CUnit& unit, UnitTimer& timer, UnitLog& log, int delayMs, int baud)
    : m_Unit(unit), m_Timer(timer), m_Log(log), m_DelayMs(delayMs), m_Baud(baud), m_Port(pool, this)
{
}

UnitSerial::~UnitSerial() { Stop(); }

void UnitSerial::Start()
{
    // Raw from the start, so that nothing is echoed before the configurator
    // sets the line up. The slave is closed at once: the configurator's
    // exclusive claim must end with its own close.
    termios raw{};
    cfmakeraw(&raw);
    int master, slave;
    char name[128];
    if (openpty(&master, &slave, name, &raw, nullptr) == -1) throw ErrorXML(DBString("openpty"), errno);
    close(slave);
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    fcntl(master, F_SETFD, FD_CLOEXEC);
    m_Path = name;
    // While nobody has the slave open the port's read thread pauses a poll
    // period at a time; a real unit answers as soon as the host opens it.
    m_Port.m_Timing.pollMs = 100;
    m_Port.Attach(master, name);
    MakeLink();
}

void UnitSerial::Stop()
{
    m_Port.Close();
    // Another simulator of the same identifier may have taken the name since.
    char target[256] = {};
    if (!m_Link.empty() && readlink(m_Link.c_str(), target, sizeof target - 1) > 0 && m_Path == target)
        unlink(m_Link.c_str());
    m_Link.clear();
}

void UnitSerial::MakeLink()
{
    const std::string name = std::string(kByIdDir) + "/velkunit-" + std::to_string(m_Unit.Ident().GetNode());
    mkdir("/dev/serial", 0755);
    mkdir(kByIdDir, 0755);
    unlink(name.c_str());   // a link left by an earlier run that was killed
    if (symlink(m_Path.c_str(), name.c_str()) == 0)
        m_Link = name;
    else
        m_LinkError = name + ": " + std::strerror(errno);
}

void UnitSerial::Port::PutLog(const std::string& text) { m_Owner->m_Log.Event("serial", text); }

void UnitSerial::Port::PutErr(const wchar_t* text, int code)
{
    m_Owner->m_Log.Event("error", DBString(text).ToStr() + ": " + std::strerror(code));
}

void UnitSerial::Pace(const CPackV7& pack) const
{
    if (m_Baud <= 0) return;
    // The frame: start byte, two length bytes, the image, its CRC and the nonce.
    const long bits = 10L * (pack.m_Len + 6);
    std::this_thread::sleep_for(std::chrono::microseconds(bits * 1000000L / m_Baud));
}

void UnitSerial::Port::MngPack(CPackV7& pack)
{
    m_Owner->Pace(pack);   // the request's own time on the line
    EnableOut();   // the request is in: the line is ours to answer on
    CUnit::Answer answer = m_Owner->m_Unit.Handle(pack, "serial", m_Owner->m_Path);
    if (answer.replies.empty()) return;
    if (m_Owner->m_DelayMs > 0) {
        m_Owner->m_Timer.After(m_Owner->m_DelayMs, [this, replies = answer.replies]() mutable {
            for (CPackV7& reply : replies) PutPort(reply);
        });
        return;
    }
    for (CPackV7& reply : answer.replies) {
        m_Owner->Pace(reply);
        PutPort(reply);
    }
}

}  // namespace velkunit
