#include "disp/CReceivDisp.h"

#include "base/BasePoolThread.h"
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "disp/CSendDisp.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace {

sockaddr_in6 SockAddr(const in6_addr& address, int port)
{
    sockaddr_in6 sa{};
    sa.sin6_family = AF_INET6;
    sa.sin6_port = htons(static_cast<uint16_t>(port));
    sa.sin6_addr = address;
    return sa;
}

}  // namespace

CReceivDisp::CReceivDisp(BasePoolThread* pool, bool bigBuffers) : m_BigBuffers(bigBuffers), m_Pool(pool)
{
    ClearIPv6(m_Address);
}

CReceivDisp::~CReceivDisp() { Stop(); }

void CReceivDisp::LogPut(const in6_addr&, int, const unsigned char*, int) {}
CSendDisp* CReceivDisp::Connect(const in6_addr&, int, const unsigned char*, int) { return nullptr; }
void CReceivDisp::BadPut(const wchar_t*) {}
void CReceivDisp::BadPutErr(const wchar_t*, int) {}
void CReceivDisp::BadPutMes(const wchar_t*, const unsigned char*, int) {}
CSendDisp* CReceivDisp::GetSendRemote(const in6_addr&, int) { return nullptr; }
DBString CReceivDisp::NameApp() { return L"Velkonf"; }

void CReceivDisp::SetBind(const in6_addr& address, int port)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_Address = address;
    m_Port = port;
}

int CReceivDisp::SocketFd()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Socket;
}

void CReceivDisp::Start()
{
    if (m_Active) return;
    DBString text;
    int code = 0;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        code = BindLocked(text);
    }
    if (code != 0) throw ErrorXML(text, code);
    m_Active = true;
    m_Pool->StartProc(m_Name, WinSockProc, this, 0, 0);
}

void CReceivDisp::Stop()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Active = false;
        // Shut down only: the reader wakes with 0 bytes. The descriptor is
        // closed after the reader has left, so that its number cannot be
        // reused by another socket under a recvfrom that is about to start.
        if (m_Socket != -1) shutdown(m_Socket, SHUT_RDWR);
    }
    m_StopCond.notify_all();
    m_Pool->StopProc(WinSockProc, this);
    std::lock_guard<std::mutex> lock(m_Mutex);
    CloseSocket(m_Socket);
}

int CReceivDisp::Bind(DBString& errorText)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return BindLocked(errorText);
}

int CReceivDisp::BindLocked(DBString& errorText)
{
    errorText.clear();
    const int fd = socket(AF_INET6, SOCK_DGRAM, 0);
    if (fd < 0) {
        const int code = errno;
        errorText = L"CReceivDisp::Bind(): socket()";
        BadPutErr(errorText.c_str(), code);
        return code;
    }
    if (m_BigBuffers) SetBigBuffers(fd);
    const sockaddr_in6 sa = SockAddr(m_Address, m_Port);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) != 0) {
        const int code = errno;
        close(fd);
        errorText = L"CReceivDisp::Bind(): bind()";
        BadPutErr(errorText.c_str(), code);
        return code;
    }
    if (m_Port == 0) {
        // Kept, so that a rebind after an error gets the same port, which the
        // tools have been told.
        sockaddr_in6 bound{};
        socklen_t len = sizeof bound;
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &len) != 0) {
            const int code = errno;
            close(fd);
            throw ErrorXML(DBString(L"CReceivDisp::Bind(): getsockname()"), code);
        }
        m_Port = ntohs(bound.sin6_port);
    }
    m_Socket = fd;
    return 0;
}

void CReceivDisp::LogBufferSizes(int fd)
{
    struct Option {
        int name;
        const wchar_t* format;
        const wchar_t* failure;
    };
    static const Option options[] = {
        {SO_RCVBUF, L"CReceivUser::Bind(): SO_RCVBUF %d", L"CReceivUser::Bind(): getsockopt(.. SO_RCVBUF  ...)"},
        {SO_SNDBUF, L"CReceivUser::Bind(): SO_SNDBUF %d", L"CReceivUser::Bind(): getsockopt(.. SO_SNDBUF  ...)"},
    };
    for (const Option& o : options) {
        int size = 0;
        socklen_t len = sizeof size;
        if (getsockopt(fd, SOL_SOCKET, o.name, &size, &len) != 0) {
            BadPutErr(o.failure, errno);
            continue;
        }
        BadPut(DBString().Format(o.format, size).c_str());
    }
}

void CReceivDisp::SetBigBuffers(int fd)
{
    LogBufferSizes(fd);
    const int size = BigBufferBytes;
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size) != 0)
        BadPutErr(L"CReceivUser::Bind(): setsockopt(.. SO_RCVBUF  ...)", errno);
    if (setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size) != 0)
        BadPutErr(L"CReceivUser::Bind(): setsockopt(.. SO_SNDBUF  ...)", errno);
    LogBufferSizes(fd);
}

int CReceivDisp::Send(const unsigned char* data, int length, const in6_addr& to, int port)
{
    const sockaddr_in6 sa = SockAddr(to, port);
    ssize_t sent = -1;
    int code = EBADF;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_Socket != -1 && data && length > 0) {
            sent = sendto(m_Socket, data, static_cast<size_t>(length), 0, reinterpret_cast<const sockaddr*>(&sa),
                          sizeof sa);
            code = errno;
        } else if (m_Socket != -1) {
            code = EINVAL;
        }
    }
    if (sent < 0) {
        DBString text;
        text.Format(L"CReceivDisp::Send sendto() aLen=%d, IP:Port=", length);
        BadPutErr((text + IPv6PortToStrW(to, port)).c_str(), code);
        errno = code;   // the session reports it too
        return -1;
    }
    return static_cast<int>(sent);
}

bool CReceivDisp::WinSockProc(void* self)
{
    static_cast<CReceivDisp*>(self)->ReadLoop();
    return false;
}

void CReceivDisp::ReadLoop()
{
    unsigned char buf[RecvSize];
    while (m_Active) {
        sockaddr_in6 from{};
        socklen_t fromLen = sizeof from;
        const ssize_t n = recvfrom(m_Socket, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &fromLen);
        const int code = errno;
        if (!m_Active) break;
        if (n < 0) {
            if (code == ENETRESET || code == ECONNRESET) continue;
            if (code == EINTR) {
                std::lock_guard<std::mutex> lock(m_Mutex);
                CloseSocket(m_Socket);
                break;
            }
            BadPutErr(L"CReceivDisp::WinSockProc recvfrom()", code);
            if (code == EMSGSIZE) continue;
            if (!Rebind()) break;
            continue;
        }
        if (n == 0) continue;
        Dispatch(from, buf, static_cast<int>(n));
    }
    m_Active = false;
}

void CReceivDisp::Dispatch(const sockaddr_in6& from, const unsigned char* data, int length)
{
    const int port = ntohs(from.sin6_port);
    try {
        LogPut(from.sin6_addr, port, data, length);
        if (length < MinDatagram) return;
        CSendDisp* session = GetSendRemote(from.sin6_addr, port);
        if (!session) session = Connect(from.sin6_addr, port, data, length);
        if (session) session->Handling(data, length);
    } catch (const ErrorXML& e) {
        // One tool's fault must not end the listener of all of them.
        BadPutErr(e.GetText().c_str(), e.GetCode());
    }
}

bool CReceivDisp::Rebind()
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    CloseSocket(m_Socket);
    // The pause keeps a persistent fault from spinning; Stop cuts it short.
    m_StopCond.wait_for(lock, std::chrono::milliseconds(RebindPauseMs), [this] { return !m_Active; });
    // `active` is looked at under the mutex that Stop takes to shut the
    // socket down, so a socket bound here is never one that Stop missed.
    if (!m_Active) return false;
    DBString text;
    try {
        return BindLocked(text) == 0;
    } catch (const ErrorXML& e) {
        BadPutErr(e.GetText().c_str(), e.GetCode());
        return false;
    }
}
