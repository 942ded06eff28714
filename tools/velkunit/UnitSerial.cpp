#include "tools/velkunit/UnitSerial.h"

#include "base/BasePoolThread.h"
#include "base/ErrorXML.h"
#include "tools/velkunit/CUnit.h"
#include "tools/velkunit/UnitLog.h"
#include "tools/velkunit/UnitTimer.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace velkunit {

namespace {

constexpr char kByIdDir[] = "/dev/serial/by-id";
// How often the copy looks again at an end that nobody has open.
constexpr int kHungPollMs = 100;
constexpr int kWriteWaitMs = 2000;

// A raw pseudo-terminal; the master stays, the slave is closed at once so
// that the configurator's TIOCEXCL ends with its own close. Returns the
// master, and the slave's path in `path`.
int OpenPty(std::string& path)
{
    termios raw{};
    cfmakeraw(&raw);
    int master, slave;
    char name[128];
    if (openpty(&master, &slave, name, &raw, nullptr) == -1) throw ErrorXML(DBString("openpty"), errno);
    close(slave);
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    fcntl(master, F_SETFD, FD_CLOEXEC);
    path = name;
    return master;
}

void CloseFd(int& fd)
{
    if (fd != -1) close(fd);
    fd = -1;
}

// Writes everything, waiting for room at most kWriteWaitMs in all; what
// cannot go is dropped, as noise on a line would be.
void WriteAll(int fd, const unsigned char* data, size_t len)
{
    int waited = 0;
    while (len > 0 && waited < kWriteWaitMs) {
        const ssize_t n = write(fd, data, len);
        if (n > 0) {
            data += n;
            len -= static_cast<size_t>(n);
        } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            pollfd p{fd, POLLOUT, 0};
            poll(&p, 1, 50);
            waited += 50;
        } else {
            return;
        }
    }
}

}  // namespace

UnitSerial::UnitSerial(BasePoolThread* pool, CUnit& unit, UnitTimer& timer, UnitLog& log, int delayMs)
    : m_Pool(pool), m_Unit(unit), m_Timer(timer), m_Log(log), m_DelayMs(delayMs), m_Port(pool, this)
{
}

UnitSerial::~UnitSerial() { Stop(); }

void UnitSerial::Start()
{
    m_Outer = OpenPty(m_Path);
    std::string inner;
    m_Inner = OpenPty(inner);
    m_Wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    m_Port.Open(inner.c_str());
    MakeLink();
    m_Run = true;
    m_Pool->StartProc("UnitSerial::BridgeProc", BridgeProc, this, 0, 0);
}

void UnitSerial::Stop()
{
    m_Run = false;
    if (m_Wake != -1) {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t r = write(m_Wake, &one, sizeof one);
    }
    m_Pool->StopProc(BridgeProc, this);
    m_Port.Close();
    // Another simulator of the same identifier may have taken the name since.
    char target[256] = {};
    if (!m_Link.empty() && readlink(m_Link.c_str(), target, sizeof target - 1) > 0 && m_Path == target)
        unlink(m_Link.c_str());
    m_Link.clear();
    CloseFd(m_Outer);
    CloseFd(m_Inner);
    CloseFd(m_Wake);
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

bool UnitSerial::Copy(int from, int to, bool toHung)
{
    unsigned char buf[1024];
    const ssize_t n = read(from, buf, sizeof buf);
    if (n < 0 && errno == EIO) return false;   // the other side of this master is closed
    if (n > 0 && !toHung) WriteAll(to, buf, static_cast<size_t>(n));
    return true;
}

bool UnitSerial::BridgeProc(void* serial)
{
    auto* self = static_cast<UnitSerial*>(serial);
    bool hung = false;   // nobody has the configurator's end open
    while (self->m_Run) {
        pollfd fds[3] = {{hung ? -1 : self->m_Outer, POLLIN, 0}, {self->m_Inner, POLLIN, 0}, {self->m_Wake, POLLIN, 0}};
        const int r = poll(fds, 3, hung ? kHungPollMs : -1);
        if (r < 0 && errno != EINTR) break;
        if (r == 0) {
            hung = false;   // look at the configurator's end again
            continue;
        }
        if (fds[0].revents & POLLIN)
            hung = !self->Copy(self->m_Outer, self->m_Inner, false);
        else if (fds[0].revents & (POLLHUP | POLLERR))
            hung = true;
        if (fds[1].revents & POLLIN) self->Copy(self->m_Inner, self->m_Outer, hung);
    }
    return false;
}

void UnitSerial::Port::PutLog(const std::string& text) { m_Owner->m_Log.Event("serial", text); }

void UnitSerial::Port::PutErr(const wchar_t* text, int code)
{
    m_Owner->m_Log.Event("error", DBString(text).ToStr() + ": " + std::strerror(code));
}

void UnitSerial::Port::MngPack(CPackV7& pack)
{
    EnableOut();   // the request is in: the line is ours to answer on
    CUnit::Answer answer = m_Owner->m_Unit.Handle(pack, "serial", m_Owner->m_Path);
    if (answer.replies.empty()) return;
    if (m_Owner->m_DelayMs > 0) {
        m_Owner->m_Timer.After(m_Owner->m_DelayMs, [this, replies = answer.replies]() mutable {
            for (CPackV7& reply : replies) PutPort(reply);
        });
        return;
    }
    for (CPackV7& reply : answer.replies) PutPort(reply);
}

}  // namespace velkunit
