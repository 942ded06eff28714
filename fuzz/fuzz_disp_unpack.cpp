// Packet images written straight into the buffer, then UnPack: the parser and
// every reader must stay inside the buffer on any image, and an image that
// parses must read consistently and go out again byte for byte. (Link over
// parsed messages is exercised by fuzz_disp_getmes, on packets it builds.)
#include "disp/CPackDisp.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

void Check(bool ok)
{
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CPackDisp p;
    std::memset(p.Buffer(), 0, CPackDisp::BufSize);
    std::memcpy(p.Buffer(), data, size < CPackDisp::BufSize ? size : CPackDisp::BufSize);
    const bool ok = p.UnPack();
    Check(ok == p.valid());
    const bool voice = p.isVoice(), sql = p.isSQL();

    CMesDisp m, first;
    int count = 0;
    p.BegGet();
    for (; p.GetMes(m); ++count) {
        Check(ok && m.Len() >= 3 && m.Len() <= CMesDisp::MaxLen);
        if (count == 0) first = m;
    }
    int replies = 0;
    const unsigned char* r = p.GetReply(replies);
    Check(replies == p.ReplyCount() && (ok || replies == 0));
    for (int i = 0; i < replies; ++i) (void)*(volatile const unsigned char*)(r + i);
    const bool close = p.IsExistClose();
    unsigned char out[CPackDisp::BufSize];
    const int n = p.Encoding(out, sizeof out, nullptr);
    if (!ok) {
        Check(!voice && !sql && !close && p.Ident() == 0);
        return 0;
    }
    // The flags come from the first message a reader sees.
    Check(voice == (count > 0 && CPackDisp::IsVoiceType(first.TypMes())));
    Check(sql == (count > 0 && CPackDisp::IsSQLType(first.TypMes())));
    Check(n == p.PlainLen());
    const size_t given = size < static_cast<size_t>(n) ? size : static_cast<size_t>(n);
    Check(std::memcmp(out, data, given) == 0);
    for (size_t i = given; i < static_cast<size_t>(n); ++i) Check(out[i] == 0);   // the zero fill
    return 0;
}
