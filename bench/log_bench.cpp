// What a log line costs the thread that writes it, and how many lines one
// writer thread puts on disk per second (each flushed, as in production).
#include "base/CBaseLog.h"

#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// A log in a private temporary folder.
class BenchLog : public CBaseLog {
public:
    BenchLog(unsigned long maxQueue, const std::string& dir) : CBaseLog(maxQueue, 0), m_Folder(dir) {}
    ~BenchLog() override { Close(); }
    std::string Dir() override { return m_Folder; }

private:
    std::string m_Folder;
};

std::string TempFolder()
{
    std::string tmpl = (fs::temp_directory_path() / "velk-bench-XXXXXX").string();
    if (!mkdtemp(tmpl.data())) return "/tmp";
    return tmpl;
}

uintmax_t FolderBytes(const std::string& dir)
{
    uintmax_t total = 0;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(dir, ec)) total += e.file_size(ec);
    return total;
}

const wchar_t* kWide = L"CReceivV7::WinSockProc recvfrom(): 11 - Resource temporarily unavailable";
const std::string kUtf8 = "CSendV7::PutProc window full, packet 1234 waits for an acknowledgement";

// Cost to the caller, with the writer running beside it (the queue of 1000
// drops the oldest lines when the writer falls behind, as in production).
template <typename PutOne>
void Puts(benchmark::State& state, PutOne put)
{
    const std::string dir = TempFolder();
    {
        BenchLog log(1000, dir);
        log.Open("C", "log");
        for (auto _ : state) put(log);
    }
    fs::remove_all(dir);
}

void PutWide(benchmark::State& state) { Puts(state, [](BenchLog& log) { log.Put(kWide); }); }
BENCHMARK(PutWide)->UseRealTime();

void PutUtf8(benchmark::State& state) { Puts(state, [](BenchLog& log) { log.PutUtf8(kUtf8); }); }
BENCHMARK(PutUtf8)->UseRealTime();

// The distribution of single calls: median and 99th percentile of Put with
// a wide text, each call timed on its own (the clock read adds ~20 ns).
void PutWideLatency(benchmark::State& state)
{
    const std::string dir = TempFolder();
    std::vector<double> ns;
    ns.reserve(1 << 20);
    {
        BenchLog log(1000, dir);
        log.Open("C", "log");
        for (auto _ : state) {
            const auto t0 = Clock::now();
            log.Put(kWide);
            ns.push_back(std::chrono::duration<double, std::nano>(Clock::now() - t0).count());
        }
    }
    fs::remove_all(dir);
    if (ns.empty()) return;
    std::sort(ns.begin(), ns.end());
    state.counters["p50_ns"] = ns[ns.size() / 2];
    state.counters["p99_ns"] = ns[ns.size() * 99 / 100];
}
BENCHMARK(PutWideLatency)->UseRealTime()->Iterations(200000);

// One writer's throughput to disk: 50,000 lines of 80 bytes (4 MB, so four
// rotations) queued at once, timed until the last byte is in the folder.
void WriterLinesPerSecond(benchmark::State& state)
{
    constexpr int kLines = 50000;
    const std::string line(79, 'x');   // + line feed = 80 bytes
    for (auto _ : state) {
        state.PauseTiming();
        const std::string dir = TempFolder();
        auto* log = new BenchLog(kLines + 10, dir);
        log->Open("C", "log");
        state.ResumeTiming();
        for (int i = 0; i < kLines; ++i) log->PutDirect(line);
        while (FolderBytes(dir) < static_cast<uintmax_t>(kLines) * 80)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        state.PauseTiming();
        delete log;
        fs::remove_all(dir);
        state.ResumeTiming();
    }
    state.counters["lines_per_s"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kLines, benchmark::Counter::kIsRate);
}
BENCHMARK(WriterLinesPerSecond)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
