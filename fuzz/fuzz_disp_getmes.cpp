// Packets built by a random run of AddMes, AddReply, SetIdent and Link, with
// messages of any length and type the input gives. After every step GetMes
// must return exactly the messages a reader should see (empty ones skipped,
// the reading ended by a type 0 or 255), GetReply the replies still held,
// and the image must be ready to send as it stands.
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

struct Input {
    const uint8_t* data;
    size_t size;
    size_t pos = 0;
    int Byte() { return pos < size ? data[pos++] : 0; }
    bool More() const { return pos < size; }
};

// What was put into one packet, and the replies it should still hold.
struct Model {
    std::vector<Bytes> mes;
    Bytes replies;

    std::vector<Bytes> Readable() const
    {
        std::vector<Bytes> out;
        for (const Bytes& m : mes) {
            if (m.size() == 2) continue;
            if (m[2] == 0 || m[2] == 0xFF) break;
            out.push_back(m);
        }
        return out;
    }
    bool Clean() const { return Readable().size() == mes.size(); }
};

std::vector<Bytes> ReadAll(CPackDisp& p)
{
    std::vector<Bytes> out;
    CMesDisp m;
    p.BegGet();
    while (p.GetMes(m)) out.emplace_back(m.Data(), m.Data() + m.Len());
    return out;
}

void Verify(CPackDisp& p, const Model& model)
{
    Check(ReadAll(p) == model.Readable());
    int count = 0;
    const unsigned char* r = p.GetReply(count);
    Check(Bytes(r, r + count) == model.replies);
    unsigned char out[CPackDisp::BufSize];
    const int n = p.Encoding(out, sizeof out, nullptr);
    CPackDisp back;
    Check(n == p.PlainLen() && back.Decoding(out, n, nullptr));
    Check(std::memcmp(back.Data(), p.Data(), static_cast<size_t>(n)) == 0);
}

void AddMes(Input& in, CPackDisp& p, Model& model)
{
    // Length 2..490, biased towards short ones so that many fit.
    int len = in.Byte();
    if (in.Byte() & 1) len = len << 1 | 1;
    len = 2 + len % (CMesDisp::MaxLen - 1);
    Bytes img(static_cast<size_t>(len), 0);
    img[0] = static_cast<unsigned char>(len);
    img[1] = static_cast<unsigned char>(len >> 8);
    for (int i = 2; i < len && i < 8; ++i) img[i] = static_cast<unsigned char>(in.Byte());
    CMesDisp m;
    Check(m.Set(img.data(), len));
    const int lenBefore = p.Len(), rBefore = p.ReplyCount();
    const bool ok = p.AddMes(m);
    if (!ok && p.Len() == lenBefore && p.ReplyCount() == rBefore) return;   // refused, unchanged
    // The placeholder is replaced, not followed.
    if (model.mes.size() == 1 && model.mes[0].size() == 2 && lenBefore - rBefore == CPackDisp::Placeholder)
        model.mes.clear();
    model.mes.push_back(img);
    if (!ok) model.replies.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input in{data, size};
    CPackDisp p[2];
    Model model[2];
    while (in.More()) {
        const int op = in.Byte();
        const int which = op >> 7;
        CPackDisp& a = p[which];
        switch (op & 7) {
        case 0:
        case 1:
        case 2:
            AddMes(in, a, model[which]);
            break;
        case 3: {
            unsigned char idents[20];
            const int n = in.Byte() % 20;
            for (int i = 0; i < n; ++i) idents[i] = static_cast<unsigned char>(in.Byte());
            if (a.AddReply(idents, n)) model[which].replies.insert(model[which].replies.end(), idents, idents + n);
            break;
        }
        case 4:
            a.SetIdent(in.Byte());
            break;
        case 5: {
            CPackDisp& b = p[1 - which];
            if (!model[which].Clean() || !model[1 - which].Clean()) break;
            const std::vector<Bytes> from = model[1 - which].Readable();
            const size_t had = model[which].Readable().size();
            const bool voice = a.isVoice() || b.isVoice();
            const bool moved = a.Link(b);
            if (voice) {   // never merged: both stay as they were
                Check(!moved);
                break;
            }
            const std::vector<Bytes> gotA = ReadAll(a), gotB = ReadAll(b);
            Check(gotA.size() >= had && gotA.size() - had + gotB.size() == from.size());
            Check(moved == (gotA.size() > had));
            for (size_t i = had; i < gotA.size(); ++i) Check(gotA[i] == from[i - had]);
            for (size_t i = 0; i < gotB.size(); ++i) Check(gotB[i] == from[gotA.size() - had + i]);
            Check(b.Ident() == 0);
            model[which].mes.assign(gotA.begin(), gotA.end());
            model[1 - which].mes = gotB;
            model[1 - which].replies.clear();
            break;
        }
        default:
            a.Clear();
            model[which] = Model();
            break;
        }
        Verify(p[0], model[0]);
        Verify(p[1], model[1]);
    }
    return 0;
}
