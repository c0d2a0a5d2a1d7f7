#pragma once
// Transport streams built packet by packet, for the analyzer's tests and its benchmark, and the
// analyzer's answers on them.
#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "tunekit/Mpeg2StreamAnalyzer.h"

namespace tunekit::streams {

using Bytes = std::vector<unsigned char>;
constexpr std::size_t kPacket = 188;
constexpr unsigned kVideoPid = 0x100;
constexpr unsigned kAudioPid = 0x101;

inline Bytes packet(unsigned pid, unsigned counter, bool payload = true, bool pcr = false, bool discontinuity = false) {
    Bytes p(kPacket, 0xA5);
    p[0] = 0x47;
    p[1] = static_cast<unsigned char>((pid >> 8) & 0x1F);
    p[2] = static_cast<unsigned char>(pid & 0xFF);
    const bool adaptation = pcr || discontinuity || !payload;
    p[3] = static_cast<unsigned char>(((adaptation ? 2u : 0u) | (payload ? 1u : 0u)) << 4 | (counter & 0x0F));
    if (adaptation) {
        p[4] = static_cast<unsigned char>(payload ? 7 : 183);
        p[5] = static_cast<unsigned char>((discontinuity ? 0x80 : 0) | (pcr ? 0x10 : 0));
    }
    return p;
}

// Builds streams whose continuity counters are right unless a test breaks them.
class StreamBuilder {
public:
    StreamBuilder& payload(unsigned pid, bool pcr = false) { return append(packet(pid, next_[pid]++, true, pcr)); }
    // A packet without payload, repeating the last counter sent.
    StreamBuilder& adaptationOnly(unsigned pid) { return append(packet(pid, (next_[pid] + 15) & 0x0F, false)); }
    // Padding, whose counters nobody counts.
    StreamBuilder& nulls(unsigned count) { return repeat(count, [](StreamBuilder& b, unsigned i) { b.append(packet(0x1FFF, i * 7)); }); }
    StreamBuilder& skip(unsigned pid) { ++next_[pid]; return *this; }
    StreamBuilder& append(const Bytes& bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); return *this; }
    // A programme: video with a clock reference every tenth packet, audio every fourth.
    StreamBuilder& programme(unsigned count, bool withClock = true) {
        return repeat(count, [&](StreamBuilder& b, unsigned i) { b.payload(i % 4 == 3 ? kAudioPid : kVideoPid, i % 4 != 3 && withClock && i % 10 == 0); });
    }
    // `times` rounds of `round(builder, index)`.
    template <class Round> StreamBuilder& repeat(unsigned times, Round round) {
        for (unsigned i = 0; i < times; ++i) round(*this, i);
        return *this;
    }
    Bytes bytes() const { return bytes_; }

private:
    std::map<unsigned, unsigned> next_;
    Bytes bytes_;
};

// The analyzer reads a copy of exactly the stream's size, so that the address sanitizer sees any
// read past the end.
inline std::pair<TransportStreamStatistics, unsigned long> analyze(const Bytes& bytes) {
    const auto copy = std::make_unique<unsigned char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return {Mpeg2StreamAnalyzer::analyze(copy.get(), bytes.size()),
            Mpeg2StreamAnalyzer::signalQuality(copy.get(), static_cast<unsigned long>(bytes.size()))};
}
inline unsigned long quality(const Bytes& bytes) { return analyze(bytes).second; }


} // namespace tunekit::streams
