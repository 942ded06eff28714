// Cost of the V7 channel codings per packet, and IDEA throughput next to
// libgcrypt's on the same machine in the same run.
#include "link/CIdeaCtx.h"
#include "link/CPackV7.h"

#include <benchmark/benchmark.h>
#include <gcrypt.h>

#include <random>
#include <vector>

namespace {

const unsigned char kKey[16] = {0x3C, 0x91, 0x07, 0xE4, 0x5B, 0xA2, 0x68, 0xDF,
                                0x10, 0x4E, 0xC3, 0x77, 0x29, 0xB8, 0xF5, 0x02};

// A data packet whose image is `len` bytes long.
CPackV7 Packet(int len)
{
    std::mt19937 rng(1);
    std::vector<unsigned char> body(static_cast<size_t>(len - 14));
    for (auto& b : body) b = static_cast<unsigned char>(rng());
    CPackV7 p(CIdentV7(1234, 0), CIdentV7(10000123, 1));
    p.SetAsk(CPackV7::packAsk, CPackV7::askStatus, 0, body.data(), len - 14);
    return p;
}

using CodFn = int (CPackV7::*)(unsigned char*, int, const unsigned char*);

void Cod(benchmark::State& state, CodFn cod)
{
    CPackV7 p = Packet(static_cast<int>(state.range(0)));
    unsigned char out[1100];
    for (auto _ : state) {
        benchmark::DoNotOptimize((p.*cod)(out, sizeof out, kKey));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK_CAPTURE(Cod, ChanCod, &CPackV7::ChanCod)->Arg(14)->Arg(150)->Arg(1000);
BENCHMARK_CAPTURE(Cod, ChanCloudProCod, &CPackV7::ChanCloudProCod)->Arg(150)->Arg(1000);

// Decodes what `cod` made; `decode(packet, bytes, count)` is the decoder.
template <class Decode>
void Decod(benchmark::State& state, CodFn cod, Decode decode)
{
    CPackV7 p = Packet(static_cast<int>(state.range(0))), q;
    unsigned char wire[1100];
    const int n = (p.*cod)(wire, sizeof wire, kKey);
    for (auto _ : state) benchmark::DoNotOptimize(decode(q, wire, n));
    if (!decode(q, wire, n)) state.SkipWithError("packet did not decode");
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK_CAPTURE(Decod, ChanDecod, &CPackV7::ChanCod, [](CPackV7& q, const unsigned char* w, int n) {
    return q.ChanDecod(w, n, kKey);
})->Arg(14)->Arg(150)->Arg(1000);
BENCHMARK_CAPTURE(Decod, ChanCloudProDecod, &CPackV7::ChanCloudProCod, [](CPackV7& q, const unsigned char* w, int n) {
    unsigned char key[16];
    return q.ChanCloudProDecod(w, n, key);
})->Arg(150)->Arg(1000);

constexpr int kIdeaBytes = 64 * 1024;

void IdeaEncryptOurs(benchmark::State& state)
{
    std::vector<unsigned char> buf(kIdeaBytes, 0x5A);
    CIdeaCtx ctx;
    ctx.Key(kKey);
    for (auto _ : state) {
        ctx.Encrypt(buf.data(), buf.data(), kIdeaBytes / 8);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kIdeaBytes);
}
BENCHMARK(IdeaEncryptOurs);

void IdeaEncryptLibgcrypt(benchmark::State& state)
{
    if (!gcry_check_version(nullptr)) {
        state.SkipWithError("libgcrypt did not initialise");
        return;
    }
    std::vector<unsigned char> buf(kIdeaBytes, 0x5A);
    gcry_cipher_hd_t h;
    if (gcry_cipher_open(&h, GCRY_CIPHER_IDEA, GCRY_CIPHER_MODE_ECB, 0) || gcry_cipher_setkey(h, kKey, 16)) {
        state.SkipWithError("libgcrypt has no IDEA");
        return;
    }
    for (auto _ : state) {
        gcry_cipher_encrypt(h, buf.data(), buf.size(), nullptr, 0);
        benchmark::ClobberMemory();
    }
    gcry_cipher_close(h);
    state.SetBytesProcessed(int64_t(state.iterations()) * kIdeaBytes);
}
BENCHMARK(IdeaEncryptLibgcrypt);

}  // namespace
