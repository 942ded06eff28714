#include "link/CPortV7.h"

#include "base/BasePoolThread.h"
#include "base/ErrorXML.h"
#include "base/StringRes.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace {

constexpr int kReadMax = 1025;
constexpr int kCodeMax = 1029;   // output limit of ChanCod for one frame

}  // namespace

CPortV7::CPortV7(BasePoolThread* pool) : m_Pool(pool)
{
    m_WakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}

CPortV7::~CPortV7()
{
    Close();
    if (m_WakeFd != -1) close(m_WakeFd);
}

void CPortV7::PutLogInp(const unsigned char*, int) {}

void CPortV7::PutLogOut(const unsigned char*, int) {}

std::string CPortV7::Path()
{
    std::lock_guard<std::mutex> lock(m_ReopenMutex);
    return m_Path;
}

// ---------------------------------------------------------------- open and close

void CPortV7::Open(const char* path) { OpenPort(path, false); }

void CPortV7::Attach(int fd, const char* name)
{
    if (m_Open || m_Fd != -1) ClosePort();
    {
        std::lock_guard<std::mutex> lock(m_ReopenMutex);
        m_Path = name ? name : "";
    }
    m_Attached = true;
    m_Lost = false;
    m_Restarting = false;
    m_Open = true;
    {
        std::lock_guard<std::mutex> lock(m_OutMutex);
        m_Fd = fd;
    }
    m_Ready = true;
    m_Pool->StartProc("CPortV7::CommInpProc", CommInpProc, this, 0, 0);
}

void CPortV7::OpenPort(const char* path, bool fromReopen)
{
    if (m_Open || m_Fd != -1) ClosePort();
    const DBString where(path ? path : "");
    {
        std::lock_guard<std::mutex> lock(m_ReopenMutex);
        m_Path = path ? path : "";
    }
    m_Attached = false;
    m_Lost = false;
    m_Restarting = false;
    m_Open = true;
    try {
        const int fd = open(path ? path : "", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (fd == -1) throw ErrorXML(where, _S_(41001), errno);
        {
            std::lock_guard<std::mutex> lock(m_OutMutex);
            m_Fd = fd;
        }
        if (ioctl(fd, TIOCEXCL) == -1) throw ErrorXML(where, _S_(41002), errno);
        Configure();
        m_Ready = true;   // a fresh line: the first request never waits
        m_Pool->StartProc("CPortV7::CommInpProc", CommInpProc, this, 0, 0);
    } catch (const ErrorXML& e) {
        // The reopen thread must not stop itself: it only closes the port.
        if (fromReopen)
            ClosePort();
        else
            Close();
        throw ErrorXML(_S_(41003), e.GetText(), e.GetCode());
    }
}

void CPortV7::Configure()
{
    // Failures of the terminal calls are not reported: the line may still
    // work, and a dead line shows as a unit that does not answer.
    const int fd = m_Fd;
    termios tio{};
    if (tcgetattr(fd, &tio) == -1) return;
    cfsetispeed(&tio, m_Speed);
    cfsetospeed(&tio, m_Speed);
    tio.c_iflag &= ~static_cast<tcflag_t>(IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXANY |
                                          IXOFF);
    tio.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    tio.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB | CRTSCTS);
    tio.c_cflag |= CS8 | CREAD | CLOCAL;
    tio.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE | ECHONL | IEXTEN);
    tio.c_cc[VTIME] = 1;
    tio.c_cc[VMIN] = 255;
    tcsetattr(fd, TCSANOW, &tio);
}

void CPortV7::ClosePort()
{
    m_Open = false;
    WakeRead();
    m_Pool->StopProc(CommInpProc, this);
    DrainWake();
    std::lock_guard<std::mutex> lock(m_OutMutex);
    const int fd = m_Fd.exchange(-1);
    if (fd != -1) close(fd);
}

void CPortV7::Close()
{
    {
        std::lock_guard<std::mutex> lock(m_ReopenMutex);
        m_ReopenStop = true;
    }
    m_ReopenCond.notify_all();
    m_Pool->StopProc(ReOpen, this);
    ClosePort();
}

void CPortV7::WakeRead()
{
    // A failure means the counter is full: the thread is being woken anyway.
    const uint64_t one = 1;
    if (m_WakeFd == -1) return;
    [[maybe_unused]] const ssize_t r = write(m_WakeFd, &one, sizeof one);
}

void CPortV7::DrainWake()
{
    uint64_t count;
    if (m_WakeFd == -1) return;
    [[maybe_unused]] const ssize_t r = read(m_WakeFd, &count, sizeof count);
}

// ---------------------------------------------------------------- reopen after a restart

void CPortV7::StartReopen()
{
    {
        // Cleared here rather than in the thread, so that a Close that comes
        // before the thread has begun is not forgotten.
        std::lock_guard<std::mutex> lock(m_ReopenMutex);
        m_ReopenStop = false;
    }
    // A reopen that has just opened the port may still hold its pair.
    m_Pool->StopProc(ReOpen, this);
    m_Pool->StartProc("CPortV7::ReOpen", ReOpen, this, 0, 0);
}

bool CPortV7::ReOpen(void* port)
{
    auto* self = static_cast<CPortV7*>(port);
    self->ClosePort();
    std::string path;
    {
        std::unique_lock<std::mutex> lock(self->m_ReopenMutex);
        const auto wait = std::chrono::milliseconds(self->m_Timing.reopenMs);
        if (self->m_ReopenCond.wait_for(lock, wait, [self] { return self->m_ReopenStop; })) return false;
        path = self->m_Path;
    }
    try {
        self->OpenPort(path.c_str(), true);
    } catch (const ErrorXML& e) {
        self->PutErr(e.GetText().c_str(), e.GetCode());
    }
    return false;
}

bool CPortV7::IsReopening()
{
    std::string name;
    return m_Pool->IsStartProc(ReOpen, this, name, false) != nullptr;
}

void CPortV7::WaitReOpen()
{
    // Polled like the pool's own StopProc; stopping it instead would cancel
    // a reopen that has not begun yet.
    while (IsReopening()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// ---------------------------------------------------------------- output

void CPortV7::WaitResponse() { m_Ready.exchange(false); }

void CPortV7::EnableOut()
{
    {
        std::lock_guard<std::mutex> lock(m_ReadyMutex);
        m_Ready.exchange(true);
    }
    m_ReadyCond.notify_all();
}

bool CPortV7::PutPort(CPackV7& pack)
{
    if (!m_Open) return true;
    bool restart = false;
    {
        std::lock_guard<std::mutex> lock(m_OutMutex);
        {
            // Past the limit the request goes anyway: a silent unit must not
            // stop the exchange.
            std::unique_lock<std::mutex> ready(m_ReadyMutex);
            m_ReadyCond.wait_for(ready, std::chrono::milliseconds(m_Timing.readyWaitMs), [this] { return m_Ready.load(); });
        }
        pack.AddRepl(0);
        pack.SetIdent(0);
        unsigned char frame[3 + kCodeMax];
        const int n = pack.ChanCod(frame + 3, kCodeMax, CPackV7::DefaultKey);
        frame[0] = 0xFF;
        frame[1] = static_cast<unsigned char>(n >> 8);
        frame[2] = static_cast<unsigned char>(n);
        PutLogOut(pack.m_Buf, pack.m_Len + 2);
        // The unit restarts whether or not we saw the bytes leave, and its
        // line goes away meanwhile: that is no loss of the link.
        restart = pack.IsRestart() && !m_Attached;
        if (restart) m_Restarting = true;
        if (!WriteFrame(frame, n + 3)) PutLog("CPortV7::PutPort - the line did not take the frame in time");
    }
    // Outside the output mutex: the reopen thread takes it to close the port.
    if (restart) StartReopen();
    return true;
}

bool CPortV7::WriteFrame(const unsigned char* frame, int len)
{
    const int fd = m_Fd;
    if (fd == -1) return false;   // being opened, or closed meanwhile
    int done = 0;
    // A line that never takes the bytes must not hold the caller (the
    // interface thread) for ever.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_Timing.writeLimitMs);
    while (done < len && m_Open) {
        if (std::chrono::steady_clock::now() > end) break;
        pollfd p{fd, POLLOUT, 0};
        const int r = poll(&p, 1, m_Timing.writePollMs);
        if (r == 0 || (r < 0 && errno == EINTR)) continue;
        if (r < 0) break;
        const ssize_t w = write(fd, frame + done, static_cast<size_t>(len - done));
        if (w <= 0) break;
        done += static_cast<int>(w);
        m_BytesWritten += w;
    }
    // Paced as the line sends: wait until the bytes have left, but no longer
    // than the limit (tcdrain could wait for ever on a line nobody reads).
    for (int queued = 1; done == len && m_Open && std::chrono::steady_clock::now() < end;) {
        if (ioctl(fd, TIOCOUTQ, &queued) == -1 || queued == 0) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return done == len;
}

// ---------------------------------------------------------------- input

bool CPortV7::CommInpProc(void* port)
{
    auto* self = static_cast<CPortV7*>(port);
    CFrameV7 frame;
    unsigned char buf[kReadMax];
    time_t lastRead = 0;
    while (self->m_Open) self->ReadOnce(frame, buf, lastRead);
    return false;
}

void CPortV7::Pause()
{
    pollfd p{m_WakeFd, POLLIN, 0};
    poll(&p, 1, m_Timing.pollMs);
}

void CPortV7::ReadOnce(CFrameV7& frame, unsigned char* buf, time_t& lastRead)
{
    const int fd = m_Fd;
    pollfd fds[2] = {{fd, POLLIN, 0}, {m_WakeFd, POLLIN, 0}};
    const int r = poll(fds, 2, m_Timing.pollMs);
    if (!m_Open) return;
    if (r == 0) {
        EnableOut();   // an idle line lets the next request go
        return;
    }
    if (r < 0 || fds[1].revents) {
        if (r < 0 && errno != EINTR) Pause();
        if (fds[1].revents) DrainWake();
        return;
    }
    if (!(fds[0].revents & POLLIN)) {
        HungUp();   // the device went away; wait for Close or a reopen
        return;
    }
    const ssize_t n = read(fd, buf, kReadMax);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) {
        HungUp();   // end of file: poll would report it again at once
        return;
    }
    if (n < 0) return;
    m_Lost = false;
    const time_t now = V7Now(m_Timing.now);
    if (now - lastRead > 1) frame.Reset();   // what came before the gap is stale
    lastRead = now;
    for (ssize_t i = 0; i < n; ++i) {
        switch (frame.Put(buf[i])) {
        case CFrameV7::evStart:
            m_Ready.exchange(false);   // an answer is arriving
            break;
        case CFrameV7::evFrame:
            TakeFrame(frame);
            EnableOut();
            break;
        case CFrameV7::evRefused:
            EnableOut();
            break;
        case CFrameV7::evNone:
            break;
        }
    }
    m_BytesRead += n;
}

void CPortV7::HungUp()
{
    if (!m_Restarting && !m_Lost.exchange(true)) LineLost();
    Pause();
}

void CPortV7::TakeFrame(const CFrameV7& frame)
{
    CPackV7 pack;
    if (!pack.ChanDecod(frame.Body(), frame.BodyLen(), CPackV7::DefaultKey)) return;   // dropped without a word
    PutLogInp(pack.m_Buf, pack.m_Len + 2);
    MngPack(pack);
}
