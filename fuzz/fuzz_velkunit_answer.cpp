// The simulator's answers to any request packet a peer can send, on a fresh
// image or on one made of the input itself. Seeds: fuzz/corpus/velkunit_answer/.
//
// The simulator is not part of velkcore and the fuzz build has no tools, so
// this driver compiles the sources it needs.
#include "tools/velkunit/UnitAnswer.cpp"
#include "tools/velkunit/UnitState.cpp"

#include <cstdint>
#include <cstdlib>
#include <cstring>

using namespace velkunit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2) return 0;
    // Byte 0: the kind of unit, and whether the image comes from the input.
    UnitState state;
    state.config.ident = 1234;
    state.config.type = data[0] & 1 ? 14 : 12;
    state.config.hwSubtype = data[0] & 2 ? 2 : 1;
    state.config.nvramStatus = data[0] & 4 ? 3 : 0;
    state.config.refuse = data[0] & 8 ? 1 : 0;
    state.image = DefaultImage(state.config);
    if (data[0] & 16)
        for (size_t i = 0; i < state.image.size(); ++i) state.image[i] = data[1 + i % (size - 1)];
    state = Boot(state, 1700000000);

    CPackV7 request;
    request.m_Len = static_cast<int>(size - 1 > CPackV7::kBufSize ? CPackV7::kBufSize : size - 1);
    std::memcpy(request.m_Buf, data + 1, static_cast<size_t>(request.m_Len));
    request.UnPack();
    const UnitOutcome out = UnitAnswer(state, request, 1700000000 + data[0]);

    for (const CPackV7& reply : out.replies) {
        if (reply.m_Len < CPackV7::kHeadLen || reply.m_Len > CPackV7::kMaxLen) std::abort();
        if (!reply.m_Src.FullEQ(request.m_Dst) || !reply.m_Dst.FullEQ(request.m_Src)) std::abort();
    }
    // A write changes the image only where it says, and nothing else.
    if (out.written) {
        const int from = out.note.addr, to = out.note.addr + out.note.len;
        if (out.note.status != 0 || from < 0 || to > kImageSize) std::abort();
        for (int i = 0; i < kImageSize; ++i)
            if ((i < from || i >= to) && out.state.image[i] != state.image[i]) std::abort();
    } else if (out.state.image != state.image) {
        std::abort();
    }
    if (out.state.running != state.running) std::abort();
    return 0;
}
