// Packet images written straight into the buffer, then UnPack: the parser and
// every reader must stay inside the buffer on any image. Images that parse are
// then split into two packets and merged back with Link, which must keep every
// message, in order, and this packet's replies.
#include "disp/CPackDisp.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

void Check(bool ok)
{
    if (!ok) std::abort();
}

std::vector<Bytes> ReadAll(CPackDisp& p)
{
    std::vector<Bytes> out;
    CMesDisp m;
    p.BegGet();
    while (p.GetMes(m)) out.emplace_back(m.Data(), m.Data() + m.Len());
    return out;
}

CMesDisp ToMes(const Bytes& b)
{
    CMesDisp m;
    Check(m.Set(b.data(), static_cast<int>(b.size())));
    return m;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CPackDisp p;
    std::memset(p.Buffer(), 0, CPackDisp::BufSize);
    std::memcpy(p.Buffer(), data, size < CPackDisp::BufSize ? size : CPackDisp::BufSize);
    const bool ok = p.UnPack();
    Check(ok == p.valid());

    std::vector<Bytes> all = ReadAll(p);
    int replies = 0;
    const unsigned char* r = p.GetReply(replies);
    Bytes acks(r, r + replies);
    (void)p.IsExistClose();
    unsigned char out[CPackDisp::BufSize];
    const int n = p.Encoding(out, sizeof out, nullptr);
    Check(ok ? n == p.PlainLen() : (n == 0 || n == p.PlainLen()));
    if (!ok) {
        Check(all.empty() || p.Len() <= CPackDisp::MaxInLen);
        return 0;
    }

    // Split: the first half (with the replies) receives the second half.
    const size_t half = all.size() / 2;
    CPackDisp a, b;
    size_t inA = 0, inB = 0;
    for (size_t i = 0; i < all.size(); ++i) {
        CPackDisp& dst = i < half ? a : b;
        const int before = dst.Len();
        dst.AddMes(ToMes(all[i]));
        if (dst.Len() == before) return 0;   // refused: the split does not fit as built
        (i < half ? inA : inB)++;
    }
    if (!a.AddReply(acks.data(), static_cast<int>(acks.size()))) return 0;

    const bool moved = a.Link(b);
    std::vector<Bytes> gotA = ReadAll(a), gotB = ReadAll(b);
    Check(gotA.size() + gotB.size() == inA + inB);
    Check(moved == (gotA.size() > inA));
    for (size_t i = 0; i < gotA.size(); ++i) Check(gotA[i] == all[i]);
    for (size_t i = 0; i < gotB.size(); ++i) Check(gotB[i] == all[gotA.size() + i]);
    int kept = 0;
    const unsigned char* k = a.GetReply(kept);
    Check(kept == static_cast<int>(acks.size()) && std::memcmp(k, acks.data(), acks.size()) == 0);
    Check(b.Ident() == 0 && b.ReplyCount() == 0);

    // Both must still be ready to send.
    CPackDisp back;
    for (CPackDisp* q : {&a, &b}) {
        const int len = q->Encoding(out, sizeof out, nullptr);
        Check(back.Decoding(out, len, nullptr));
    }
    return 0;
}
