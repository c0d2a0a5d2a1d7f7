// The analyzer against the cheapest possible pass over the same bytes: copying them.
#include <benchmark/benchmark.h>
#include "tunekit/Mpeg2StreamAnalyzer.h"

#include <cstring>
#include <random>
#include <vector>

namespace {

constexpr std::size_t kPacket = 188;

// About 1 MiB of a clean multiplex: video with clock references, audio, tables and padding.
std::vector<unsigned char> cleanStream() {
    constexpr std::size_t packets = (1u << 20) / kPacket;
    constexpr unsigned pids[] = {0x100, 0x100, 0x100, 0x101, 0x100, 0x100, 0x1FFF, 0x100, 0x000, 0x100};
    unsigned counters[0x2000] = {};
    std::vector<unsigned char> stream(packets * kPacket, 0xA5);
    for (std::size_t i = 0; i < packets; ++i) {
        unsigned char* p = stream.data() + i * kPacket;
        const unsigned pid = pids[i % 10];
        const bool pcr = pid == 0x100 && i % 40 == 0;
        p[0] = 0x47;
        p[1] = static_cast<unsigned char>(pid >> 8);
        p[2] = static_cast<unsigned char>(pid & 0xFF);
        p[3] = static_cast<unsigned char>((pcr ? 0x30 : 0x10) | (counters[pid]++ & 0x0F));
        if (pcr) {
            p[4] = 7;
            p[5] = 0x10;
        }
    }
    return stream;
}

void BM_SignalQuality(benchmark::State& state) {
    const std::vector<unsigned char> stream = cleanStream();
    for (auto _ : state) {
        unsigned long quality =
            tunekit::Mpeg2StreamAnalyzer::signalQuality(stream.data(), static_cast<unsigned long>(stream.size()));
        benchmark::DoNotOptimize(quality);
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * static_cast<long long>(stream.size()));
}

// The slow path: no packet structure, so the whole buffer is searched for sync bytes.
void BM_SignalQualityNoise(benchmark::State& state) {
    std::vector<unsigned char> noise = cleanStream();
    std::mt19937 random(7);
    for (auto& b : noise) b = static_cast<unsigned char>(random());
    for (auto _ : state) {
        unsigned long quality =
            tunekit::Mpeg2StreamAnalyzer::signalQuality(noise.data(), static_cast<unsigned long>(noise.size()));
        benchmark::DoNotOptimize(quality);
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * static_cast<long long>(noise.size()));
}

void BM_Memcpy(benchmark::State& state) {
    const std::vector<unsigned char> stream = cleanStream();
    std::vector<unsigned char> copy(stream.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), stream.data(), stream.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * static_cast<long long>(stream.size()));
}

} // namespace

BENCHMARK(BM_SignalQuality);
BENCHMARK(BM_SignalQualityNoise);
BENCHMARK(BM_Memcpy);
BENCHMARK_MAIN();
