#include "link/CReceivV7.h"

#include "base/BasePoolThread.h"
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "base/StringRes.h"
#include "link/CSendV7.h"
#include "link/V7Net.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace {

constexpr int kLastLU = 9999899;       // nodes above it and up to kLastService are service nodes
constexpr int kLastService = 9999999;  // nodes above it are programs

DBString AddrPort(const in6_addr& addr, int port) { return IPv6PortToStrW(addr, port); }

}  // namespace

CReceivV7::CReceivV7(BasePoolThread* pool) : m_Pool(pool) {}

CReceivV7::~CReceivV7() { Stop(); }

CSendV7* CReceivV7::NewSender(const CIdentV7&, const in6_addr&, int, const CKeySys&, const CReceivV7*)
{
    return nullptr;
}

bool CReceivV7::UnknownSender(const CIdentV7&, const in6_addr&, int, const CKeySys&) { return true; }

void CReceivV7::LogPut(const CSendV7*, const in6_addr&, int, const unsigned char*, int) {}

void CReceivV7::IsChangIP(const CSendV7*) {}

bool CReceivV7::ConnReset(const wchar_t* text, int code)
{
    const DBString line = DBString(text) + _S_(41039);
    BadPutErr(line.c_str(), code);
    return true;
}

bool CReceivV7::ChanDecod(const unsigned char*, int, CPackV7&, CKeySys&, bool&) { return false; }

DBString CReceivV7::NameApp() { return L"CReceivV7"; }

void CReceivV7::SetBind(const in6_addr& addr, int port)
{
    m_Addr = addr;
    m_BindPort = port;
}

// ---------------------------------------------------------------- socket

int CReceivV7::Bind(DBString& text)
{
    std::lock_guard<std::mutex> lock(m_SockMutex);
    return BindLocked(text);
}

int CReceivV7::BindLocked(DBString& text)
{
    CloseSocket(m_Socket);
    const int fd = socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd == -1) {
        text = L"CReceivV7::Bind(): socket()";
        return errno;
    }
    sockaddr_in6 sa{};
    sa.sin6_family = AF_INET6;
    sa.sin6_addr = m_Addr;
    sa.sin6_port = htons(static_cast<uint16_t>(m_BindPort));
    if (bind(fd, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) == -1) {
        const int err = errno;
        close(fd);
        text = L"CReceivV7::Bind(): bind()";
        return err;
    }
    if (m_BindPort == 0) {
        socklen_t len = sizeof sa;
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len) == -1) {
            const int err = errno;
            close(fd);
            text = L"CReceivV7::Bind(): getsockname()";
            return err;
        }
        m_Port = ntohs(sa.sin6_port);
    } else {
        m_Port = m_BindPort;
    }
    m_Socket = fd;
    return 0;
}

void CReceivV7::Start()
{
    if (m_Run) return;
    // A procedure that ended by itself (failed rebind) may still hold its
    // pair for a moment; a new start must not be refused because of it.
    m_Pool->StopProc(WinSockProc, this);
    DBString text;
    if (const int err = Bind(text)) throw ErrorXML(text, err);
    m_Run = true;
    m_Pool->StartProc("CReceivV7::WinSockProc", WinSockProc, this, 0, 0);
}

void CReceivV7::Stop()
{
    m_Run = false;
    {
        // Wakes a blocked recvfrom (it returns 0). The descriptor stays valid
        // until the procedure has ended, so that it never reads a number that
        // another open may have taken over.
        std::lock_guard<std::mutex> lock(m_SockMutex);
        if (m_Socket != -1) shutdown(m_Socket, SHUT_RDWR);
    }
    m_Pool->StopProc(WinSockProc, this);
    std::lock_guard<std::mutex> lock(m_SockMutex);
    CloseSocket(m_Socket);
}

int CReceivV7::Send(const unsigned char* data, int len, const in6_addr& addr, int port)
{
    std::lock_guard<std::mutex> lock(m_SockMutex);
    if (isNulIPv6(addr)) return len;
    sockaddr_in6 to{};
    to.sin6_family = AF_INET6;
    to.sin6_addr = addr;
    to.sin6_port = htons(static_cast<uint16_t>(port));
    const int rc = SendDatagram(m_Socket, data, len, to);
    if (rc == -1) BadPutErr(L"CReceivV7::Send sendto()", errno);
    return rc;
}

int CReceivV7::SendDatagram(int socket, const unsigned char* data, int len, const sockaddr_in6& to)
{
    return static_cast<int>(sendto(socket, data, static_cast<size_t>(len), 0, reinterpret_cast<const sockaddr*>(&to),
                                   sizeof to));
}

// ---------------------------------------------------------------- the receive loop

bool CReceivV7::WinSockProc(void* receiv)
{
    auto* self = static_cast<CReceivV7*>(receiv);
    unsigned char buf[kMaxDatagram];
    while (self->m_Run) {
        if (!self->ReceiveOne(buf)) self->m_Run = false;
    }
    return false;
}

bool CReceivV7::ReceiveOne(unsigned char* buf)
{
    sockaddr_in6 from{};
    socklen_t fromLen = sizeof from;
    const ssize_t n = recvfrom(m_Socket, buf, kMaxDatagram, 0, reinterpret_cast<sockaddr*>(&from), &fromLen);
    const int err = errno;
    if (!m_Run) return false;
    const in6_addr addr = from.sin6_addr;
    const int port = ntohs(from.sin6_port);
    if (n == -1) {
        switch (err) {
        case ECONNRESET:
            return ConnReset((AddrPort(addr, port) + L"- ").c_str(), ECONNRESET);
        case ENETRESET:
            return true;
        case EINTR: {
            std::lock_guard<std::mutex> lock(m_SockMutex);
            CloseSocket(m_Socket);
            return false;
        }
        default: {
            BadPutErr(L"CReceivV7::WinSockProc recvfrom()", err);
            DBString text;
            int rc;
            {
                // Senders wait for the new socket rather than meet a closed one.
                std::lock_guard<std::mutex> lock(m_SockMutex);
                CloseSocket(m_Socket);
                std::this_thread::sleep_for(std::chrono::milliseconds(m_Timing.rebindPauseMs));
                rc = BindLocked(text);
            }
            if (rc != 0) BadPutErr(text.c_str(), rc);
            return rc == 0;
        }
        }
    }
    if (n == 0) return ConnReset((AddrPort(addr, port) + L"- ").c_str(), 0);
    if (n < kMinDatagram) return true;
    Receive(buf, static_cast<int>(n), addr, port);
    return true;
}

void CReceivV7::Receive(const unsigned char* data, int len, const in6_addr& addr, int port)
{
    MngDatagram(data, len, addr, port);
}

void CReceivV7::MngDatagram(const unsigned char* data, int len, const in6_addr& addr, int port)
{
    CKeySys key = m_Key;
    bool byCloud = false;
    CPackV7 pack;
    if (!pack.ChanDecod(data, len, key.Data()) && !ChanDecod(data, len, pack, key, byCloud)) {
        DBString text;
        text.Format(_S_(41040).c_str(), AddrPort(addr, port).c_str());
        BadPutMes(text.c_str(), data, len, false);
        return;
    }
    CSendV7* send = GetSend(pack.m_Src);
    if (!send) {
        MngUnknown(pack, key, byCloud, addr, port);
        return;
    }
    // A program's key is whatever it last decoded with: a tool may change it.
    if (pack.m_Src.GetNode() > kLastService) send->SetKey(key);
    MngKnown(send, pack, key, byCloud, addr, port);
}

void CReceivV7::MngUnknown(CPackV7& pack, const CKeySys& key, bool byCloud, const in6_addr& addr, int port)
{
    const int node = pack.m_Src.GetNode();
    CSendV7* send = nullptr;
    if (!pack.IsCloseLink()) {
        if (node <= kLastLU) {
            const bool noSender = pack.m_Class == CPackV7::classLink && pack.m_Typ == CPackV7::packLinkNoSender;
            if (!byCloud && pack.m_Src.GetDev() == 0 && pack.m_Dst == m_Ident && !noSender)
                send = NewSender(pack.m_Src, addr, port, key, this);
        } else if (node > kLastService) {
            send = NewSender(pack.m_Src, addr, port, key, this);
        }
    }
    if (send) {
        MngKnown(send, pack, key, byCloud, addr, port);
        return;
    }
    if (CSendV7* own = GetSend(m_Ident)) LogPut(own, addr, port, pack.m_Buf, pack.m_Len + 2);
    if (node == V7Net::kNodeServer) {
        m_TimeServer = Now();
        return;
    }
    if (!UnknownSender(pack.m_Src, addr, port, key)) return;
    DBString text;
    text.Format(_S_(41043).c_str(), pack.m_Src.GetString().c_str(), AddrPort(addr, port).c_str());
    for (int i = 0; i < pack.m_Len + 2; ++i) text.AppendFormat(L" %02X", pack.m_Buf[i]);
    BadPut(text.c_str(), false);
}

void CReceivV7::MngKnown(CSendV7* send, CPackV7& pack, const CKeySys& key, bool byCloud, const in6_addr& addr,
                         int port)
{
    const int len = pack.m_Len + 2;
    if (send->m_Disable) {
        const DBString text = _S_(41041) + pack.m_Src.GetString() + L" -" + AddrPort(addr, port);
        BadPutMes(text.c_str(), pack.m_Buf, len, false);
        return;
    }
    LogPut(send, addr, port, pack.m_Buf, len);
    if (send->m_Ident == m_Ident) {
        DBString text;
        const DBString route = pack.m_Src.GetString() + L"->" + pack.m_Dst.GetString();
        text.Format(_S_(41042).c_str(), route.c_str(), AddrPort(addr, port).c_str());
        BadPutMes(text.c_str(), pack.m_Buf, len, false);
        return;
    }
    if (!CheckOrigin(send, pack, key, byCloud, addr, port)) return;
    if (!send->m_OnlyIP) {
        in6_addr known;
        int knownPort;
        send->GetAddr(known, knownPort);
        if (!isEqIPv6(known, addr) || knownPort != port) TrackAddress(send, pack, addr, port);
    }
    if (pack.m_Dst != m_Ident) {
        if (!send->Retransmission(this, pack, addr, port)) {
            DBString text;
            text.Format(_S_(41035).c_str(), pack.m_Src.GetString().c_str(), pack.m_Dst.GetString().c_str(),
                        AddrPort(addr, port).c_str());
            BadPutMes(text.c_str(), pack.m_Buf, len, false);
        }
        return;
    }
    send->MngReply(pack.m_Repl);
    if (pack.m_Ident == 0 || send->MngIdentInp(static_cast<unsigned char>(pack.m_Ident))) HandlingData(pack, send);
    send->SendReply();
}

bool CReceivV7::CheckOrigin(CSendV7* send, const CPackV7& pack, const CKeySys& key, bool byCloud,
                            const in6_addr& addr, int port)
{
    const DBString src = pack.m_Src.GetString();
    const DBString from = AddrPort(addr, port);
    DBString text;
    if (!send->m_ByCloud) {
        if (byCloud) {
            text.Format(_S_(41031).c_str(), src.c_str(), from.c_str());
        } else if (send->m_Ident.GetNode() <= kLastLU) {
            const CKeySys own = send->GetKey();
            if (!own.IsEmpty() && own != key)
                text.Format(_S_(41033).c_str(), src.c_str());
            else if (own.IsEmpty() && key != m_Key)
                text.Format(_S_(41034).c_str(), src.c_str());
        }
    } else if (!byCloud) {
        text.Format(_S_(41032).c_str(), src.c_str(), from.c_str());
    }
    if (text.empty() && send->m_OnlyIP) {
        in6_addr known;
        int knownPort;
        send->GetAddr(known, knownPort);
        if (!isEqIPv6(known, addr)) {
            text.Format(_S_(41030).c_str(), src.c_str(), from.c_str());
            text += IPv6ToStrW(known);
        }
    }
    if (text.empty()) return true;
    BadPut(text.c_str(), true);
    return false;
}

void CReceivV7::TrackAddress(CSendV7* send, const CPackV7& pack, const in6_addr& addr, int port)
{
    in6_addr old;
    int oldPort;
    send->GetAddr(old, oldPort);
    const DBString src = pack.m_Src.GetString();
    const DBString from = AddrPort(addr, port);
    const DBString exist = IPv6ToStrW(old);
    const auto existPort = static_cast<unsigned>(oldPort);
    const time_t now = Now();
    DBString text;
    if (pack.m_Dst != m_Ident && !GetSend(pack.m_Dst) && send->m_TimeChangeIP != 0) {
        text.Format(_S_(41036).c_str(), src.c_str(), from.c_str(), exist.c_str(), existPort,
                    pack.m_Dst.GetString().c_str());
    } else if (now - send->m_TimeChangeIP < kChangeIPSeconds) {
        // A stray packet must not steal the link: the address stays.
        text.Format(_S_(41037).c_str(), src.c_str(), from.c_str(), exist.c_str(), existPort);
    } else {
        send->m_TimeChangeIP = now;
        text.Format(_S_(41038).c_str(), src.c_str(), from.c_str(), exist.c_str(), existPort);
        send->SetAddr(addr, port);
        BadPut(text.c_str(), true);
        IsChangIP(send);
        return;
    }
    BadPut(text.c_str(), true);
}
