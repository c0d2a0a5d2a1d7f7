// The analyzer against the cheapest possible pass over the same bytes: copying them.
#include <benchmark/benchmark.h>
#include "../tests/TransportStreams.h"
#include "tunekit/Mpeg2StreamAnalyzer.h"

#include <cstring>
#include <random>
#include <vector>

namespace {

// About 1 MiB of a clean multiplex (video with clock references, audio, tables and padding), or
// of noise, where there is no packet structure and the whole buffer is searched for sync bytes.
std::vector<unsigned char> stream(bool noise) {
    constexpr unsigned pids[] = {0x100, 0x100, 0x100, 0x101, 0x100, 0x100, 0x1FFF, 0x100, 0x000, 0x100};
    tunekit::streams::StreamBuilder builder;
    for (std::size_t i = 0; i < (1u << 20) / tunekit::streams::kPacket; ++i) builder.payload(pids[i % 10], pids[i % 10] == 0x100 && i % 40 == 0);
    std::vector<unsigned char> bytes = builder.bytes();
    std::mt19937 random(7);
    if (noise)
        for (auto& b : bytes) b = static_cast<unsigned char>(random());
    return bytes;
}

void BM_Pass(benchmark::State& state, bool noise, bool copyOnly) {
    const std::vector<unsigned char> bytes = stream(noise);
    std::vector<unsigned char> copy(bytes.size());
    for (auto _ : state) {
        if (copyOnly) {
            std::memcpy(copy.data(), bytes.data(), bytes.size());
            benchmark::DoNotOptimize(copy.data());
            benchmark::ClobberMemory();
        } else {
            benchmark::DoNotOptimize(
                tunekit::Mpeg2StreamAnalyzer::signalQuality(bytes.data(), static_cast<unsigned long>(bytes.size())));
        }
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * static_cast<long long>(bytes.size()));
}

} // namespace

BENCHMARK_CAPTURE(BM_Pass, SignalQuality, false, false);
BENCHMARK_CAPTURE(BM_Pass, SignalQualityNoise, true, false);
BENCHMARK_CAPTURE(BM_Pass, Memcpy, false, true);
BENCHMARK_MAIN();
