// Any bytes at all: the analyzer must stay inside the buffer and give a consistent answer.
#include "../tests/TransportStreams.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using tunekit::Mpeg2StreamAnalyzer;
    // The analyzer reads a private copy of exactly `size` bytes, so that a read past the end is
    // caught even when the fuzzer's own buffer happens to be larger.
    const auto [s, quality] = tunekit::streams::analyze(tunekit::streams::Bytes(data, data + size));
    check(quality <= 100);
    check(Mpeg2StreamAnalyzer::qualityOf(s) == quality);
    // Every loss skipped at least one byte, and a lost packet stands for at least one byte.
    const std::size_t inPackets = s.packets * Mpeg2StreamAnalyzer::kPacketSize;
    check(inPackets <= size);
    check(s.syncLosses <= size - inPackets);
    check(s.lostPackets <= size - inPackets);
    check(s.nullPackets + s.transportErrors + s.malformedPackets <= s.packets);
    check(s.continuityErrors <= s.packets);
    check(s.pcrPackets <= s.packets);
    if (s.packets == 0) check(quality == 0);
    return 0;
}
