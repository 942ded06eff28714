// Datagrams of the dispatcher protocol as they arrive from a tool. The first
// byte picks the key: odd, the protocol's own key; even, a plain datagram.
// Whatever comes in, Decoding must not read or write out of bounds, and a
// packet it accepts must read consistently and survive a second round trip.
#include "base/Secrets.h"
#include "disp/CPackDisp.h"
#include "link/CIdeaCtx.h"
#include "link/CIdeaKey.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

const CIdeaCtx& ProtocolKey()
{
    static const CIdeaCtx ctx = [] {
        CIdeaKey k;
        k.Set2(L"", L"", L"", Secrets::DispMask.data());
        CIdeaCtx c;
        c.Key(k.Data());
        return c;
    }();
    return ctx;
}

void Check(bool ok)
{
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    const CIdeaCtx* key = (data[0] & 1) ? &ProtocolKey() : nullptr;
    const int length = static_cast<int>(size > 4096 ? 4096 : size - 1);

    CPackDisp p;
    const bool ok = p.Decoding(data + 1, length, key);
    Check(ok == p.valid());

    // Readers run on anything, valid or not.
    CMesDisp m;
    p.BegGet();
    int count = 0;
    while (p.GetMes(m)) {
        Check(m.Len() >= 3 && m.Len() <= CMesDisp::MaxLen);
        Check(m.TypMes() != CMesDisp::NoType && m.TypMes() != CMesDisp::InvalidType);
        ++count;
    }
    int replies = -1;
    const unsigned char* r = p.GetReply(replies);
    Check(replies >= 0 && replies <= CPackDisp::MaxReplies);
    for (int i = 0; i < replies; ++i) (void)*(volatile const unsigned char*)(r + i);
    (void)p.IsExistClose();
    if (!ok) return 0;

    Check(p.Len() >= CPackDisp::HeadLen && p.Len() <= CPackDisp::MaxInLen);
    Check(replies == p.ReplyCount());
    const int bytesBefore = p.PlainLen();
    unsigned char before[CPackDisp::BufSize];
    std::memcpy(before, p.Data(), static_cast<size_t>(bytesBefore));

    unsigned char out[CPackDisp::BufSize];
    const int n = p.Encoding(out, sizeof out, key);
    Check(n > 0);
    CPackDisp back;
    Check(back.Decoding(out, n, key));
    Check(back.PlainLen() == bytesBefore && std::memcmp(back.Data(), before, static_cast<size_t>(bytesBefore)) == 0);
    Check(back.Ident() == p.Ident() && back.ReplyCount() == p.ReplyCount());
    Check(back.isVoice() == p.isVoice() && back.isSQL() == p.isSQL());
    back.BegGet();
    while (back.GetMes(m)) --count;
    Check(count == 0);
    return 0;
}
