// Any bytes at all: the analyzer must stay inside the buffer and give a consistent answer.
#include "tunekit/Mpeg2StreamAnalyzer.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using tunekit::Mpeg2StreamAnalyzer;
    // A private copy of exactly `size` bytes, so that a read past the end is caught even when
    // the fuzzer's own buffer happens to be larger.
    std::unique_ptr<unsigned char[]> copy(new unsigned char[size == 0 ? 1 : size]);
    if (size > 0) std::memcpy(copy.get(), data, size);

    const unsigned long quality = Mpeg2StreamAnalyzer::signalQuality(copy.get(), static_cast<unsigned long>(size));
    check(quality <= 100);

    const tunekit::TransportStreamStatistics s = Mpeg2StreamAnalyzer::analyze(copy.get(), size);
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
